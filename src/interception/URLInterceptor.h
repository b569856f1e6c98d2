#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace vantorel {

class Link;

/// The front door: takes the text of a web link, works out which applications may have opened it, and has it routed.
///
/// Main thread only; keeps nothing between links. A missing piece contributes no candidate and fails nothing.
class URLInterceptor {
public:
    using Route = std::function<void(const Link& url, const QStringList& sourceAppIDs)>;
    using CurrentApp = std::function<std::optional<QString>()>;

    /// `lastActive` names the application that was last active besides this program, `frontmost` the one that is active
    /// now; both are asked at each link.
    URLInterceptor(Route route, CurrentApp lastActive, CurrentApp frontmost, QString ownBundleID);

    /// Routes the link once. Text that is no link is dropped without a trace.
    void handleGetURL(const QByteArray& text, const std::optional<QString>& senderAppID) const;

private:
    QStringList sourceApplicationIDs(const std::optional<QString>& senderAppID) const;

    Route m_route;
    CurrentApp m_lastActive;
    CurrentApp m_frontmost;
    QString m_ownBundleID;
};

} // namespace vantorel
