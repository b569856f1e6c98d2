#include "menubar/MenuBarView.h"

#include "controls/Buttons.h"
#include "controls/ElidedText.h"
#include "controls/Symbol.h"
#include "discovery/BrowserDetector.h"
#include "discovery/DisplayName.h"
#include "discovery/InstalledAppDetector.h"
#include "interception/InterceptDebugStore.h"
#include "menubar/RuleSummary.h"
#include "menubar/StatusDot.h"
#include "routing/RulesStore.h"

#include <QEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace vantorel {

namespace {

constexpr auto kMaker = "Qorbex";

constexpr int kWidth = 290;
constexpr int kMargin = 4; // above and below everything
constexpr int kSides = 12;
constexpr int kPadding = 8; // of header and debug section, above and below
constexpr int kEmptyPadding = 10; // of what stands in place of rules
constexpr int kMorePadding = 4; // of what stands under them
constexpr int kHeaderGap = 8;
constexpr int kSymbol = 16; // what the texts leave for it
constexpr int kSymbolOverhang = 2; // its ink begins where the texts below begin
constexpr int kDot = 8;
constexpr int kCreditGap = 1;
constexpr int kDebugGap = 2;
constexpr int kDivider = 1;
constexpr qsizetype kMostRules = 8;
constexpr int kMostLines = 2; // of a text in the debug section

QString titleOf(const Rule& rule) {
    if (!rule.name.isEmpty())
        return rule.name;
    return rule.pattern.isEmpty() ? MenuBarView::tr("App Rule") : rule.pattern;
}

// What is shown needs no painting anew; the toolkit would do it all the same.
void setShown(QWidget* widget, bool isShown) {
    if (widget->isHidden() == isShown)
        widget->setVisible(isShown);
}

} // namespace

MenuBarView::MenuBarView(const RulesStore& store, const BrowserDetector& detector,
                         const InstalledAppDetector& appDetector, const InterceptDebugStore& debugStore,
                         Commands commands, QWidget* parent)
    : QWidget(parent)
    , m_store(store)
    , m_detector(detector)
    , m_appDetector(appDetector)
    , m_debugStore(debugStore)
    // In the order in which they are read and reached by Tab.
    , m_name(new Text(QStringLiteral("Vantorel"), theme::Type::subheadline, theme::Tone::primary, this))
    , m_credit(new Text(tr("by %1", "the maker").arg(QLatin1StringView(kMaker)), theme::Type::caption2,
                        theme::Tone::secondary, this))
    , m_status(new StatusDot(this))
    , m_debugTitle(new Text(tr("Last Intercept"), theme::Type::caption2, theme::Tone::secondary, this))
    , m_url(new ElidedText(theme::Type::caption2, theme::Tone::primary, 1, this))
    , m_source(new ElidedText(theme::Type::caption2, theme::Tone::secondary, kMostLines, this))
    , m_decision(new ElidedText(theme::Type::caption2, theme::Tone::secondary, kMostLines, this))
    , m_rules(new RuleSummary(this))
    , m_note(new ElidedText(theme::Type::caption2, theme::Tone::secondary, 1, this))
    , m_settings(new RowButton(Symbol::gearshape, tr("Settings"), this))
    , m_quit(new RowButton(Symbol::power, tr("Quit Vantorel"), this)) {
    setAutoFillBackground(true);
    setFocusPolicy(Qt::ClickFocus);
    setFixedWidth(kWidth);
    m_rules->setAccessibleName(tr("Routing Rules"));
    connect(m_settings, &RowButton::clicked, this, [run = std::move(commands.openSettings)] { run(); });
    connect(m_quit, &RowButton::clicked, this, [run = std::move(commands.quit)] { run(); });

    resize(kWidth, 0); // nothing to spare
    refresh();
    resize(kWidth, m_fittingHeight);

    m_refreshTimer.setSingleShot(true);
    connect(&m_refreshTimer, &QTimer::timeout, this, &MenuBarView::refresh);
    const auto refreshSoon = [this] { m_refreshTimer.start(); };
    connect(&m_store, &RulesStore::changed, this, refreshSoon);
    connect(&m_debugStore, &InterceptDebugStore::changed, this, refreshSoon);
    connect(&m_detector, &BrowserDetector::browsersChanged, this, refreshSoon);
    connect(&m_appDetector, &InstalledAppDetector::appsChanged, this, refreshSoon);
    // The labels have taken over a new font when the loop runs again.
    theme::whenChanged(this, refreshSoon);
}

QSize MenuBarView::sizeHint() const {
    return {kWidth, m_fittingHeight};
}

qsizetype MenuBarView::activeCount() const {
    return std::count_if(m_store.rules().begin(), m_store.rules().end(),
                         [](const Rule& rule) { return rule.isEnabled; });
}

QString MenuBarView::browserName(const QString& bundleID) const {
    return displayName(bundleID, m_detector.browsers());
}

QString MenuBarView::shortAppName(const QString& bundleID) const {
    return displayName(bundleID, m_appDetector.apps());
}

// -- what it shows ----------------------------------------------------------------------------------------------------

void MenuBarView::refresh() {
    m_status->setActive(activeCount() > 0);
    refreshDebugSection();
    refreshRules();
    arrange();
}

void MenuBarView::refreshDebugSection() {
    const auto& event = m_debugStore.lastEvent();
    const bool isShown = m_store.debugModeEnabled();
    setShown(m_debugTitle, isShown);
    setShown(m_url, isShown);
    setShown(m_source, isShown && event);
    setShown(m_decision, isShown && event);
    if (!isShown)
        return;
    m_url->setTone(event ? theme::Tone::primary : theme::Tone::secondary);
    m_url->setWholeText(event ? event->url : tr("No URLs intercepted yet."));
    if (!event)
        return;
    m_source->setWholeText(event->sourceAppIDs.isEmpty()
                               ? tr("Source: unknown")
                               : tr("Source: %1").arg(event->sourceAppIDs.join(QStringLiteral(", "))));
    m_decision->setWholeText(event->decision);
}

