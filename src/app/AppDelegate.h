#pragma once

#include <QByteArrayList>
#include <QStringList>

#include <functional>

namespace vantorel {

class Link;
class LinkSource;
class URLInterceptor;

/// Brings the program up in a fixed order, takes links through the two roads besides the interceptor's, and puts
/// everything away at the end. Main thread only.
class AppDelegate {
public:
    struct Collaborators {
        LinkSource& linkSource;
        std::function<URLInterceptor&()> interceptor; ///< made on first use
        std::function<void()> startSourceAppTracker;
        std::function<void(const Link& url, const QStringList& sourceAppIDs)> route;
        std::function<void()> detectBrowsers; ///< returns at once
        std::function<void()> detectApps; ///< returns at once
        std::function<void()> setUpMenuBar;
        std::function<void()> saveSettings; ///< at once, and for the last time
        std::function<void()> tearDownMenuBar;
        std::function<void()> quit; ///< asks the event loop to end
        std::function<bool()> openSettings; ///< false without a display
    };

    explicit AppDelegate(Collaborators collaborators);

    /// The link handler is registered before anything else, then the tracker starts; the icon comes last. Settings are
    /// not loaded here, but by the first link. Being a program of the bar alone takes no step: a desktop shows windows,
    /// and there are none.
    void applicationDidFinishLaunching();

    /// The settings are saved once; when the menu bar is torn down, the links that have arrived by now are still
    /// routed.
    void applicationWillTerminate();

    /// Routes each link in order, without a source application; text that is no link is dropped.
    void openURLs(const QByteArrayList& texts) const;

    /// The same for absolute paths, whatever characters they hold, and for file: links, which stay as they are.
    void openFiles(const QByteArrayList& files) const;

private:
    Collaborators m_collaborators;
};

} // namespace vantorel
