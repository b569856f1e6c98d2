#pragma once

#include <string>

#include <gio/gio.h>

namespace vantorel {

/// The few functions of GIO that are used, loaded when they are first needed: linked in the ordinary way,
/// GIO and what it depends on would double the time every start takes, and most links never need it.
struct Gio {
    decltype(&g_bus_get_sync) busGet = nullptr;
    decltype(&g_dbus_connection_set_exit_on_close) setExitOnClose = nullptr;
    decltype(&g_dbus_connection_call) call = nullptr;
    decltype(&g_dbus_connection_call_finish) callFinish = nullptr;
    decltype(&g_dbus_connection_call_sync) callSync = nullptr;
    decltype(&g_dbus_error_strip_remote_error) stripRemoteError = nullptr;
    decltype(&g_dbus_is_name) isName = nullptr;
    decltype(&g_dbus_is_unique_name) isUniqueName = nullptr;
    decltype(&g_app_info_get_default_for_type) defaultForType = nullptr;
    decltype(&g_app_info_get_id) appId = nullptr;
    decltype(&g_object_unref) unref = nullptr;
};

/// The functions; null, with one line in `whyNot`, when this system has no GIO. The library stays loaded.
const Gio* loadGio(std::string& whyNot);

} // namespace vantorel