void MenuBarView::refreshRules() {
    const QList<Rule>& rules = m_store.rules();
    std::vector<RuleLine> lines;
    for (const Rule& rule : rules.first(std::min(rules.size(), kMostRules))) {
        const QString app = rule.sourceAppBundleID.value_or(QString());
        lines.push_back({.title = titleOf(rule),
                         .app = app.isEmpty() ? std::nullopt : std::optional(shortAppName(app)),
                         .browser = browserName(rule.browserBundleID),
                         .isEnabled = rule.isEnabled});
    }
    m_rules->display(lines);
    setShown(m_rules, !rules.isEmpty());
    setShown(m_note, rules.isEmpty() || rules.size() > kMostRules);
    m_note->setWholeText(rules.isEmpty() ? tr("No rules — open Settings to add one.")
                                         : tr("+ %1 more in Settings").arg(QString::number(rules.size() - kMostRules)));
}

// -- where it stands --------------------------------------------------------------------------------------------------

// By hand: every height is known here, so that the size that fits is right before anything is shown.
void MenuBarView::arrange() {
    const auto place = [this](QWidget* widget, const QRect& leftToRight) {
        widget->setGeometry(QStyle::visualRect(layoutDirection(), {0, 0, kWidth, 0}, leftToRight));
    };
    const int inner = kWidth - 2 * kSides;
    int top = kMargin;
    const auto stack = [&](QWidget* widget, int height, int gap) {
        place(widget, {kSides, top, inner, height});
        top += height + gap;
    };
    QList<int> dividers;
    const auto divide = [&] {
        dividers.append(top);
        top += kDivider;
    };

    top += kPadding;
    const int texts = m_name->sizeHint().height() + kCreditGap + m_credit->sizeHint().height();
    const int textLeft = kSides + kSymbol + kHeaderGap;
    const int textWidth = kWidth - textLeft - kHeaderGap - kDot - kSides;
    m_symbol = QStyle::visualRect(layoutDirection(), {0, 0, kWidth, 0},
                                  {kSides, top + (texts - kSymbol) / 2, kSymbol, kSymbol});
    place(m_name, {textLeft, top, textWidth, m_name->sizeHint().height()});
    place(m_credit, {textLeft, m_name->geometry().bottom() + 1 + kCreditGap, textWidth, m_credit->sizeHint().height()});
    place(m_status, {kWidth - kSides - kDot, top + (texts - kDot) / 2, kDot, kDot});
    top += texts + kPadding;

    if (!m_debugTitle->isHidden()) {
        divide();
        top += kPadding;
        stack(m_debugTitle, m_debugTitle->sizeHint().height(), kDebugGap);
        const bool hasEvent = !m_source->isHidden();
        stack(m_url, m_url->fitInto(inner), hasEvent ? kDebugGap : 0);
        if (hasEvent) {
            stack(m_source, m_source->fitInto(inner), kDebugGap);
            stack(m_decision, m_decision->fitInto(inner), 0);
        }
        top += kPadding;
    }

    divide();
    if (!m_rules->isHidden()) {
        const int height = m_rules->fitInto(kWidth);
        place(m_rules, {0, top, kWidth, height});
        top += height;
    }
    if (!m_note->isHidden()) {
        const int padding = m_rules->isHidden() ? kEmptyPadding : kMorePadding;
        top += padding;
        stack(m_note, m_note->fitInto(inner), padding);
    }

    // A panel has a least height: the commands stay at its lower edge.
    const int commands = m_settings->sizeHint().height() + m_quit->sizeHint().height();
    const int fitting = top + kDivider + commands + kMargin;
    const int slack = std::max(height() - fitting, 0);
    if (m_rules->isHidden())
        m_note->move(m_note->x(), m_note->y() + slack / 2);
    top += slack;
    divide();
    for (RowButton* const command : {m_settings, m_quit}) {
        place(command, {0, top, kWidth, command->sizeHint().height()});
        top += command->height();
    }

    if (dividers != m_dividers) {
        m_dividers = dividers;
        update();
    }
    if (fitting != m_fittingHeight) {
        m_fittingHeight = fitting;
        updateGeometry();
        Q_EMIT fittingSizeChanged();
    }
}

void MenuBarView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintSymbol(painter, m_symbol.marginsAdded({kSymbolOverhang, kSymbolOverhang, kSymbolOverhang, kSymbolOverhang}),
                Symbol::branch, theme::color(theme::Tone::blue, palette()));
    // On whole pixels, or some would be thicker than others at a scale such as 1.5.
    const qreal ratio = devicePixelRatioF();
    const qreal thickness = std::max(std::floor(kDivider * ratio), 1.0) / ratio;
    for (const int top : m_dividers)
        painter.fillRect(QRectF(0, std::round(top * ratio) / ratio, kWidth, thickness),
                         theme::color(theme::Tone::separator, palette()));
}

void MenuBarView::resizeEvent(QResizeEvent*) {
    arrange();
}

void MenuBarView::showEvent(QShowEvent* event) {
    // A panel does not become the active window, and tool tips of others are not shown.
    window()->setAttribute(Qt::WA_AlwaysShowToolTips);
    // Nothing has the focus until the user goes for it: a ring around the first command would say that it matters most.
    if (!window()->focusWidget())
        setFocus();
    QWidget::showEvent(event);
}

void MenuBarView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LayoutDirectionChange)
        arrange();
    QWidget::changeEvent(event);
}

} // namespace vantorel
