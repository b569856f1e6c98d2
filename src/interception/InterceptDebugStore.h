#pragma once

#include <QObject>
#include <QStringList>

#include <optional>

namespace vantorel {

/// What became of one routed link.
struct InterceptDebugEvent {
    QString url;
    QStringList sourceAppIDs;
    QString decision;

    friend bool operator==(const InterceptDebugEvent&, const InterceptDebugEvent&) = default;
};

/// The record of the most recent routed link; there is no history, and nothing is stored. Main thread only.
class InterceptDebugStore : public QObject {
    Q_OBJECT

public:
    const std::optional<InterceptDebugEvent>& lastEvent() const { return m_lastEvent; }
    void setLastEvent(InterceptDebugEvent event);

Q_SIGNALS:
    void aboutToChange();
    void changed();

private:
    std::optional<InterceptDebugEvent> m_lastEvent;
};

} // namespace vantorel
