#pragma once

class QByteArray;
class QString;

namespace vantorel {

class AppCatalog;
class Link;
class ProcessRunner;

/// Opens one link in one browser: the only place where a link is handed to another application.
///
/// The outcome is known only from the log (category com.qorbex.Vantorel.launcher): one line for each link, at debug
/// level when the browser was started with it, else at error level. Main thread.
namespace BrowserLauncher {

/// The path of vantorel-open.
QByteArray program();

/// Runs `vantorel-open -b ID LINK` as a child process and returns as soon as it has been started. Both
/// collaborators must outlive the program's event loop.
void open(const Link& url, const QString& bundleID, const AppCatalog& catalog, ProcessRunner& runner);

} // namespace BrowserLauncher

} // namespace vantorel
