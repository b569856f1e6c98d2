#include "interception/SourceAppTracker.h"

#include "platform/ActivationSource.h"

#include <QPointer>

namespace vantorel {

SourceAppTracker::SourceAppTracker(ActivationSource& source, QString ownBundleID)
    : m_source(source)
    , m_ownBundleID(std::move(ownBundleID)) { }

void SourceAppTracker::start() {
    if (m_isListening)
        return;
    m_isListening = true;
    m_source.start([tracker = QPointer(this)](const std::optional<QString>& bundleID) {
        if (tracker)
            tracker->onActivated(bundleID);
    });
}

// Our own windows never count as the place that a link came from.
void SourceAppTracker::onActivated(const std::optional<QString>& bundleID) {
    if (!bundleID || *bundleID == m_ownBundleID)
        return;
    QMetaObject::invokeMethod(
        this, [this, id = *bundleID] { m_lastActiveBundleID = id; }, Qt::QueuedConnection);
}

} // namespace vantorel
