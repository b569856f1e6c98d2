#include "Gio.h"

#include <dlfcn.h>

namespace vantorel {

namespace {

template <typename Function> bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

} // namespace

const Gio* loadGio(std::string& whyNot) {
    static Gio gio;
    void* library = dlopen("libgio-2.0.so.0", RTLD_NOW | RTLD_GLOBAL);
    // Looking a name up through GIO also finds it in the libraries that GIO depends on, such as GObject.
    const bool complete = library && find(library, "g_bus_get_sync", gio.busGet)
        && find(library, "g_dbus_connection_set_exit_on_close", gio.setExitOnClose)
        && find(library, "g_dbus_connection_call", gio.call)
        && find(library, "g_dbus_connection_call_finish", gio.callFinish)
        && find(library, "g_dbus_connection_call_sync", gio.callSync)
        && find(library, "g_dbus_error_strip_remote_error", gio.stripRemoteError)
        && find(library, "g_dbus_is_name", gio.isName) && find(library, "g_dbus_is_unique_name", gio.isUniqueName)
        && find(library, "g_app_info_get_default_for_type", gio.defaultForType)
        && find(library, "g_app_info_get_id", gio.appId) && find(library, "g_object_unref", gio.unref);
    if (complete) {
        return &gio;
    }
    const char* error = dlerror();
    whyNot = error ? error : "GIO cannot be loaded";
    return nullptr;
}

} // namespace vantorel
