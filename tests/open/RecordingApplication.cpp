// recording-application NAME FOLDER MODE: an application on the session bus that writes down what Open hands to it,
// one line each, into FOLDER/opened: the object path, then the links, then the platform data.
//
// MODE is "answer", "refuse" (an error of two lines), or "hold", which answers only once FOLDER/go exists.

#include <gio/gio.h>

#include <fstream>
#include <string>

#include <unistd.h>

namespace {

constexpr const char* kInterface = "<node><interface name='org.freedesktop.Application'>"
                                   "<method name='Open'><arg type='as' direction='in'/><arg type='a{sv}' "
                                   "direction='in'/></method></interface></node>";
constexpr unsigned kPollMilliseconds = 10;

struct Application {
    std::string name;
    std::string folder;
    std::string mode;
};

struct HeldCall {
    std::string go;
    GDBusMethodInvocation* invocation;
};

gboolean answerWhenTold(gpointer data) {
    auto* held = static_cast<HeldCall*>(data);
    if (access(held->go.c_str(), F_OK) != 0) {
        return G_SOURCE_CONTINUE;
    }
    g_dbus_method_invocation_return_value(held->invocation, nullptr);
    delete held;
    return G_SOURCE_REMOVE;
}

void writeDown(const std::string& file, const char* path, GVariant* parameters) {
    std::ofstream out(file, std::ios::app | std::ios::binary);
    out << path;
    GVariantIter* links = nullptr;
    GVariantIter* data = nullptr;
    g_variant_get(parameters, "(asa{sv})", &links, &data);
    const char* link = nullptr;
    while (g_variant_iter_next(links, "&s", &link)) {
        out << ' ' << link;
    }
    const char* key = nullptr;
    GVariant* value = nullptr;
    while (g_variant_iter_next(data, "{&sv}", &key, &value)) {
        out << ' ' << key << '=' << g_variant_get_string(value, nullptr);
        g_variant_unref(value);
    }
    out << '\n';
    g_variant_iter_free(links);
    g_variant_iter_free(data);
}

void onCall(GDBusConnection* /*bus*/, const char* /*sender*/, const char* path, const char* /*interface*/,
            const char* /*method*/, GVariant* parameters, GDBusMethodInvocation* invocation, gpointer user) {
    const auto* application = static_cast<const Application*>(user);
    writeDown(application->folder + "/opened", path, parameters);
    if (application->mode == "refuse") {
        g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_FAILED, "not\ntoday");
    } else if (application->mode == "hold") {
        g_timeout_add(kPollMilliseconds, answerWhenTold, new HeldCall{application->folder + "/go", invocation});
    } else {
        g_dbus_method_invocation_return_value(invocation, nullptr);
    }
}

std::string objectPath(std::string name) {
    for (char& c : name) {
        c = c == '.' ? '/' : c == '-' ? '_' : c;
    }
    return '/' + name;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    Application application{argv[1], argv[2], argv[3]};
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus) {
        return 1;
    }
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kInterface, nullptr);
    const GDBusInterfaceVTable table = {onCall, nullptr, nullptr, {}};
    g_dbus_connection_register_object(bus, objectPath(application.name).c_str(), node->interfaces[0], &table,
                                      &application, nullptr, nullptr);
    g_bus_own_name_on_connection(bus, application.name.c_str(), G_BUS_NAME_OWNER_FLAGS_NONE, nullptr, nullptr, nullptr,
                                 nullptr);
    // Ends with the bus: GIO ends the process when its session bus goes away.
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    return 0;
}
