#pragma once

#include <functional>
#include <memory>

class QWidget;
class QWindow;

namespace vantorel {

class BrowserDetector;
class ClickMonitor;
class CurrentIndex;
class DesktopSystemSettings;
class InstalledAppDetector;
class InterceptDebugStore;
class PanelSurface;
class ProcessApplications;
class RulesEngine;
class RulesStore;
class SourceAppTracker;
class StatusItem;
class URLInterceptor;
struct LaunchContext;

/// The program's single instances. Each is made on first use and never destroyed. Main thread only.
namespace shared {

RulesStore& rulesStore();
RulesEngine& rulesEngine();
InterceptDebugStore& interceptDebugStore();
URLInterceptor& urlInterceptor();
SourceAppTracker& sourceAppTracker();
CurrentIndex& currentIndex();
ProcessApplications& processApplications();
LaunchContext& launchContext();
/// Gets ready to open a link in a browser while it is not known yet in which, where every link is opened in one.
void prepareLaunch();
BrowserDetector& browserDetector();
InstalledAppDetector& installedAppDetector();
DesktopSystemSettings& systemSettings();

/// Calls `observer` for each link that is opened nowhere from now on, in place of the one before. Does not make the
/// engine, which reads the settings.
void observeNoFallback(std::function<void()> observer);

/// What the menu bar is made of; null where the desktop has no such thing.
std::unique_ptr<StatusItem> makeStatusItem();
std::shared_ptr<ClickMonitor> makeClickMonitor();
std::shared_ptr<PanelSurface> makePanelSurface();

/// Sees to the language of all texts; only the first call does anything.
void prepareTexts();

/// What the panel and the settings window show. Made anew at each call, and then the caller's.
QWidget* makeMenuBarView(std::function<void()> openSettings);
QWidget* makeSettingsView();

/// Gives a visible window the focus, with what the launch context holds for that.
void bringToFront(QWindow& window);

} // namespace shared

} // namespace vantorel
