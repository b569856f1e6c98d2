#include "settings/SettingsView.h"

#include "controls/Buttons.h"
#include "controls/FittingScrollArea.h"
#include "controls/Panel.h"
#include "controls/Sheet.h"
#include "controls/Switch.h"
#include "controls/SymbolView.h"
#include "controls/Text.h"
#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "platform/SystemSettings.h"
#include "routing/RulesStore.h"
#include "settings/BrowserPicker.h"
#include "settings/RuleDropDelegate.h"
#include "settings/RuleEditorView.h"
#include "settings/RuleList.h"
#include "settings/RuleListModel.h"

#include <QHBoxLayout>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace vantorel {

namespace {

// The project's own page.
constexpr auto kMakersDomain = "qorbex.com";

constexpr int kMargin = 16;
constexpr int kFallbackWidth = 200;
constexpr int kLeastFallbackWidth = 90;
constexpr int kEmptySymbol = 42;
constexpr int kLeastContent = 100; // high

QHBoxLayout* rowIn(QWidget* area, int spacing) {
    auto* const row = new QHBoxLayout(area);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(spacing);
    return row;
}

QVBoxLayout* columnIn(QWidget* area, int spacing) {
    auto* const column = new QVBoxLayout(area);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing);
    return column;
}

} // namespace

SettingsView::SettingsView(RulesStore& store, BrowserDetector& detector, InstalledAppDetector& appDetector,
                           SystemSettings& systemSettings, QWidget* parent)
    : QWidget(parent)
    , m_store(store)
    , m_detector(detector)
    , m_appDetector(appDetector)
    , m_systemSettings(systemSettings)
    , m_rules(new RuleListModel(store, detector, appDetector)) {
    m_rules->setParent(this);
    setFocusPolicy(Qt::ClickFocus);
    auto* const column = columnIn(this, 0);
    column->addWidget(makeToolbar());
    // It scrolls where there is no room for all of it, as does the list below.
    column->addWidget(m_tipsBanner = new FittingScrollArea(makeTipsBanner(), this));
    column->addWidget(new Divider(Qt::Horizontal, this));
    column->addWidget(makeContent(), 1);
    column->addWidget(new Divider(Qt::Horizontal, this));
    column->addWidget(makeFooter());

    refresh();
    connect(&m_store, &RulesStore::changed, this, &SettingsView::refresh);
}

// Nothing has the focus until the user goes for it: a ring around the first button would say that it matters most. Only
// in its window the view can be given it.
void SettingsView::showEvent(QShowEvent* event) {
    if (!window()->focusWidget())
        setFocus();
    QWidget::showEvent(event);
}

// -- sections, from top to bottom -------------------------------------------------------------------------------------

QWidget* SettingsView::makeToolbar() {
    auto* const toolbar = new QWidget(this);
    auto* const column = columnIn(toolbar, 3);
    column->setContentsMargins(kMargin, 14, kMargin, 12);
    auto* const row = new QHBoxLayout;
    row->setSpacing(12);
    auto* const texts = new QVBoxLayout;
    texts->setSpacing(3);
    texts->addWidget(new Text(tr("Vantorel by %1").arg(QLatin1StringView(kMakersDomain)), theme::Type::headline,
                              theme::Tone::primary, toolbar));
    texts->addWidget(new Text(tr("Routing Rules"), theme::Type::subheadline, theme::Tone::primary, toolbar));
    // Made here so that assistive technology reads it in its place.
    auto* const explanation = new Text(
        tr("Rules are checked top-to-bottom. First match wins. Double-click to edit, drag the handle to reorder."),
        theme::Type::caption, theme::Tone::secondary, toolbar);
    explanation->setWordWrap(true);
    row->addLayout(texts, 1);

    auto* const side = new QHBoxLayout;
    side->setSpacing(6);
    m_defaultMark = new SymbolView(Symbol::checkmark, theme::Tone::secondary, 16, toolbar);
    m_defaultMark->setToolTip(tr("Vantorel is the default browser."));
    m_defaultMark->setAccessibleName(m_defaultMark->toolTip());
    auto* const button = new ProminentButton(tr("Set as Default Browser"), toolbar);
    connect(button, &QPushButton::clicked, this, [this] { m_systemSettings.openDefaultBrowserSettings(); });
    side->addWidget(m_defaultMark);
    side->addWidget(button);
    row->addLayout(side);
    column->addLayout(row);

    // Below the button, not beside it: the whole width is just enough for one line.
    column->addWidget(explanation);

    const auto mark = [this] { m_defaultMark->setVisible(m_systemSettings.isDefaultBrowser()); };
    connect(&m_systemSettings, &SystemSettings::defaultBrowserChanged, this, mark);
    mark();
    return toolbar;
}

