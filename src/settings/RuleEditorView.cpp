#include "settings/RuleEditorView.h"

#include "controls/Buttons.h"
#include "controls/FittingScrollArea.h"
#include "controls/Panel.h"
#include "controls/SegmentedControl.h"
#include "controls/SymbolView.h"
#include "controls/Text.h"
#include "settings/AppPicker.h"
#include "settings/BrowserPicker.h"
#include "settings/MatchTypeName.h"
#include "settings/RuleEditor.h"

#include <QEvent>
#include <QFontDatabase>
#include <QGridLayout>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QSignalBlocker>
#include <QTextDocument>

#include <algorithm>

namespace vantorel {

namespace {

constexpr int kWidth = 440;
constexpr int kPickerWidth = 210;
constexpr int kPatternHeight = 64;
constexpr int kMargin = 20;
constexpr int kHeaderSymbol = 20;

Text* makeLabel(const QString& text, QWidget* buddy, QWidget* parent) {
    auto* const label = new Text(text, theme::Type::body, theme::Tone::secondary, parent);
    label->setAlignment(Qt::AlignTrailing | Qt::AlignVCenter);
    label->setBuddy(buddy);
    return label;
}

} // namespace

// The text on a rounded field of its own, with a hint over it while it is empty.
class RuleEditorView::PatternBox : public QWidget {
public:
    explicit PatternBox(QWidget* parent) : QWidget(parent), m_edit(new QPlainTextEdit(this)) {
        auto* const box = new QVBoxLayout(this);
        box->setContentsMargins(4, 3, 4, 3);
        box->addWidget(m_edit);
        setMinimumHeight(kPatternHeight);
        m_edit->setFrameShape(QFrame::NoFrame);
        m_edit->viewport()->setAutoFillBackground(false);
        m_edit->setTabChangesFocus(true);
        m_edit->setLineWrapMode(QPlainTextEdit::WidgetWidth);
        m_edit->setFont(monospaced());
        m_edit->installEventFilter(this);
        m_edit->viewport()->installEventFilter(this);
        setFocusProxy(m_edit);
    }

    QPlainTextEdit& edit() const { return *m_edit; }

    // Without announcing it.
    void setText(const QString& text) {
        const QSignalBlocker silence(m_edit);
        m_edit->setPlainText(text);
    }

    // As typed: the plain text of a document has other spaces than the user's.
    QString text() const { return m_edit->document()->toRawText().replace(QChar::ParagraphSeparator, u'\n'); }

    QSize sizeHint() const override { return {200, kPatternHeight + 12}; }

    void setPlaceholder(const QString& placeholder) {
        if (m_placeholder == placeholder)
            return;
        m_placeholder = placeholder;
        m_edit->setAccessibleDescription(placeholder);
        m_edit->viewport()->update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor outline = theme::color(theme::Tone::secondary, palette());
        outline.setAlphaF(0.25F);
        const bool hasFocus = m_edit->hasFocus();
        painter.setBrush(palette().color(QPalette::Base));
        painter.setPen(hasFocus ? QPen(theme::color(theme::Tone::accent, palette()), 2) : QPen(outline, 1));
        const qreal inset = hasFocus ? 1 : 0.5;
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), theme::kCornerRadius,
                                theme::kCornerRadius);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)
            update();
        if (watched == m_edit->viewport() && event->type() == QEvent::Paint && m_edit->document()->isEmpty())
            paintPlaceholder();
        return QWidget::eventFilter(watched, event);
    }

    void changeEvent(QEvent* event) override {
        if (event->type() == QEvent::FontChange)
            m_edit->setFont(monospaced());
        QWidget::changeEvent(event);
    }

private:
    QFont monospaced() const {
        QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        fixed.setPointSizeF(font().pointSizeF() > 0 ? font().pointSizeF() : fixed.pointSizeF());
        return fixed;
    }

    void paintPlaceholder() {
        QPainter painter(m_edit->viewport());
        painter.setFont(theme::font(theme::Type::caption, font()));
        painter.setPen(theme::color(theme::Tone::tertiary, palette()));
        const int margin = qRound(m_edit->document()->documentMargin());
        const QRect area = m_edit->viewport()->rect().adjusted(margin, margin, -margin, -margin);
        painter.drawText(area, static_cast<int>(Qt::AlignTop | Qt::AlignLeading) | static_cast<int>(Qt::TextWordWrap),
                         m_placeholder);
    }

    QPlainTextEdit* m_edit;
    QString m_placeholder;
};

RuleEditorView::RuleEditorView(RulesStore& store, BrowserDetector& detector, InstalledAppDetector& appDetector,
                               const std::optional<Rule>& rule, QWidget* parent)
    : QWidget(parent)
    , m_editor(new RuleEditor(store, rule))
    , m_isNew(!rule) {
    m_editor->setParent(this);
    setWindowTitle(m_editor->title());
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    column->setSpacing(16);
    column->addWidget(makeHeader());
    column->addWidget(new FittingScrollArea(makeGrid(detector, appDetector), this), 1);
    column->addWidget(makeButtons());

    m_editor->prefill();
    {
        const QSignalBlocker silence(m_name);
        m_name->setText(m_editor->name());
    }
    m_pattern->setText(m_editor->pattern());
    refresh();
    // Wider where letters are so large that four match types need it.
    setFixedWidth(std::max(kWidth, layout()->minimumSize().width()));
    connect(m_editor, &RuleEditor::changed, this, &RuleEditorView::refresh);
}

QWidget* RuleEditorView::makeHeader() {
    auto* const header = new QWidget(this);
    auto* const row = new QHBoxLayout(header);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(8);
    row->addWidget(new SymbolView(m_isNew ? Symbol::plusCircleFill : Symbol::pencilCircleFill, theme::Tone::blue,
                                  kHeaderSymbol, header));
    row->addWidget(new Text(m_editor->title(), theme::Type::headline, theme::Tone::primary, header));
    row->addStretch();
    return header;
}

