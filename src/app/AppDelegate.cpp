#include "app/AppDelegate.h"

#include "interception/URLInterceptor.h"
#include "platform/LinkSource.h"
#include "routing/Link.h"

namespace vantorel {

AppDelegate::AppDelegate(Collaborators collaborators) : m_collaborators(std::move(collaborators)) { }

void AppDelegate::applicationDidFinishLaunching() {
    const URLInterceptor& interceptor = m_collaborators.interceptor();
    m_collaborators.linkSource.start({
        .getURL =
            [&interceptor](const QByteArray& text, const std::optional<QString>& senderAppID) {
                interceptor.handleGetURL(text, senderAppID);
            },
        .openURLs = [this](const QByteArrayList& texts) { openURLs(texts); },
        .openFiles = [this](const QByteArrayList& files) { openFiles(files); },
        .quit = m_collaborators.quit,
        .openSettings = m_collaborators.openSettings,
    });
    m_collaborators.startSourceAppTracker();
    m_collaborators.detectBrowsers();
    m_collaborators.detectApps();
    m_collaborators.setUpMenuBar();
}

// No link changes a setting; but the next one may start another program, which must not read old ones.
void AppDelegate::applicationWillTerminate() {
    m_collaborators.saveSettings();
    m_collaborators.tearDownMenuBar();
    m_collaborators.linkSource.stop();
}

void AppDelegate::openURLs(const QByteArrayList& texts) const {
    for (const QByteArray& text : texts) {
        if (const auto url = Link::parse(text))
            m_collaborators.route(*url, {});
    }
}

void AppDelegate::openFiles(const QByteArrayList& files) const {
    for (const QByteArray& file : files) {
        if (file.startsWith('/'))
            m_collaborators.route(Link::fromLocalFile(file), {});
        else
            openURLs({file});
    }
}

} // namespace vantorel
