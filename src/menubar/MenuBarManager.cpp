#include "menubar/MenuBarManager.h"

#include "menubar/MenuBarPanel.h"
#include "menubar/PanelGeometry.h"
#include "platform/ClickMonitor.h"
#include "platform/PanelSurface.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QIcon>
#include <QMainWindow>
#include <QScreen>
#include <QWindow>

#include <chrono>
#include <utility>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

constexpr QSize kSettingsSize(620, 500);
constexpr QSize kSmallestSettingsSize(520, 400);

constexpr auto kFlash = 3s;

// A bar tells of a click when the button is released, or a little later by way of the bus. A click whose place is not
// known counts as the one that has closed the panel if it comes within the shorter time.
constexpr auto kSameClick = 300ms;
constexpr auto kLongestClick = 10s;

// Between the press and what the bar says of it: some bars tell of the pointer, others of the corner of their icon.
constexpr int kSamePlace = 48;
constexpr int kAroundIcon = 8;

StatusItem::Image normalImage() {
    return {QStringLiteral("com.qorbex.Vantorel-symbolic"), QStringLiteral("Vantorel")};
}

StatusItem::Image warningImage() {
    return {QStringLiteral("com.qorbex.Vantorel-warning-symbolic"),
            QCoreApplication::translate("MenuBarManager", "No browser configured", "what the warning icon says")};
}

QList<PanelGeometry::Screen> screens() {
    QList<PanelGeometry::Screen> all;
    const auto known = QGuiApplication::screens();
    for (const QScreen* const screen : known)
        all.append({screen->geometry(), screen->availableGeometry()});
    return all;
}

} // namespace

MenuBarManager::MenuBarManager(Collaborators collaborators) : m_collaborators(std::move(collaborators)) {
    m_dismissalEnd.setSingleShot(true);
    connect(&m_dismissalEnd, &QTimer::timeout, this, &MenuBarManager::forgetDismissal);
}

MenuBarManager::~MenuBarManager() {
    teardown();
}

void MenuBarManager::setup() {
    m_statusItem = m_collaborators.makeStatusItem();
    m_eventMonitor = m_collaborators.makeEventMonitor();
    if (!m_statusItem)
        return;
    m_statusItem->setImage(normalImage());
    m_statusItem->setMenu([this] { return menu(); });
    connect(m_statusItem.get(), &StatusItem::clicked, this, &MenuBarManager::togglePopover);
    m_statusItem->show();
}

void MenuBarManager::teardown() {
    forgetDismissal();
    if (m_eventMonitor)
        m_eventMonitor->stop();
    m_eventMonitor.reset();
}

void MenuBarManager::togglePopover(const StatusItem::Place& place) {
    const bool isSameClick = isDismissedBy(place);
    forgetDismissal();
    if (m_panel && m_panel->isVisible())
        closePanel();
    else if (!isSameClick)
        openPanel(place);
}

void MenuBarManager::openPanel(const StatusItem::Place& place) {
    if (!m_statusItem)
        return;
    // Whoever makes the content first sees to the language of all texts and to the look of all windows.
    QWidget* const content = m_collaborators.makeMenuBarView([this] { openSettings(); });
    if (!m_panel) {
        m_panelSurface = m_collaborators.makePanelSurface();
        m_panel = std::make_unique<MenuBarPanel>();
        m_panelSurface->adopt(*m_panel);
        connect(m_panel.get(), &MenuBarPanel::fittingSizeChanged, this, &MenuBarManager::placePanel);
        connect(m_panel.get(), &MenuBarPanel::hidden, this, [this] {
            if (m_eventMonitor && !m_dismissal)
                m_eventMonitor->stop();
        });
    }
    m_panel->setContent(content);
    m_place = place;
    placePanel();
    if (m_eventMonitor)
        m_eventMonitor->start([this](const std::optional<QPoint>& position) { pressedElsewhere(position); });
}

// The panel stays at its icon when its size changes.
void MenuBarManager::placePanel() {
    const QSize size = PanelGeometry::panelSize(m_panel->fittingSize());
    if (m_panel->isVisible() && m_panel->size() == size)
        return;
    const QPoint origin = PanelGeometry::panelOrigin(size, m_place, screens(), QCursor::pos());
    m_panelSurface->show(*m_panel, QRect(origin, size));
}

