#include "app/AppDelegate.h"
#include "app/DisplayPlatform.h"
#include "app/ExitGuard.h"
#include "app/Restart.h"
#include "app/Shared.h"
#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "interception/SourceAppTracker.h"
#include "menubar/MenuBarManager.h"
#include "platform/freedesktop/ApplicationMonitor.h"
#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/DBusLinkSource.h"
#include "platform/freedesktop/DebugAdaptor.h"
#include "platform/freedesktop/DesktopSystemSettings.h"
#include "platform/freedesktop/InstalledIndex.h"
#include "platform/freedesktop/LaunchContext.h"
#include "platform/freedesktop/RunningInstance.h"
#include "platform/freedesktop/SystemLog.h"
#include "platform/freedesktop/TerminationSignals.h"
#include "platform/wayland/LayerShell.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDir>
#include <QSessionManager>
#include <QThreadPool>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace vantorel;

void tell(const QString& line) {
    std::fprintf(stderr, "vantorel: %s\n", qPrintable(line));
}

// A program that was started without its standard descriptors would get links' pipes in their place, and one that was
// started with SIGCHLD ignored would not learn how its children end. A reader that is gone and a file that may not grow
// are errors of one write, not of the program.
void mendInheritedState() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0)
            open("/dev/null", O_RDWR);
    }
    std::signal(SIGCHLD, SIG_DFL);
    for (const int signal : {SIGPIPE, SIGXFSZ})
        std::signal(signal, SIG_IGN);
}

// Without an address, and without the user's own socket in its usual place, the bus library would start a bus of its
// own that no other program is on.
bool hasSessionBus() {
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        return true;
    struct stat status { };
    const QByteArray socket = qgetenv("XDG_RUNTIME_DIR") + "/bus";
    return stat(socket.constData(), &status) == 0 && S_ISSOCK(status.st_mode) && status.st_uid == geteuid();
}

// Absent when there is no program that runs, and none that the bus can start.
std::optional<int> statusOf(const RunningInstance::Outcome& outcome, int whenRefused) {
    if (std::holds_alternative<RunningInstance::NotThere>(outcome))
        return std::nullopt;
    if (const auto* const refused = std::get_if<RunningInstance::Refused>(&outcome)) {
        tell(refused->reason);
        return whenRefused;
    }
    return EXIT_SUCCESS;
}

// Hands links, or without any the wish to see the program, to the program that runs.
std::optional<int> handOver(const QDBusConnection& bus, const QStringList& links) {
    return links.isEmpty() ? statusOf(RunningInstance::activate(bus), EXIT_SUCCESS)
                           : statusOf(RunningInstance::open(bus, links), EXIT_FAILURE);
}

bool tellIfNoBus(const QDBusConnection& bus) {
    if (!bus.isConnected())
        tell(QStringLiteral("no session bus: ") + bus.lastError().message());
    return !bus.isConnected();
}

// What a second start does with its links, by means that are as small as can be: windows are for the program that runs.
std::optional<int> handOverAtOnce(const QStringList& links) {
    int count = 1;
    char name[] = "vantorel";
    char* arguments[] = {name, nullptr};
    const QCoreApplication application(count, arguments);
    const QString connection = QStringLiteral("second start");
    std::optional<int> status;
    {
        const auto bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connection);
        status = tellIfNoBus(bus) ? EXIT_FAILURE : handOver(bus, links);
    }
    QDBusConnection::disconnectFromBus(connection);
    return status;
}

