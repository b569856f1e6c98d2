#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <functional>
#include <optional>

namespace vantorel {

/// Where links come in from the desktop. Main thread only.
class LinkSource {
public:
    struct Handlers {
        /// One web link as received, and the application that sent it where that is known.
        std::function<void(const QByteArray& text, const std::optional<QString>& senderAppID)> getURL;
        /// Links of other schemes, as received.
        std::function<void(const QByteArrayList& texts)> openURLs;
        /// Absolute paths or file: links, as received.
        std::function<void(const QByteArrayList& files)> openFiles;
        /// The user wants the program to end.
        std::function<void()> quit;
        /// The user wants to see the settings; false when there is no display to show them on.
        std::function<bool()> openSettings;
    };

    virtual ~LinkSource() = default;

    /// Registers for links. Handlers are called from the event loop only, so that what arrives while the program is
    /// still starting waits its turn, in order.
    virtual void start(Handlers handlers) = 0;

    /// Stops taking links: what has arrived by now is still handed over before this returns, and what comes later goes
    /// to the program that the desktop starts next.
    virtual void stop() = 0;
};

} // namespace vantorel
