#pragma once

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include <xcb/xcb.h>

namespace vantorel {

/// What every user of XCB here needs. Calls that ask the server wait for its answer.
namespace Xcb {

struct Free {
    void operator()(void* data) const { std::free(data); }
};
/// A reply, an event or an error, which are the caller's to free.
template <typename T> using Owned = std::unique_ptr<T, Free>;

/// xcb_connect(), one at a time: the library that finds the authority file keeps its path in one place for all threads.
/// One that hangs, as a server that is stopped makes it, holds up the next one for a second at most.
inline xcb_connection_t* connect(const char* display, int* screen) {
    static std::timed_mutex mutex;
    const std::unique_lock lock(mutex, std::chrono::system_clock::now() + std::chrono::seconds(1));
    return xcb_connect(display, screen);
}

/// The screen with that number, as xcb_connect() and xcb_parse_display() tell it; the last one where there is none.
inline xcb_screen_t* screenAt(xcb_connection_t* connection, int number) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < number && screens.rem > 1; ++i)
        xcb_screen_next(&screens);
    return screens.data;
}

/// The atoms with these names, by one round trip; absent when the server does not give each of them.
template <std::size_t N>
std::optional<std::array<xcb_atom_t, N>> atoms(xcb_connection_t* connection,
                                               const std::array<std::string_view, N>& names) {
    std::array<xcb_intern_atom_cookie_t, N> cookies;
    for (std::size_t i = 0; i < N; ++i)
        cookies[i] = xcb_intern_atom(connection, false, static_cast<uint16_t>(names[i].size()), names[i].data());
    std::array<xcb_atom_t, N> found{};
    bool hasAll = true;
    for (std::size_t i = 0; i < N; ++i) {
        const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookies[i], nullptr));
        if (reply)
            found[i] = reply->atom;
        hasAll = hasAll && reply;
    }
    return hasAll ? std::optional(found) : std::nullopt;
}

} // namespace Xcb

} // namespace vantorel