void MenuBarManager::closePanel() {
    if (m_panel)
        m_panel->hide();
}

// Where the bar belongs to another program, a click on our icon is a press elsewhere as well, and the bar tells of it
// afterwards: that must not open the panel again. We go on listening for the next press, which begins another click.
void MenuBarManager::pressedElsewhere(const std::optional<QPoint>& position) {
    const bool closes = m_panel && m_panel->isVisible();
    forgetDismissal();
    if (!closes)
        return;
    m_dismissal = Dismissal{.press = position, .since = {}};
    m_dismissal->since.start();
    m_dismissalEnd.start(kLongestClick);
    closePanel();
}

bool MenuBarManager::isDismissedBy(const StatusItem::Place& place) const {
    if (!m_dismissal)
        return false;
    if (!m_dismissal->press || (!place.click && !place.icon))
        return m_dismissal->since.elapsed() < std::chrono::milliseconds(kSameClick).count();
    const QPoint press = *m_dismissal->press;
    const auto isNear = [&press](const QRect& rect, int distance) {
        return rect.adjusted(-distance, -distance, distance, distance).contains(press);
    };
    return (place.click && isNear({*place.click, QSize(1, 1)}, kSamePlace))
        || (place.icon && isNear(*place.icon, kAroundIcon));
}

void MenuBarManager::forgetDismissal() {
    m_dismissalEnd.stop();
    const bool wasListening = std::exchange(m_dismissal, std::nullopt).has_value();
    if (wasListening && m_eventMonitor)
        m_eventMonitor->stop();
}

void MenuBarManager::openSettings() {
    forgetDismissal();
    closePanel();
    if (!m_settingsWindow)
        makeSettings();
    m_settingsWindow->setWindowState(m_settingsWindow->windowState() & ~Qt::WindowMinimized);
    m_settingsWindow->show();
    m_collaborators.bringToFront(*m_settingsWindow->windowHandle());
}

void MenuBarManager::handleNoFallback() {
    QMetaObject::invokeMethod(this, &MenuBarManager::flashWarning, Qt::QueuedConnection);
}

// A flash that begins during another one takes the warning for what it has to put back, and its end comes last: links
// that go nowhere one after another leave the warning in place until one of them is alone. This is intended.
void MenuBarManager::flashWarning() {
    if (!m_statusItem)
        return;
    m_collaborators.prepareTexts();
    StatusItem* const item = m_statusItem.get();
    const StatusItem::Image remembered = item->image();
    item->setImage(warningImage());
    // Precise, for two that begin together must end in the same order.
    QTimer::singleShot(kFlash, Qt::PreciseTimer, item, [item, remembered] { item->setImage(remembered); });
}

QList<StatusItem::Entry> MenuBarManager::menu() {
    m_collaborators.prepareTexts();
    return {{QCoreApplication::translate("MenuBarManager", "Settings", "menu of the icon"), [this] { openSettings(); }},
            {QCoreApplication::translate("MenuBarManager", "Quit Vantorel", "menu of the icon"), m_collaborators.quit}};
}

void MenuBarManager::makeSettings() {
    // Whoever makes the content first sees to the language of all texts and to the look of all windows.
    QWidget* const content = m_collaborators.makeSettingsView();
    auto window = std::make_unique<QMainWindow>(); // a window to assistive technology as well
    window->setCentralWidget(content);
    m_settingsWindow = std::move(window);
    m_settingsWindow->setWindowTitle(
        QCoreApplication::translate("MenuBarManager", "Vantorel \u2014 Settings", "title of the settings window"));
    m_settingsWindow->setWindowIcon(QIcon::fromTheme(QStringLiteral("com.qorbex.Vantorel"))); // for lists of windows
    m_settingsWindow->setMinimumSize(kSmallestSettingsSize);
    QRect place({}, kSettingsSize);
    place.moveCenter(QGuiApplication::primaryScreen()->availableGeometry().center());
    m_settingsWindow->setGeometry(place);
}

} // namespace vantorel
