#include "app/Shared.h"

#include "app/Translations.h"
#include "controls/Style.h"
#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "interception/BrowserLauncher.h"
#include "interception/InterceptDebugStore.h"
#include "interception/SourceAppTracker.h"
#include "interception/URLInterceptor.h"
#include "menubar/MenuBarView.h"
#include "platform/StatusItem.h"
#include "platform/freedesktop/ApplicationSnapshot.h"
#include "platform/freedesktop/AtSpiActivationSource.h"
#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/ColorScheme.h"
#include "platform/freedesktop/DesktopPalette.h"
#include "platform/freedesktop/DesktopStatusItem.h"
#include "platform/freedesktop/DesktopSystemSettings.h"
#include "platform/freedesktop/IniUserDefaults.h"
#include "platform/freedesktop/InstalledApps.h"
#include "platform/freedesktop/InstalledIndex.h"
#include "platform/freedesktop/KWinActivationSource.h"
#include "platform/freedesktop/LaunchContext.h"
#include "platform/freedesktop/ProcessApplications.h"
#include "platform/freedesktop/Round.h"
#include "platform/freedesktop/SessionActivationSource.h"
#include "platform/freedesktop/SpawnRunner.h"
#include "platform/freedesktop/WindowApplications.h"
#include "platform/wayland/WaylandPanelSurface.h"
#include "platform/wayland/WlrActivationSource.h"
#include "platform/x11/WindowPanelSurface.h"
#include "platform/x11/X11ActivationSource.h"
#include "platform/x11/X11ClickMonitor.h"
#include "platform/x11/X11Display.h"
#include "platform/x11/X11TrayIcon.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"
#include "settings/SettingsView.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QWindow>

#include <cstdio>

