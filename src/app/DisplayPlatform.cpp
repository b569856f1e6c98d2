#include "app/DisplayPlatform.h"

#include "platform/freedesktop/WaylandDisplay.h"
#include "platform/x11/X11Display.h"

#include <QDir>
#include <QFuture>
#include <QLibraryInfo>
#include <QPromise>

#include <system_error>
#include <thread>
#include <utility>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

// For each of the two kinds, so that both together stay below a fifth of a second.
constexpr auto kPatience = 100ms;

// For somebody who does not keep anybody waiting.
constexpr auto kLongPatience = 5min;

// Qt ends the program when it has no plugin for the display that it is to use.
bool hasPlugin(const QString& pattern) {
    const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms"));
    return !plugins.entryList({pattern}, QDir::Files).isEmpty();
}

bool hasWayland(std::chrono::milliseconds patience) {
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && hasPlugin(QStringLiteral("libqwayland*.so"))
        && waylandDisplayAnswers(patience);
}

bool hasX11(std::chrono::milliseconds patience) {
    return !qEnvironmentVariableIsEmpty("DISPLAY") && X11Display::answers(patience);
}

// What can be probed has to answer; of anything else Qt knows more.
std::optional<QByteArray> chosenPlatform(const QByteArray& chosen, std::chrono::milliseconds patience) {
    for (const QByteArray& platform : chosen.split(';')) {
        const bool isWayland = platform.startsWith("wayland");
        if (!isWayland && !platform.startsWith("xcb"))
            return platform;
        if (isWayland ? hasWayland(patience) : hasX11(patience))
            return platform;
    }
    return std::nullopt;
}

std::optional<QByteArray> displayPlatform(std::chrono::milliseconds patience) {
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    if (!chosen.isEmpty())
        return chosenPlatform(chosen, patience);
    if (hasWayland(patience))
        return "wayland";
    if (hasX11(patience))
        return "xcb";
    return std::nullopt;
}

} // namespace

std::optional<QByteArray> reachableDisplayPlatform() {
    return displayPlatform(kPatience);
}

void whenDisplayAnswers(QObject& context, std::function<void()> answered) {
    QPromise<bool> promise;
    promise.start();
    promise.future().then(&context, [answered = std::move(answered)](bool isLetIn) {
        if (isLetIn)
            answered();
    });
    try {
        std::thread([promise = std::move(promise)]() mutable {
            promise.addResult(displayPlatform(kLongPatience).has_value());
            promise.finish();
        }).detach();
    } catch (const std::system_error&) { } // no thread to be had
}

} // namespace vantorel
