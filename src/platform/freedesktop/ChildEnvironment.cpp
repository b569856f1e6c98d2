#include "platform/freedesktop/ChildEnvironment.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <unistd.h>

namespace vantorel {

std::vector<std::string> childEnvironment() {
    constexpr std::array<std::string_view, 9> kOwn = {"XDG_ACTIVATION_TOKEN",
                                                      "DESKTOP_STARTUP_ID",
                                                      "GIO_LAUNCHED_DESKTOP_FILE",
                                                      "GIO_LAUNCHED_DESKTOP_FILE_PID",
                                                      "DBUS_STARTER_ADDRESS",
                                                      "DBUS_STARTER_BUS_TYPE",
                                                      "QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT",
                                                      "VANTOREL_ROUND",
                                                      "VANTOREL_TURN"};
    std::vector<std::string> variables;
    for (char** variable = environ; *variable; ++variable) {
        const std::string_view text(*variable);
        if (std::find(kOwn.begin(), kOwn.end(), text.substr(0, text.find('='))) == kOwn.end())
            variables.emplace_back(text);
    }
    return variables;
}

std::vector<char*> execPointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace vantorel
