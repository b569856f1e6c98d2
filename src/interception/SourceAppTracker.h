#pragma once

#include <QObject>
#include <QString>

#include <optional>

namespace vantorel {

class ActivationSource;

/// Remembers the application that was last active besides this program: whoever sends a link through a go-between is
/// most likely the one that the user has just worked with. Main thread only.
class SourceAppTracker : public QObject {
public:
    /// The source must outlive the tracker only until `start()` has returned.
    SourceAppTracker(ActivationSource& source, QString ownBundleID);

    /// Listens from now on; a second call does nothing.
    void start();

    /// Takes this application for the one that was last active, until another one is.
    void assume(const QString& bundleID) { m_lastActiveBundleID = bundleID; }

    /// Absent until another application has become active after the start; never absent again. An activation shows
    /// here in a later turn of the event loop than the one that reports it.
    std::optional<QString> lastActiveBundleID() const { return m_lastActiveBundleID; }

private:
    void onActivated(const std::optional<QString>& bundleID);

    ActivationSource& m_source;
    QString m_ownBundleID;
    std::optional<QString> m_lastActiveBundleID;
    bool m_isListening = false;
};

} // namespace vantorel