namespace vantorel::shared {

namespace {

void tellOnce(const QString& problem) {
    std::fprintf(stderr, "vantorel: settings are kept in memory only: %s\n", qPrintable(problem));
}

UserDefaults& userDefaults() {
    static UserDefaults& defaults = []() -> UserDefaults& {
        const auto file = IniUserDefaults::userFile();
        if (!file) {
            tellOnce(QStringLiteral("HOME is not set"));
            return *new MemoryUserDefaults;
        }
        auto& stored = *new IniUserDefaults(*file);
        if (const auto problem = stored.problem())
            tellOnce(*problem);
        return stored;
    }();
    return defaults;
}

SpawnRunner& browserRunner() {
    static auto& runner = *new SpawnRunner(launchContext());
    return runner;
}

void openInBrowser(const Link& url, const QString& bundleID) {
    static const auto& catalog = *new InstalledApps;
    static auto& rounds = *new RepeatedRounds;
    LaunchContext& context = launchContext();
    if (context.sender == bundleID)
        context.round = QByteArray::fromStdString(
            rounds.before(context.round.toStdString(), url.absoluteString().toStdString(), roundClock()));
    BrowserLauncher::open(url, bundleID, catalog, browserRunner());
}

std::optional<QString> applicationOfWindow(const WindowIdentity& window) {
    static auto& windows =
        *new WindowApplications([] { return currentIndex().get(); },
                                [](pid_t process) { return processApplications().applicationOf(process); });
    return windows.applicationOf(window);
}

// The surest first.
ActivationSource* makeActivationSource() {
    const QByteArray x11 = qgetenv("DISPLAY");
    const QByteArray wayland = qgetenv("WAYLAND_DISPLAY");
    const QDBusConnection bus = QDBusConnection::sessionBus();
    std::vector<std::unique_ptr<ActivationBackend>> ways;
    // Of a Wayland session an X server sees some of the windows only, and would name an application that was left long
    // ago.
    if (!x11.isEmpty() && wayland.isEmpty())
        ways.push_back(std::make_unique<X11ActivationSource>(x11, kBusName, applicationOfWindow));
    if (!wayland.isEmpty()) {
        const QByteArray path = waylandSocketPath(wayland, qgetenv("XDG_RUNTIME_DIR"));
        ways.push_back(std::make_unique<WlrActivationSource>(path, kBusName, applicationOfWindow));
        ways.push_back(std::make_unique<KWinActivationSource>(bus, kBusName, applicationOfWindow));
    }
    ways.push_back(std::make_unique<AtSpiActivationSource>(bus, kBusName, applicationOfWindow));
    return new SessionActivationSource(std::move(ways));
}

ActivationSource& activationSource() {
    static auto& source = *makeActivationSource();
    return source;
}

bool isOnWayland() {
    return QGuiApplication::platformName().startsWith(u"wayland");
}

// One object for both: there, only the panel itself learns of presses elsewhere.
std::shared_ptr<WaylandPanelSurface> waylandPanel() {
    static std::weak_ptr<WaylandPanelSurface> known;
    auto panel = known.lock();
    if (!panel)
        known = panel = std::make_shared<WaylandPanelSurface>();
    return panel;
}

// For a portal that runs and is slow: the window then changes its colours a little later.
constexpr std::chrono::milliseconds kPatienceWithPortal{50};

// Where a theme of the desktop brings colours they are what the user wants.
void followColorScheme() {
    if (!isQtsOwn(QApplication::palette()))
        return;
    static auto& scheme = *new ColorScheme(QDBusConnection::sessionBus());
    const auto apply = [] {
        const QColor accent = scheme.accent().value_or(QColor());
        const bool isDark = scheme.preference() == ColorScheme::Preference::dark;
        QApplication::setPalette(isDark ? darkPalette(accent) : lightPalette(accent));
    };
    QObject::connect(&scheme, &ColorScheme::changed, qApp, apply);
    scheme.start(kPatienceWithPortal);
    apply();
}

// Before the first window, whichever it is.
void prepareWindows() {
    prepareTexts();
    [[maybe_unused]] static const bool isDone = [] {
        if (Style::isWanted())
            QApplication::setStyle(new Style);
        followColorScheme();
        return true;
    }();
}

std::function<void()>& noFallbackObserver() {
    static auto& observer = *new std::function<void()>;
    return observer;
}

} // namespace

// Without a fallback a flood of links may go nowhere, each for the price of a process.
void prepareLaunch() {
    if (!rulesStore().fallbackBrowserID().isEmpty())
        browserRunner().prepare(BrowserLauncher::program());
}

RulesStore& rulesStore() {
    static auto& store = *new RulesStore(userDefaults());
    return store;
}

RulesEngine& rulesEngine() {
    static auto& engine = []() -> RulesEngine& {
        auto& made = *new RulesEngine(rulesStore(), interceptDebugStore(), openInBrowser, kBusName);
        QObject::connect(&made, &RulesEngine::noFallbackConfigured, &made, [] {
            if (const auto& observer = noFallbackObserver())
                observer();
        });
        return made;
    }();
    return engine;
}

void observeNoFallback(std::function<void()> observer) {
    noFallbackObserver() = std::move(observer);
}

InterceptDebugStore& interceptDebugStore() {
    static auto& store = *new InterceptDebugStore;
    return store;
}

URLInterceptor& urlInterceptor() {
    static auto& interceptor = *new URLInterceptor(
        [](const Link& url, const QStringList& sourceAppIDs) { rulesEngine().route(url, sourceAppIDs); },
        [] { return sourceAppTracker().lastActiveBundleID(); }, [] { return activationSource().frontmost(); },
        kBusName);
    return interceptor;
}

SourceAppTracker& sourceAppTracker() {
    static auto& tracker = *new SourceAppTracker(activationSource(), kBusName);
    return tracker;
}

CurrentIndex& currentIndex() {
    static auto& index = *new CurrentIndex;
    return index;
}

ProcessApplications& processApplications() {
    static auto& applications = *new ProcessApplications([] { return currentIndex().get(); }, kBusName);
    return applications;
}

LaunchContext& launchContext() {
    static auto& context = *new LaunchContext;
    return context;
}

BrowserDetector& browserDetector() {
    static auto& detector = *new BrowserDetector(
        [] {
            const auto snapshot = std::make_shared<ApplicationSnapshot>(ApplicationSnapshot::Content::everything);
            return BrowserDetector::Snapshot{snapshot, snapshot};
        },
        knownBrowserIDs(), kBusName);
    return detector;
}

InstalledAppDetector& installedAppDetector() {
    static auto& detector = *new InstalledAppDetector(
        [] {
            const auto snapshot = std::make_shared<ApplicationSnapshot>(ApplicationSnapshot::Content::shownInMenus);
            return InstalledAppDetector::Snapshot{snapshot, snapshot};
        },
        kBusName);
    return detector;
}

DesktopSystemSettings& systemSettings() {
    static auto& settings =
        *new DesktopSystemSettings(kBusName.toLatin1(),
                                   QFile::encodeName(QDir::cleanPath(QCoreApplication::applicationDirPath()
                                                                     + QStringLiteral("/../bin/vantorel"))));
    return settings;
}

std::unique_ptr<StatusItem> makeStatusItem() {
    return std::make_unique<DesktopStatusItem>(QDBusConnection::sessionBus(), DesktopStatusItem::iconFolder(),
                                               std::make_unique<X11TrayIcon>());
}

std::shared_ptr<ClickMonitor> makeClickMonitor() {
    if (isOnWayland())
        return waylandPanel();
    if (!X11Display::connection())
        return nullptr;
    return std::make_shared<X11ClickMonitor>(qgetenv("DISPLAY"));
}

std::shared_ptr<PanelSurface> makePanelSurface() {
    if (isOnWayland())
        return waylandPanel();
    return std::make_shared<WindowPanelSurface>();
}

void prepareTexts() {
    [[maybe_unused]] static const bool isDone = [] {
        installTranslation(QLocale::system().uiLanguages());
        return true;
    }();
}

QWidget* makeMenuBarView(std::function<void()> openSettings) {
    prepareWindows();
    return new MenuBarView(rulesStore(), browserDetector(), installedAppDetector(), interceptDebugStore(),
                           {.openSettings = std::move(openSettings), .quit = QCoreApplication::quit});
}

QWidget* makeSettingsView() {
    prepareWindows();
    return new SettingsView(rulesStore(), browserDetector(), installedAppDetector(), systemSettings());
}

// Under Wayland Qt takes the token from the environment. Without one, a window comes to the front only when it is new
// on the screen: our panel never has the keyboard, and so is given no token for another window.
void bringToFront(QWindow& window) {
    const LaunchContext& context = launchContext();
    if (isOnWayland() && context.activationToken.isEmpty() && window.isExposed() && !window.isActive()) {
        window.hide();
        window.show();
    }
    if (!context.activationToken.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", context.activationToken);
    window.requestActivate();
    X11Display::bringToFront(window, context.startupID);
    qunsetenv("XDG_ACTIVATION_TOKEN");
}

} // namespace vantorel::shared
