#pragma once

#include <QObject>

namespace vantorel {

/// Turns SIGTERM, SIGINT and SIGHUP, which a session sends when it ends, into a Qt signal on the main thread.
/// One per process.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    TerminationSignals();

Q_SIGNALS:
    void received();
};

} // namespace vantorel