QWidget* RuleEditorView::makeGrid(BrowserDetector& detector, InstalledAppDetector& appDetector) {
    auto* const area = new QWidget(this);
    auto* const grid = new QGridLayout(area);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(10);
    grid->setColumnStretch(1, 1);

    m_name = new QLineEdit(area);
    m_name->setPlaceholderText(tr("Optional label"));
    m_sourceApp = new AppPicker(appDetector, tr("Any app"), area);
    m_sourceApp->setFixedWidth(kPickerWidth);
    m_sourceAppCaption = new Text({}, theme::Type::caption, theme::Tone::purple, area);
    QStringList matchTypes;
    for (const Rule::MatchType type : Rule::allCases)
        matchTypes.append(matchTypeName(type));
    m_matchType = new SegmentedControl(matchTypes, area);
    m_matchType->setAccessibleName(tr("Match:"));
    m_pattern = new PatternBox(area);
    m_pattern->edit().setAccessibleName(tr("Pattern:"));
    m_patternCaption = new Text({}, theme::Type::caption, theme::Tone::secondary, area);
    for (Text* const caption : {m_sourceAppCaption, m_patternCaption})
        caption->setWordWrap(true);
    m_browser = new BrowserPicker(detector, tr("Choose browser…"), area);
    m_browser->setFixedWidth(kPickerWidth);

    const auto stacked = [](QWidget* control, Text* caption) {
        auto* const column = new QVBoxLayout;
        column->setSpacing(4);
        column->addWidget(control);
        column->addWidget(caption);
        return column;
    };
    auto* const patternLabel = makeLabel(tr("Pattern:"), &m_pattern->edit(), area);
    patternLabel->setContentsMargins(0, 6, 0, 0);
    auto* const sourceLabel = makeLabel(tr("From app:"), m_sourceApp, area);
    sourceLabel->setMinimumHeight(m_sourceApp->sizeHint().height());
    int row = 0;
    grid->addWidget(makeLabel(tr("Name:"), m_name, area), row, 0);
    grid->addWidget(m_name, row++, 1);
    grid->addWidget(sourceLabel, row, 0, Qt::AlignTop | Qt::AlignTrailing);
    grid->addLayout(stacked(m_sourceApp, m_sourceAppCaption), row++, 1);
    grid->addWidget(new Divider(Qt::Horizontal, area), row++, 0, 1, 2);
    grid->addWidget(makeLabel(tr("Match:"), m_matchType, area), row, 0);
    grid->addWidget(m_matchType, row++, 1);
    grid->addWidget(patternLabel, row, 0, Qt::AlignTop | Qt::AlignTrailing);
    grid->addLayout(stacked(m_pattern, m_patternCaption), row++, 1);
    grid->addWidget(makeLabel(tr("Open in:"), m_browser, area), row, 0);
    grid->addWidget(m_browser, row++, 1, Qt::AlignLeading);

    // Assistive technology sets the text, which is no edit to the field.
    connect(m_name, &QLineEdit::textChanged, m_editor, &RuleEditor::setName);
    connect(m_sourceApp, &AppPicker::selectedBundleIDChanged, m_editor, &RuleEditor::setSourceAppBundleID);
    connect(m_matchType, &SegmentedControl::chosen, this,
            [this](int index) { m_editor->setMatchType(Rule::allCases.at(static_cast<std::size_t>(index))); });
    connect(&m_pattern->edit(), &QPlainTextEdit::textChanged, this,
            [this] { m_editor->setPattern(m_pattern->text()); });
    connect(m_browser, &BrowserPicker::selectedBundleIDChanged, m_editor, &RuleEditor::setBrowserBundleID);
    return area;
}

QWidget* RuleEditorView::makeButtons() {
    auto* const area = new QWidget(this);
    auto* const row = new QHBoxLayout(area);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(8);
    auto* const cancel = new QPushButton(tr("Cancel"), area);
    cancel->setAutoDefault(false);
    cancel->setShortcut(Qt::CTRL | Qt::Key_Escape);
    m_save = new ProminentButton(m_editor->saveTitle(), area);
    m_save->setShortcut(Qt::CTRL | Qt::Key_Return);
    row->addStretch();
    row->addWidget(cancel);
    row->addWidget(m_save);
    connect(cancel, &QPushButton::clicked, this, &RuleEditorView::dismissed);
    connect(m_save, &QPushButton::clicked, this, [this] {
        m_editor->save();
        Q_EMIT dismissed();
    });
    return area;
}

// The two texts are written once only: a field may not give back every character that it was given, and what the user
// did not touch stays as it is.
void RuleEditorView::refresh() {
    m_sourceApp->setSelectedBundleID(m_editor->sourceAppBundleID());
    m_sourceAppCaption->setText(m_editor->sourceAppCaption());
    m_sourceAppCaption->setVisible(!m_editor->sourceAppBundleID().isEmpty());
    m_matchType->setCurrentIndex(static_cast<int>(m_editor->matchType()));
    m_pattern->setPlaceholder(m_editor->patternPlaceholder());
    const RuleEditor::Caption caption = m_editor->caption();
    m_patternCaption->setText(caption.text);
    m_patternCaption->setTone(caption.kind == RuleEditor::Caption::Kind::error ? theme::Tone::red
                                                                               : theme::Tone::secondary);
    m_patternCaption->setVisible(caption.kind != RuleEditor::Caption::Kind::none);
    m_browser->setSelectedBundleID(m_editor->browserBundleID());
    m_save->setDisabled(m_editor->isSaveDisabled());
}

} // namespace vantorel
