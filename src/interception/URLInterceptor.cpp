#include "interception/URLInterceptor.h"

#include "routing/Link.h"

namespace vantorel {

URLInterceptor::URLInterceptor(Route route, CurrentApp lastActive, CurrentApp frontmost, QString ownBundleID)
    : m_route(std::move(route))
    , m_lastActive(std::move(lastActive))
    , m_frontmost(std::move(frontmost))
    , m_ownBundleID(std::move(ownBundleID)) { }

void URLInterceptor::handleGetURL(const QByteArray& text, const std::optional<QString>& senderAppID) const {
    if (const auto url = Link::parse(text))
        m_route(*url, sourceApplicationIDs(senderAppID));
}

// Likeliest first: who sent the link, who was active last, who is in front now.
QStringList URLInterceptor::sourceApplicationIDs(const std::optional<QString>& senderAppID) const {
    QStringList ids;
    for (const auto& candidate : {senderAppID, m_lastActive(), m_frontmost()}) {
        if (candidate && *candidate != m_ownBundleID && !ids.contains(*candidate))
            ids.append(*candidate);
    }
    return ids;
}

} // namespace vantorel
