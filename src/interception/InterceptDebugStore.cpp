#include "interception/InterceptDebugStore.h"

namespace vantorel {

void InterceptDebugStore::setLastEvent(InterceptDebugEvent event) {
    Q_EMIT aboutToChange();
    m_lastEvent = std::move(event);
    Q_EMIT changed();
}

} // namespace vantorel
