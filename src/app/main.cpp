#include "app/AppDelegate.h"
#include "app/Shared.h"
#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "interception/SourceAppTracker.h"
#include "platform/freedesktop/ApplicationMonitor.h"
#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/DBusLinkSource.h"
#include "platform/freedesktop/DebugAdaptor.h"
#include "platform/freedesktop/InstalledIndex.h"
#include "platform/freedesktop/LaunchContext.h"
#include "platform/freedesktop/RunningInstance.h"
#include "platform/freedesktop/SystemLog.h"
#include "platform/freedesktop/TerminationSignals.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
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

bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || !qEnvironmentVariableIsEmpty("DISPLAY");
}

// Hands links to the program that runs, which the bus starts if need be. Absent when there is none to be had.
std::optional<int> handOver(const QDBusConnection& bus, const QStringList& links) {
    const auto outcome = links.isEmpty() ? RunningInstance::activate(bus) : RunningInstance::open(bus, links);
    if (std::holds_alternative<RunningInstance::NotThere>(outcome))
        return std::nullopt;
    if (const auto* const refused = std::get_if<RunningInstance::Refused>(&outcome)) {
        tell(refused->reason);
        return links.isEmpty() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

template <typename Entries> QList<QStringList> rowsOf(const Entries& entries) {
    QList<QStringList> rows;
    for (const auto& entry : entries)
        rows.append({entry.id, entry.name, entry.appURL.toLocalFile()});
    return rows;
}

int runAsInstance(QCoreApplication& application, const QDBusConnection& bus, const QStringList& links) {
    DBusLinkSource linkSource(bus, shared::launchContext(), shared::processApplications());
    AppDelegate delegate({
        .linkSource = linkSource,
        .interceptor = shared::urlInterceptor,
        .startSourceAppTracker = [] { shared::sourceAppTracker().start(); },
        .route = [](const Link& url,
                    const QStringList& sourceAppIDs) { shared::rulesEngine().route(url, sourceAppIDs); },
        .detectBrowsers = [] { shared::browserDetector().refresh(); },
        .detectApps = [] { shared::installedAppDetector().refresh(); },
        .saveSettings = [] { shared::rulesStore().saveForTermination(); },
        .quit = QCoreApplication::quit,
    });
    new DebugAdaptor(linkSource, shared::rulesStore, shared::interceptDebugStore(),
                     {.browsers = [] { return rowsOf(shared::browserDetector().browsers()); },
                      .apps = [] { return rowsOf(shared::installedAppDetector().apps()); }});
    // One scan after another: an older one must not publish its list last.
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    // Before the detectors: a link may come at any moment now, and the lists are not needed for it.
    shared::currentIndex().refresh();
    delegate.applicationDidFinishLaunching();

    // Browsers first: their scan is what makes GIO tell of the next change.
    const ApplicationMonitor applicationMonitor;
    QObject::connect(&applicationMonitor, &ApplicationMonitor::changed, &application, [] {
        shared::browserDetector().refresh();
        shared::currentIndex().refresh();
        shared::installedAppDetector().refresh();
    });

    const TerminationSignals terminationSignals;

    // Two starts at the same time: the other one was quicker.
    if (!linkSource.claimName())
        return handOver(bus, links).value_or(EXIT_FAILURE);

    QObject::connect(&terminationSignals, &TerminationSignals::received, &application, QCoreApplication::quit);
    QObject::connect(&linkSource, &DBusLinkSource::busLost, &application, QCoreApplication::quit);
    if (!hasDisplay())
        tell(QStringLiteral("no display; links are routed without icon and windows"));
    linkSource.deliverArguments(links);
    const int status = QCoreApplication::exec();
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
    QCoreApplication application(argc, argv);

    if (!hasSessionBus()) {
        tell(QStringLiteral("no session bus: neither DBUS_SESSION_BUS_ADDRESS nor a bus in XDG_RUNTIME_DIR"));
        return EXIT_FAILURE;
    }
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        tell(QStringLiteral("no session bus: ") + bus.lastError().message());
        return EXIT_FAILURE;
    }

    const QStringList links = linksOfArguments(arguments, QFile::encodeName(QDir::currentPath()));
    if (!arguments.isEmpty()) {
        if (links.isEmpty())
            return EXIT_SUCCESS;
        if (const auto status = handOver(bus, links))
            return *status;
    }
    return runAsInstance(application, bus, links);
}
