// What the desktop starts for a link. Loading the program takes longer than all that it then does for one, so this
// hands the link to the program that runs, and becomes the program where there is none, or where there is any doubt.

#include "handover/PlainLink.h"

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr const char* kBusName = "com.qorbex.Vantorel";

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;
using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

// Logged in, so that what fails from here on has to do with the call. Other libraries know more ways to log in.
Bus connect() {
    sd_bus* connection = nullptr;
    sd_bus_open_user(&connection);
    Bus bus(connection, sd_bus_flush_close_unref);
    const char* name = nullptr;
    return bus && sd_bus_get_unique_name(bus.get(), &name) >= 0 ? std::move(bus)
                                                                : Bus(nullptr, sd_bus_flush_close_unref);
}

bool appendPlatformData(sd_bus_message* call) {
    constexpr std::array<std::pair<const char*, const char*>, 2> kData = {
        {{"activation-token", "XDG_ACTIVATION_TOKEN"}, {"desktop-startup-id", "DESKTOP_STARTUP_ID"}}};
    bool isWhole = sd_bus_message_open_container(call, 'a', "{sv}") >= 0;
    for (const auto& [key, variable] : kData) {
        const char* const value = std::getenv(variable);
        if (value && *value)
            isWhole = isWhole && sd_bus_message_append(call, "{sv}", key, "s", value) >= 0;
    }
    return isWhole && sd_bus_message_close_container(call) >= 0;
}

Message openCall(sd_bus* bus, char* links[]) {
    sd_bus_message* message = nullptr;
    sd_bus_message_new_method_call(bus, &message, kBusName, "/com/qorbex/Vantorel", "org.freedesktop.Application",
                                   "Open");
    Message call(message, sd_bus_message_unref);
    const bool isWhole = call && sd_bus_message_append_strv(call.get(), links) >= 0 && appendPlatformData(call.get());
    return isWhole ? std::move(call) : Message(nullptr, sd_bus_message_unref);
}

/// The status to end with; absent where the program itself has to see to the links.
std::optional<int> handOver(char* links[]) {
    const auto bus = connect();
    const auto call = bus ? openCall(bus.get(), links) : Message(nullptr, sd_bus_message_unref);
    if (!call)
        return std::nullopt;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const std::unique_ptr<sd_bus_error, decltype(&sd_bus_error_free)> owner(&error, sd_bus_error_free);
    // The answer comes when the browser has been started, however long that takes.
    if (sd_bus_call(bus.get(), call.get(), UINT64_MAX, &error, nullptr) >= 0)
        return EXIT_SUCCESS;
    // There is none, and the bus cannot start one: dbus-daemon and dbus-broker say so in words of their own.
    const std::string_view name = error.name ? error.name : "";
    if (name == SD_BUS_ERROR_SERVICE_UNKNOWN || name == SD_BUS_ERROR_NAME_HAS_NO_OWNER
        || name.starts_with("org.freedesktop.DBus.Error.Spawn."))
        return std::nullopt;
    std::fprintf(stderr, "vantorel: %s\n", error.message ? error.message : "the bus has gone");
    return EXIT_FAILURE;
}

/// Empty where the system does not tell where we are.
std::string program() {
    std::array<char, PATH_MAX> path{};
    const auto size = readlink("/proc/self/exe", path.data(), path.size() - 1);
    if (size <= 0)
        return {};
    std::string own(path.data(), static_cast<std::size_t>(size));
    own.resize(own.rfind('/') + 1);
    return own + "../libexec/vantorel";
}

} // namespace

int main(int argc, char* argv[]) {
    std::signal(SIGPIPE, SIG_IGN); // a reader that is gone is no reason to end without a status
    const bool hasErrors = fcntl(STDERR_FILENO, F_GETFD) >= 0; // else the bus would be taken for it
    if (argc > 1 && hasErrors && std::all_of(argv + 1, argv + argc, isPlainLink)) {
        if (const auto status = handOver(argv + 1))
            return *status;
    }
    execv(program().c_str(), argv);
    std::perror("vantorel: cannot start the program");
    return EXIT_FAILURE;
}
