#pragma once

namespace vantorel {

class BrowserDetector;
class CurrentIndex;
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

} // namespace shared

} // namespace vantorel
