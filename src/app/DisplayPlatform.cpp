#include "app/DisplayPlatform.h"

#include "platform/freedesktop/WaylandDisplay.h"
#include "platform/x11/X11Display.h"

#include <QDir>
#include <QLibraryInfo>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

// For each of the two kinds, so that both together stay below a fifth of a second.
constexpr auto kPatience = 100ms;

// Qt ends the program when it has no plugin for the display that it is to use.
bool hasPlugin(const QString& pattern) {
    const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms"));
    return !plugins.entryList({pattern}, QDir::Files).isEmpty();
}

bool hasWayland() {
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && hasPlugin(QStringLiteral("libqwayland*.so"))
        && waylandDisplayAnswers(kPatience);
}

bool hasX11() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") && X11Display::answers(kPatience);
}

} // namespace

std::optional<QByteArray> reachableDisplayPlatform() {
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    if (chosen.startsWith("wayland"))
        return hasWayland() ? std::optional(chosen) : std::nullopt;
    if (chosen.startsWith("xcb"))
        return hasX11() ? std::optional(chosen) : std::nullopt;
    if (!chosen.isEmpty())
        return QByteArray();
    if (hasWayland())
        return "wayland";
    if (hasX11())
        return "xcb";
    return std::nullopt;
}

} // namespace vantorel