// With windows where there is a display for them. Qt is given none of our own arguments, which are links.
std::unique_ptr<QCoreApplication> makeApplication(const std::optional<QByteArray>& platform) {
    static char program[] = "vantorel";
    static char option[] = "-platform";
    static QByteArray value = platform.value_or(QByteArray());
    static char* arguments[] = {program, option, value.data(), nullptr};
    static int count = 3;
    if (value.isEmpty()) {
        arguments[1] = nullptr;
        count = 1;
    }
    if (!platform)
        return std::make_unique<QCoreApplication>(count, arguments);

    // Qt would take the startup id of a link for that of its first window, whenever that comes.
    const QByteArray startupID = qgetenv("DESKTOP_STARTUP_ID");
    qunsetenv("DESKTOP_STARTUP_ID");
    LayerSurface::prepareProcess();
    QGuiApplication::setDesktopFileName(kBusName);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    auto application = std::make_unique<QApplication>(count, arguments);
    if (!startupID.isEmpty())
        qputenv("DESKTOP_STARTUP_ID", startupID);
    // The session starts the program by its own means, and not because it ran last time.
    QObject::connect(application.get(), &QGuiApplication::commitDataRequest,
                     [](QSessionManager& manager) { manager.setRestartHint(QSessionManager::RestartNever); });
    return application;
}

template <typename Entries> QList<QStringList> rowsOf(const Entries& entries) {
    QList<QStringList> rows;
    for (const auto& entry : entries)
        rows.append({entry.id, entry.name, entry.appURL.toLocalFile()});
    return rows;
}

