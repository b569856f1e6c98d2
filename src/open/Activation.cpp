#include "Activation.h"

#include "open/Gio.h"
#include "open/Turn.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <utility>

namespace vantorel {

namespace {

constexpr int kPatienceMilliseconds = 30000;

struct Unref {
    const Gio* gio = nullptr;
    void operator()(GDBusConnection* connection) const { gio->unref(connection); }
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};
using Connection = std::unique_ptr<GDBusConnection, Unref>;
using Variant = std::unique_ptr<GVariant, Unref>;
using MainLoop = std::unique_ptr<GMainLoop, Unref>;

/// Takes the error's text and frees it.
std::string textOf(const Gio& gio, GError* error) {
    gio.stripRemoteError(error);
    std::string text = error->message;
    g_error_free(error);
    return text;
}

std::string objectPath(std::string id) {
    std::replace(id.begin(), id.end(), '.', '/');
    std::replace(id.begin(), id.end(), '-', '_');
    return '/' + id;
}

GVariant* platformData() {
    constexpr std::array<std::pair<const char*, const char*>, 2> kEntries = {{
        {"desktop-startup-id", "DESKTOP_STARTUP_ID"},
        {"activation-token", "XDG_ACTIVATION_TOKEN"},
    }};
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    for (const auto& [key, variable] : kEntries) {
        const char* value = std::getenv(variable);
        if (value && *value && g_utf8_validate(value, -1, nullptr)) {
            g_variant_builder_add(&builder, "{sv}", key, g_variant_new_string(value));
        }
    }
    return g_variant_builder_end(&builder);
}

/// The arguments of Open for one link.
GVariant* openArguments(const std::string& link) {
    const char* links[] = {link.c_str()};
    std::array<GVariant*, 2> members = {g_variant_new_strv(links, 1), platformData()};
    return g_variant_new_tuple(members.data(), members.size());
}

Connection connect(const Gio& gio, std::string& whyNot) {
    GError* error = nullptr;
    Connection bus(gio.busGet(G_BUS_TYPE_SESSION, nullptr, &error), Unref{&gio});
    if (bus) {
        gio.setExitOnClose(bus.get(), FALSE);
    } else {
        whyNot = textOf(gio, error);
    }
    return bus;
}

// The bus handles the messages of one connection in turn: once it answers this one, it has dealt with all before.
void awaitBus(const Gio& gio, GDBusConnection* bus) {
    const Variant answer(gio.callSync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Peer",
                                      "Ping", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, kPatienceMilliseconds, nullptr,
                                      nullptr));
}

struct Call {
    const Gio& gio;
    MainLoop loop{g_main_loop_new(nullptr, FALSE)};
    bool succeeded = false;
    std::string whyNot{};
};

void finish(GObject* source, GAsyncResult* result, gpointer data) {
    auto* call = static_cast<Call*>(data);
    GError* error = nullptr;
    const Variant reply(call->gio.callFinish(reinterpret_cast<GDBusConnection*>(source), result, &error));
    call->succeeded = reply != nullptr;
    if (!reply) {
        call->whyNot = textOf(call->gio, error);
    }
    g_main_loop_quit(call->loop.get());
}

bool isNameOfService(const Gio& gio, const std::string& id) {
    return gio.isName(id.c_str()) && !gio.isUniqueName(id.c_str()) && g_variant_is_object_path(objectPath(id).c_str());
}

} // namespace

bool openThroughBus(const std::string& id, const std::string& link, Turn& turn, std::string& whyNot) {
    const Gio* gio = loadGio(whyNot);
    if (!gio) {
        return false;
    }
    if (!isNameOfService(*gio, id)) {
        whyNot = '"' + id + "\" cannot be a name on the bus";
        return false;
    }
    if (!g_utf8_validate_len(link.data(), link.size(), nullptr)) {
        whyNot = "the link is no UTF-8 text";
        return false;
    }
    const auto bus = connect(*gio, whyNot);
    if (!bus) {
        return false;
    }
    Call call{*gio};
    turn.await();
    gio->call(bus.get(), id.c_str(), objectPath(id).c_str(), "org.freedesktop.Application", "Open", openArguments(link),
              nullptr, G_DBUS_CALL_FLAGS_NONE, kPatienceMilliseconds, nullptr, finish, &call);
    awaitBus(*gio, bus.get());
    turn.pass();
    g_main_loop_run(call.loop.get());
    whyNot = call.whyNot;
    return call.succeeded;
}

} // namespace vantorel
