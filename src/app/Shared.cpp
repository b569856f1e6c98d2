#include "app/Shared.h"

#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "interception/BrowserLauncher.h"
#include "interception/InterceptDebugStore.h"
#include "interception/SourceAppTracker.h"
#include "interception/URLInterceptor.h"
#include "platform/NoActivationSource.h"
#include "platform/freedesktop/ApplicationSnapshot.h"
#include "platform/freedesktop/AtSpiActivationSource.h"
#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/IniUserDefaults.h"
#include "platform/freedesktop/InstalledApps.h"
#include "platform/freedesktop/KWinActivationSource.h"
#include "platform/freedesktop/LaunchContext.h"
#include "platform/freedesktop/ProcessApplications.h"
#include "platform/freedesktop/SpawnRunner.h"
#include "platform/freedesktop/WindowApplications.h"
#include "platform/x11/X11ActivationSource.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"

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

void openInBrowser(const Link& url, const QString& bundleID) {
    static const auto& catalog = *new InstalledApps;
    static auto& runner = *new SpawnRunner(launchContext());
    BrowserLauncher::open(url, bundleID, catalog, runner);
}

// Of a Wayland session an X server sees some of the windows only, and would name an application that was left long ago.
ActivationSource* makeActivationSource() {
    const QByteArray display = qgetenv("DISPLAY");
    static auto& windows = *new WindowApplications(
        installedWindowEntries, [](pid_t process) { return processApplications().applicationOf(process); });
    const auto identify = [](const WindowIdentity& window) { return windows.applicationOf(window); };
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return new KWinActivationSource(QDBusConnection::sessionBus(), kBusName, identify);
    if (display.isEmpty())
        return new AtSpiActivationSource(QDBusConnection::sessionBus(), kBusName, identify);
    return new X11ActivationSource(display, kBusName,
                                   [](const WindowIdentity& window) { return windows.applicationOf(window); });
}

ActivationSource& activationSource() {
    static auto& source = *makeActivationSource();
    return source;
}

} // namespace

RulesStore& rulesStore() {
    static auto& store = *new RulesStore(userDefaults());
    return store;
}

RulesEngine& rulesEngine() {
    static auto& engine = *new RulesEngine(rulesStore(), interceptDebugStore(), openInBrowser, kBusName);
    return engine;
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

ProcessApplications& processApplications() {
    static auto& applications = *new ProcessApplications;
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

} // namespace vantorel::shared
