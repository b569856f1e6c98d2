#include "platform/freedesktop/WaylandDisplay.h"

#include "platform/freedesktop/UniqueFd.h"

#include <QByteArray>

#include <array>
#include <cstdint>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace vantorel {

// The smallest question that there is, wl_display.sync (Wayland wire protocol), without the library: it would wait for
// the answer without a limit.
bool waylandDisplayAnswers(std::chrono::milliseconds patience) {
    const QByteArray name = qgetenv("WAYLAND_DISPLAY");
    const QByteArray path = name.startsWith('/') ? name : qgetenv("XDG_RUNTIME_DIR") + '/' + name;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.isEmpty() || path.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));

    // A stopped compositor whose queue is full must not keep us waiting either.
    const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return false;
    constexpr std::array<uint32_t, 3> kSync = {1, 12 << 16, 2}; // object, size and opcode, the callback's new id
    if (send(socket.get(), kSync.data(), sizeof kSync, MSG_NOSIGNAL) != sizeof kSync)
        return false;
    pollfd answer = {.fd = socket.get(), .events = POLLIN, .revents = 0};
    char byte = 0;
    return poll(&answer, 1, static_cast<int>(patience.count())) == 1 && recv(socket.get(), &byte, 1, 0) == 1;
}

} // namespace vantorel