int runAsInstance(QCoreApplication& application, const QStringList& links, const Restart::Legacy& legacy) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (tellIfNoBus(bus))
        return EXIT_FAILURE;
    std::optional<MenuBarManager> menuBarManager; // absent without a display
    if (qobject_cast<QApplication*>(&application))
        menuBarManager.emplace(MenuBarManager::Collaborators{
            .makeStatusItem = shared::makeStatusItem,
            .makeEventMonitor = shared::makeClickMonitor,
            .makePanelSurface = shared::makePanelSurface,
            .makeMenuBarView = shared::makeMenuBarView,
            .makeSettingsView = shared::makeSettingsView,
            .bringToFront = shared::bringToFront,
            .prepareTexts = shared::prepareTexts,
            .quit = QCoreApplication::quit,
        });
    std::function<void(Restart::Legacy)> startAnew;
    std::optional<LaunchContext> settingsWish; // for the next program, which may be on its way for another reason

    const auto openSettings = [&menuBarManager, &application, &startAnew, &settingsWish] {
        // A display that does not answer would keep us waiting for good.
        if (!reachableDisplayPlatform())
            return false;
        if (menuBarManager) {
            menuBarManager->openSettings();
            return true;
        }
        // There is a display again. Whoever asks gets an answer first.
        settingsWish = shared::launchContext();
        QMetaObject::invokeMethod(
            &application, [&startAnew] { startAnew({}); }, Qt::QueuedConnection);
        return true;
    };
    // From the event loop: a start that finds another program running ends before that, and shows no icon of its own.
    const auto setUpMenuBar = [&menuBarManager] {
        if (!menuBarManager)
            return;
        QMetaObject::invokeMethod(&*menuBarManager, &MenuBarManager::setup, Qt::QueuedConnection);
        shared::observeNoFallback([&menuBarManager] { menuBarManager->handleNoFallback(); });
    };
    DBusLinkSource linkSource(bus, shared::launchContext(), shared::processApplications(), shared::prepareLaunch);
    AppDelegate delegate({
        .linkSource = linkSource,
        .interceptor = shared::urlInterceptor,
        .startSourceAppTracker = [] { shared::sourceAppTracker().start(); },
        .route = [](const Link& url,
                    const QStringList& sourceAppIDs) { shared::rulesEngine().route(url, sourceAppIDs); },
        .detectBrowsers = [] { shared::browserDetector().refresh(); },
        .detectApps = [] { shared::installedAppDetector().refresh(); },
        .setUpMenuBar = setUpMenuBar,
        .saveSettings = [] { shared::rulesStore().saveForTermination(); },
        .tearDownMenuBar =
            [&menuBarManager] {
                if (menuBarManager)
                    menuBarManager->teardown();
            },
        .quit = QCoreApplication::quit,
        .openSettings = openSettings,
    });
    startAnew = [&delegate, &settingsWish](Restart::Legacy next) {
        next.lastActiveBundleID = shared::sourceAppTracker().lastActiveBundleID();
        delegate.applicationWillTerminate(); // the last calls come with it
        next.showsSettings = settingsWish.has_value();
        next.context = settingsWish.value_or(LaunchContext());
        Restart::execute(next);
    };
    if (legacy.lastActiveBundleID)
        shared::sourceAppTracker().assume(*legacy.lastActiveBundleID);
    new DebugAdaptor(linkSource, shared::rulesStore, shared::interceptDebugStore(),
                     {.browsers = [] { return rowsOf(shared::browserDetector().browsers()); },
                      .apps = [] { return rowsOf(shared::installedAppDetector().apps()); }});
    // One scan after another: an older one must not publish its list last.
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    // Its thread ends with its work, and not half a minute later, for which it would wake up.
    QThreadPool::globalInstance()->setExpiryTimeout(0);
    // Before the detectors: a link may come at any moment now, and the lists are not needed for it.
    shared::currentIndex().refresh();
    delegate.applicationDidFinishLaunching();

    // Browsers first: their scan is what makes GIO tell of the next change.
    const ApplicationMonitor applicationMonitor;
    QObject::connect(&applicationMonitor, &ApplicationMonitor::changed, &application, [] {
        shared::browserDetector().refresh();
        shared::currentIndex().refresh();
        shared::installedAppDetector().refresh();
        shared::systemSettings().refresh();
    });

    const TerminationSignals terminationSignals;

    // Two starts at the same time: the other one was quicker. The user has no wish but links when the bus starts the
    // program, and when it starts itself anew.
    if (!linkSource.claimName()) {
        const bool isUnasked =
            qEnvironmentVariableIsSet("DBUS_STARTER_BUS_TYPE") || (legacy.isAnew && !legacy.showsSettings);
        return isUnasked && links.isEmpty() ? EXIT_SUCCESS : handOver(bus, links).value_or(EXIT_FAILURE);
    }

    QObject::connect(&terminationSignals, &TerminationSignals::received, &application, QCoreApplication::quit);
    QObject::connect(&linkSource, &DBusLinkSource::busLost, &application, QCoreApplication::quit);
    if (!menuBarManager) {
        tell(QStringLiteral("no display; links are routed without icon and windows"));
        // One that is only slow, as when a session begins, gets its windows as soon as it answers.
        if (!legacy.withoutDisplay)
            whenDisplayAnswers(application, [&startAnew] { startAnew({}); });
    }
    linkSource.deliverArguments(links);
    if (legacy.showsSettings)
        QMetaObject::invokeMethod(
            &linkSource, [&] { linkSource.openSettings(legacy.context); }, Qt::QueuedConnection);
    int status = EXIT_SUCCESS;
    {
        const ExitGuard displayLost([&startAnew] { startAnew({.withoutDisplay = true}); });
        status = QCoreApplication::exec();
    }
    delegate.applicationWillTerminate();
    return status;
}

} // namespace

int main(int argc, char* argv[]) {
    mendInheritedState();
    installSystemLog();
    QByteArrayList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(argv[i]);
    const Restart::Legacy legacy = Restart::inherit();

    if (!hasSessionBus()) {
        tell(QStringLiteral("no session bus: neither DBUS_SESSION_BUS_ADDRESS nor a bus in XDG_RUNTIME_DIR"));
        return EXIT_FAILURE;
    }
    const QStringList links = linksOfArguments(arguments, QFile::encodeName(QDir::currentPath()));
    if (!arguments.isEmpty()) {
        if (links.isEmpty())
            return EXIT_SUCCESS;
        if (const auto status = handOverAtOnce(links))
            return *status;
    }
    const auto application = makeApplication(legacy.withoutDisplay ? std::nullopt : reachableDisplayPlatform());
    return runAsInstance(*application, links, legacy);
}
