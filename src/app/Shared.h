#pragma once

class QWidget;
class QWindow;

namespace vantorel {

class BrowserDetector;
class CurrentIndex;
class DesktopSystemSettings;
class InstalledAppDetector;
class InterceptDebugStore;
class ProcessApplications;
class RulesEngine;
class RulesStore;
class SourceAppTracker;
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
BrowserDetector& browserDetector();
InstalledAppDetector& installedAppDetector();

DesktopSystemSettings& systemSettings();

/// What the settings window shows. Made anew at each call, and then the caller's.
QWidget* makeSettingsView();

/// Gives a visible window the focus, with what the launch context holds for that.
void bringToFront(QWindow& window);

} // namespace shared

} // namespace vantorel
