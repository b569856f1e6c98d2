#include "app/Instance.h"

#include "app/DisplayPlatform.h"
#include "app/ExitGuard.h"
#include "app/Shared.h"
#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "interception/SourceAppTracker.h"
#include "platform/freedesktop/ApplicationMonitor.h"
#include "platform/freedesktop/DebugAdaptor.h"
#include "platform/freedesktop/DesktopSystemSettings.h"
#include "platform/freedesktop/InstalledIndex.h"
#include "platform/freedesktop/TerminationSignals.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"

#include <QApplication>
#include <QThreadPool>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vantorel {

namespace {

template <typename Entries> QList<QStringList> rowsOf(const Entries& entries) {
    QList<QStringList> rows;
    for (const auto& entry : entries)
        rows.append({entry.id, entry.name, entry.appURL.toLocalFile()});
    return rows;
}

} // namespace

Instance::Instance(QCoreApplication& application, const QDBusConnection& bus, Restart::Legacy legacy)
    : m_application(application)
    , m_legacy(std::move(legacy))
    , m_linkSource(bus, shared::launchContext(), shared::processApplications(), shared::prepareLaunch)
    , m_delegate(delegateCollaborators()) {
    if (qobject_cast<QApplication*>(&application))
        m_menuBarManager.emplace(menuBarCollaborators());
    new DebugAdaptor(m_linkSource, shared::rulesStore, shared::interceptDebugStore(),
                     {.browsers = [] { return rowsOf(shared::browserDetector().browsers()); },
                      .apps = [] { return rowsOf(shared::installedAppDetector().apps()); }});
}

MenuBarManager::Collaborators Instance::menuBarCollaborators() {
    return {
        .makeStatusItem = shared::makeStatusItem,
        .makeEventMonitor = shared::makeClickMonitor,
        .makePanelSurface = shared::makePanelSurface,
        .makeMenuBarView = shared::makeMenuBarView,
        .makeSettingsView = shared::makeSettingsView,
        .bringToFront = shared::bringToFront,
        .prepareTexts = shared::prepareTexts,
        .quit = QCoreApplication::quit,
    };
}

AppDelegate::Collaborators Instance::delegateCollaborators() {
    return {
        .linkSource = m_linkSource,
        .interceptor = shared::urlInterceptor,
        .startSourceAppTracker = [] { shared::sourceAppTracker().start(); },
        .route = [](const Link& url,
                    const QStringList& sourceAppIDs) { shared::rulesEngine().route(url, sourceAppIDs); },
        .detectBrowsers = [] { shared::browserDetector().refresh(); },
        .detectApps = [] { shared::installedAppDetector().refresh(); },
        .setUpMenuBar = [this] { setUpMenuBar(); },
        .saveSettings = [] { shared::rulesStore().saveForTermination(); },
        .tearDownMenuBar =
            [this] {
                if (m_menuBarManager)
                    m_menuBarManager->teardown();
            },
        .quit = QCoreApplication::quit,
        .openSettings = [this] { return openSettings(); },
    };
}

// From the event loop, and not as a posted event, which the claim of the name delivers: a start that finds another
// program running ends before that, and shows no icon of its own.
void Instance::setUpMenuBar() {
    if (!m_menuBarManager)
        return;
    QTimer::singleShot(0, &*m_menuBarManager, &MenuBarManager::setup);
    shared::observeNoFallback([this] { m_menuBarManager->handleNoFallback(); });
}

bool Instance::openSettings() {
    // A display that does not answer would keep us waiting for good.
    if (!reachableDisplayPlatform())
        return false;
    if (m_menuBarManager) {
        m_menuBarManager->openSettings();
        return true;
    }
    // There is a display again. Whoever asks gets an answer first.
    m_settingsWish = shared::launchContext();
    QMetaObject::invokeMethod(
        &m_application, [this] { startAnew({}); }, Qt::QueuedConnection);
    return true;
}

void Instance::startAnew(Restart::Legacy next) {
    next.lastActiveBundleID = shared::sourceAppTracker().lastActiveBundleID();
    m_delegate.applicationWillTerminate(); // the last calls come with it
    next.showsSettings = m_settingsWish.has_value();
    next.context = m_settingsWish.value_or(LaunchContext());
    Restart::execute(next);
}

std::optional<int> Instance::run(const QStringList& links) {
    if (m_legacy.lastActiveBundleID)
        shared::sourceAppTracker().assume(*m_legacy.lastActiveBundleID);
    // One scan after another: an older one must not publish its list last.
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    // Its thread ends with its work, and not half a minute later, for which it would wake up.
    QThreadPool::globalInstance()->setExpiryTimeout(0);
    // Before the detectors: a link may come at any moment now, and the lists are not needed for it.
    shared::currentIndex().refresh();
    m_delegate.applicationDidFinishLaunching();

    // Browsers first: their scan is what makes GIO tell of the next change.
    const ApplicationMonitor applicationMonitor;
    QObject::connect(&applicationMonitor, &ApplicationMonitor::changed, &m_application, [] {
        shared::browserDetector().refresh();
        shared::currentIndex().refresh();
        shared::installedAppDetector().refresh();
        shared::systemSettings().refresh();
    });

    const TerminationSignals terminationSignals;
    if (!m_linkSource.claimName())
        return std::nullopt;

    QObject::connect(&terminationSignals, &TerminationSignals::received, &m_application, QCoreApplication::quit);
    QObject::connect(&m_linkSource, &DBusLinkSource::busLost, &m_application, QCoreApplication::quit);
    if (!m_menuBarManager) {
        std::fputs("vantorel: no display; links are routed without icon and windows\n", stderr);
        // One that is only slow, as when a session begins, gets its windows as soon as it answers.
        if (!m_legacy.withoutDisplay)
            whenDisplayAnswers(m_application, [this] { startAnew({}); });
    }
    m_linkSource.deliverArguments(links);
    if (m_legacy.showsSettings)
        QMetaObject::invokeMethod(
            &m_linkSource, [this] { m_linkSource.openSettings(m_legacy.context); }, Qt::QueuedConnection);
    int status = EXIT_SUCCESS;
    {
        const ExitGuard displayLost([this] { startAnew({.withoutDisplay = true}); });
        status = QCoreApplication::exec();
    }
    m_delegate.applicationWillTerminate();
    return status;
}

} // namespace vantorel