QWidget* SettingsView::makeTipsBanner() {
    auto* const area = new QWidget(this);
    auto* const margins = columnIn(area, 0);
    margins->setContentsMargins(kMargin, 0, kMargin, 12);
    auto* const banner = new Panel(area);
    margins->addWidget(banner);
    auto* const column = columnIn(banner, 8);
    column->setContentsMargins(12, 8, 12, 12);

    auto* const heading = new QHBoxLayout;
    heading->addWidget(new Text(tr("Getting Started"), theme::Type::headline, theme::Tone::primary, banner));
    heading->addStretch();
    auto* const hide = new PlainButton(tr("Hide"), banner);
    connect(hide, &QPushButton::clicked, this, [this] {
        m_store.setShowTipsEnabled(false);
        m_store.scheduleSave();
    });
    heading->addWidget(hide);
    column->addLayout(heading);
    auto* const line =
        new Text(tr("Vantorel sits in front of your browsers and routes each link using the rules below."),
                 theme::Type::caption, theme::Tone::secondary, banner);
    line->setWordWrap(true);
    column->addWidget(line);

    auto* const cards = new QHBoxLayout;
    cards->setSpacing(8);
    const auto tipCard = [&](const QString& number, const QString& title, const QString& detail) {
        cards->addWidget(new NumberedCard(number, title, detail, banner), 1);
    };
    tipCard(QStringLiteral("1"), tr("Set it as default"), tr("Use the button above so Vantorel receives links first."));
    tipCard(QStringLiteral("2"), tr("Choose a fallback"),
            tr("Pick the browser used when a link does not match any rule."));
    tipCard(QStringLiteral("3"), tr("Add your rules"),
            tr("Create site or app-based rules to open links in the right browser."));
    column->addLayout(cards);
    return area;
}

QWidget* SettingsView::makeContent() {
    auto* const content = new QWidget(this);
    // It takes what is left: the tips above scroll only where that would be less.
    content->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Ignored);
    content->setMinimumHeight(kLeastContent);
    m_content = new QStackedLayout(content);
    m_list = new RuleList(
        *m_rules,
        [this](const QUuid& targetRuleID) {
            return RuleDropDelegate{
                targetRuleID, m_draggedRuleID, m_store.rules(),
                [this](const QUuid& dragged, const QUuid& target) { m_rules->moveRule(dragged, target); }};
        },
        content);
    m_content->addWidget(m_list);
    connect(m_list, &RuleList::selectionRequested, this, &SettingsView::setSelectedRuleID);
    connect(m_list, &RuleList::editRequested, this, &SettingsView::presentEditor);
    connect(m_list, &RuleList::deletionRequested, this, &SettingsView::deleteSelectedRule);
    connect(m_list, &RuleList::dragStarted, this, &SettingsView::setDraggedRuleID);
    connect(m_list, &RuleList::dropped, this, [this] { setDraggedRuleID(m_draggedRuleID); });
    return content;
}

QWidget* SettingsView::makeEmptyState() {
    auto* const area = new QWidget(this);
    auto* const column = columnIn(area, 8);
    column->setContentsMargins(kMargin, kMargin / 2, kMargin, kMargin / 2);
    auto* const title = new Text(tr("No routing rules yet"), theme::Type::headline, theme::Tone::primary, area);
    auto* const explanation = new Text(tr("Add a URL rule to send matching links to a specific browser.\n"
                                          "Add an app rule to route all links opened by a specific app."),
                                       theme::Type::callout, theme::Tone::secondary, area);
    for (Text* const text : {title, explanation}) {
        text->setAlignment(Qt::AlignCenter);
        text->setWordWrap(true);
    }
    auto* const button = new ProminentButton(tr("Add Your First Rule"), area);
    connect(button, &QPushButton::clicked, this, &SettingsView::showAddRule);
    column->addStretch();
    column->addWidget(new SymbolView(Symbol::branch, theme::Tone::tertiary, kEmptySymbol, area), 0, Qt::AlignCenter);
    column->addWidget(title);
    column->addWidget(explanation);
    column->addSpacing(4);
    column->addWidget(button, 0, Qt::AlignCenter);
    column->addStretch();
    return new FittingScrollArea(area, this);
}

QWidget* SettingsView::makeFooter() {
    auto* const footer = new QWidget(this);
    auto* const row = rowIn(footer, 14);
    row->setContentsMargins(kMargin, 8, kMargin, 8);

    auto* const label = new Text(tr("Fallback:"), theme::Type::callout, theme::Tone::primary, footer);
    m_fallback = new BrowserPicker(m_detector, tr("Choose fallback browser…"), footer);
    // Long words beside it take of its room where the window is narrow.
    m_fallback->setMinimumContentsLength(kFallbackWidth);
    m_fallback->setMaximumWidth(kFallbackWidth);
    m_fallback->setMinimumWidth(kLeastFallbackWidth);
    label->setBuddy(m_fallback);
    label->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    connect(m_fallback, &BrowserPicker::selectedBundleIDChanged, this, [this](const QString& id) {
        m_store.setFallbackBrowserID(id);
        m_store.scheduleSave();
    });

    m_tips = new Switch(tr("Tips"), 0.75, footer);
    m_tips->setToolTip(tr("Show or hide the getting started help panel in Settings."));
    // Assistive technology toggles a switch without a click.
    connect(m_tips, &Switch::toggled, this, [this](bool checked) {
        if (checked == m_store.showTipsEnabled())
            return;
        m_store.setShowTipsEnabled(checked);
        m_store.scheduleSave();
    });
    m_debugMode = new Switch(tr("Debug Mode"), 0.75, footer);
    m_debugMode->setToolTip(tr("Show the last intercept debug panel in the menu popover."));
    connect(m_debugMode, &Switch::toggled, this, [this](bool checked) {
        if (checked == m_store.debugModeEnabled())
            return;
        m_store.setDebugModeEnabled(checked);
        m_store.scheduleSave();
    });

    auto* const plus = new IconButton(Symbol::plus, tr("Add rule"), footer);
    connect(plus, &IconButton::clicked, this, &SettingsView::showAddRule);
    m_minus = new IconButton(Symbol::minus, tr("Delete selected rule"), footer);
    connect(m_minus, &IconButton::clicked, this, &SettingsView::deleteSelectedRule);
    auto* const between = new Divider(Qt::Vertical, footer);
    between->setFixedHeight(16);

    auto* const fallback = new QHBoxLayout;
    fallback->setSpacing(8);
    fallback->addWidget(label);
    fallback->addWidget(m_fallback);
    row->addLayout(fallback, 1);
    row->addStretch();
    row->addWidget(m_tips);
    row->addWidget(m_debugMode);
    auto* const buttons = new QHBoxLayout;
    buttons->setSpacing(4);
    buttons->addWidget(plus);
    buttons->addWidget(between);
    buttons->addWidget(m_minus);
    row->addLayout(buttons);
    return footer;
}

// -- what the user does -----------------------------------------------------------------------------------------------

void SettingsView::refresh() {
    // Showing what is not hidden would lay it out once more.
    if (m_tipsBanner->isHidden() == m_store.showTipsEnabled())
        m_tipsBanner->setVisible(m_store.showTipsEnabled());
    m_tips->setChecked(m_store.showTipsEnabled());
    m_debugMode->setChecked(m_store.debugModeEnabled());
    m_fallback->setSelectedBundleID(m_store.fallbackBrowserID());
    if (m_store.rules().isEmpty() && !m_emptyState)
        m_content->addWidget(m_emptyState = makeEmptyState());
    m_content->setCurrentWidget(m_store.rules().isEmpty() ? m_emptyState : m_list);
    m_minus->setEnabled(m_selectedRuleID.has_value());
}

void SettingsView::setSelectedRuleID(const std::optional<QUuid>& id) {
    m_selectedRuleID = id;
    m_list->setSelectedRuleID(id);
    m_minus->setEnabled(id.has_value());
}

void SettingsView::setDraggedRuleID(const std::optional<QUuid>& id) {
    m_draggedRuleID = id;
    m_list->setDraggedRuleID(id);
}

void SettingsView::deleteSelectedRule() {
    if (m_selectedRuleID && m_rules->removeRule(*m_selectedRuleID))
        setSelectedRuleID(std::nullopt);
}

void SettingsView::showAddRule() {
    presentEditor(std::nullopt);
}

void SettingsView::presentEditor(const std::optional<Rule>& rule) {
    if (m_sheet)
        return;
    auto* const editor = new RuleEditorView(m_store, m_detector, m_appDetector, rule);
    connect(editor, &RuleEditorView::dismissed, this, &SettingsView::dismissEditor);
    m_sheet = new Sheet(editor, this);
}

void SettingsView::dismissEditor() {
    if (m_sheet)
        m_sheet->dismiss();
    m_sheet.clear();
    // The first rule takes the place of the button that it was made with, and that had the focus.
    const QWidget* const focus = window()->focusWidget();
    if (!focus || !focus->isVisible())
        m_list->setFocus(Qt::OtherFocusReason);
}

} // namespace vantorel
