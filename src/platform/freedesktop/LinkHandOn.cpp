#include "LinkHandOn.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include <unistd.h>

#include <glib.h>

namespace vantorel {

namespace {

constexpr std::string_view kOwnID = "com.qorbex.Vantorel";
constexpr std::string_view kOwnName = "vantorel";

constexpr std::array<std::string_view, 6> kOpeners = {"xdg-open",  "sensible-browser", "gnome-open",
                                                      "gvfs-open", "mate-open",        "dde-open"};

// The system's alternatives, where they are no links to the browser that they stand for.
constexpr std::array<std::string_view, 3> kAlternatives = {"x-www-browser", "www-browser", "gnome-www-browser"};

constexpr std::array<std::string_view, 6> kShells = {"sh", "dash", "bash", "zsh", "ksh", "ash"};

/// A program that runs the command behind its own arguments.
struct Wrapper {
    std::string_view name;
    std::string_view valued; ///< the letters of options whose value is an argument of its own
    int operands = 0; ///< arguments before the command
};

constexpr std::array<Wrapper, 9> kWrappers = {{
    {"env", "uC"},
    {"nohup", ""},
    {"setsid", ""},
    {"nice", "n"},
    {"ionice", "cn"},
    {"stdbuf", "ioe"},
    {"timeout", "ks", 1},
    {"dbus-run-session", ""},
    {"dbus-launch", ""},
}};

// Nobody nests them that deep on purpose.
constexpr int kDeepest = 8;

template <typename List> bool contains(const List& list, std::string_view text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

std::string_view baseName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// NAME=VALUE, as `env` and shells take it before a command.
bool isAssignment(std::string_view text) {
    const auto end = text.find('=');
    const auto isPartOfName = [](char c) { return g_ascii_isalnum(c) || c == '_'; };
    return end != std::string_view::npos && end > 0 && std::all_of(text.begin(), text.begin() + end, isPartOfName);
}

std::string_view firstOperand(const std::vector<std::string>& command) {
    const auto found = std::find_if(command.begin() + 1, command.end(),
                                    [](const auto& argument) { return !argument.starts_with('-'); });
    return found != command.end() ? std::string_view(*found) : std::string_view();
}

std::vector<std::string> wrappedCommand(const std::vector<std::string>& command, const Wrapper& wrapper) {
    auto at = command.begin() + 1;
    for (int operands = wrapper.operands; at != command.end(); ++at) {
        if (at->size() == 2 && at->front() == '-' && wrapper.valued.find((*at)[1]) != std::string_view::npos) {
            if (++at == command.end()) {
                break;
            }
        } else if (!at->starts_with('-') && !isAssignment(*at) && operands-- == 0) {
            break;
        }
    }
    return {at, command.end()};
}

/// The one command of a text for a shell, up to what is a shell's own; empty for more than one command.
std::vector<std::string> shellCommand(std::string_view text) {
    text = text.substr(0, text.find_last_not_of(" \t\n;&") + 1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isRedirection = text[i] == '&' && i > 0 && text[i - 1] == '>';
        if (std::string_view(";|&`\n").find(text[i]) != std::string_view::npos && !isRedirection) {
            return {};
        }
    }
    auto words = splitExec(text).value_or(std::vector<std::string>());
    const auto start = std::find_if(words.begin(), words.end(),
                                    [](const auto& word) { return word != "exec" && !isAssignment(word); });
    words.erase(words.begin(), start);
    return words;
}

/// What stands behind the option -c, on its own or with others ("-ec").
std::vector<std::string> shellCommand(const std::vector<std::string>& command) {
    for (std::size_t i = 1; i + 1 < command.size() && command[i].starts_with('-'); ++i) {
        if (!command[i].starts_with("--") && command[i].ends_with('c')) {
            return shellCommand(command[i + 1]);
        }
    }
    return {};
}

/// What exo-open and the program behind it launch; empty without that option.
std::string_view launchedByXfce(const std::vector<std::string>& command) {
    constexpr std::string_view kLaunch = "--launch";
    for (std::size_t i = 1; i < command.size(); ++i) {
        const std::string_view argument = command[i];
        if (argument == kLaunch) {
            return i + 1 < command.size() ? std::string_view(command[i + 1]) : argument;
        }
        if (argument.starts_with(kLaunch) && argument[kLaunch.size()] == '=') {
            return argument.substr(kLaunch.size() + 1);
        }
    }
    return {};
}

LinkHandOn::To ofOpener(std::string_view name, const std::vector<std::string>& command) {
    using To = LinkHandOn::To;
    if (contains(kOpeners, name) || name.starts_with("kde-open")) {
        return To::preferred;
    }
    if (name == "gio") {
        return firstOperand(command) == "open" ? To::preferred : To::nobody;
    }
    if (name.starts_with("kioclient") || name == "kfmclient") {
        const auto verb = firstOperand(command);
        return verb == "exec" || verb == "openURL" ? To::preferred : To::nobody;
    }
    if (name == "exo-open" || name == "xfce4-mime-helper") {
        // Without the option, exo-open still asks XFCE's settings for web links.
        const auto launched = launchedByXfce(command);
        const bool opensWeb = launched == "WebBrowser" || (launched.empty() && name == "exo-open");
        return opensWeb ? To::preferredByXfce : To::nobody;
    }
    return To::nobody;
}

/// Whether an argument names our desktop entry or our name on the bus: `gtk-launch`, `dex` and their like.
bool namesUs(std::string_view argument) {
    argument = baseName(argument);
    constexpr std::string_view kSuffix = ".desktop";
    if (argument.ends_with(kSuffix)) {
        argument.remove_suffix(kSuffix.size());
    }
    return argument == kOwnID;
}

std::string realPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    return real ? real.get() : std::string();
}

/// The value of the first line "KEY=VALUE" of a file; empty where there is none.
std::string valueIn(const std::string& path, const std::string& key) {
    char* content = nullptr;
    gsize size = 0;
    if (!g_file_get_contents(path.c_str(), &content, &size, nullptr)) {
        return {};
    }
    const std::unique_ptr<char, decltype(&g_free)> owner(content, &g_free);
    const auto text = '\n' + std::string(content, size);
    const auto start = text.find('\n' + key + '=');
    if (start == std::string::npos) {
        return {};
    }
    const auto value = start + key.size() + 2;
    return text.substr(value, text.find('\n', value) - value);
}

/// The parts of such a value that are not empty; ';' stands between them.
std::vector<std::string> listIn(const std::string& path, const std::string& key) {
    std::vector<std::string> list;
    const auto value = valueIn(path, key);
    for (std::size_t start = 0; start < value.size();) {
        const auto end = std::min(value.find(';', start), value.size());
        if (end > start) {
            list.push_back(value.substr(start, end - start));
        }
        start = end + 1;
    }
    return list;
}

} // namespace

LinkHandOn::LinkHandOn(std::string ownProgram, Resolve resolve)
    : m_ownProgram(std::move(ownProgram))
    , m_resolve(std::move(resolve)) { }

LinkHandOn::To LinkHandOn::of(const DesktopEntry& entry) const {
    if (entry.id == kOwnID) {
        return To::us;
    }
    return entry.command.empty() ? To::nobody : ofCommand(entry.command, entry.program, kDeepest);
}

LinkHandOn::To LinkHandOn::ofCommand(const std::vector<std::string>& command, const std::string& program,
                                     int depth) const {
    if (command.empty() || depth == 0) {
        return To::nobody;
    }
    const auto name = baseName(command.front());
    const auto file = m_resolve(program.empty() ? command.front() : program);
    const auto fileName = baseName(file);
    // A copy of our program elsewhere hands its links to the one that runs.
    if ((!file.empty() && file == m_ownProgram) || fileName == kOwnName
        || std::any_of(command.begin() + 1, command.end(), namesUs)) {
        return To::us;
    }
    const auto wrapper =
        std::find_if(kWrappers.begin(), kWrappers.end(), [name](const Wrapper& each) { return each.name == name; });
    if (wrapper != kWrappers.end()) {
        return ofCommand(wrappedCommand(command, *wrapper), {}, depth - 1);
    }
    if (contains(kShells, name)) {
        return ofCommand(shellCommand(command), {}, depth - 1);
    }
    const auto to = ofOpener(name, command);
    if (to != To::nobody) {
        return to;
    }
    return contains(kAlternatives, fileName) ? To::preferred : ofOpener(fileName, command);
}

bool LinkHandOn::leadsBack(const DesktopEntry& entry, const std::function<Choice()>& choice) const {
    const auto to = of(entry);
    if (to == To::nobody || to == To::us) {
        return to == To::us;
    }
    const auto chosen = choice();
    const auto chosenTo = chosen.entry ? of(*chosen.entry) : To::nobody;
    if (chosenTo == To::us) {
        return true;
    }
    const auto xfceCommand = splitExec(chosen.xfceCommand).value_or(std::vector<std::string>());
    return (to == To::preferredByXfce || chosenTo == To::preferredByXfce)
        && ofCommand(xfceCommand, {}, kDeepest) == To::us;
}

std::string LinkHandOn::ownProgramFile() {
    std::array<char, PATH_MAX> path{};
    const auto size = readlink("/proc/self/exe", path.data(), path.size());
    const std::string_view running(path.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return std::string(running.substr(0, running.rfind('/') + 1)) + std::string(kOwnName);
}

std::string LinkHandOn::programFile(const std::string& name) {
    const auto path = name.starts_with('/') ? std::optional(name) : findProgram(name);
    return path ? realPath(*path) : std::string();
}

std::string xfceBrowser() {
    const std::string choices = "/xfce4/helpers.rc";
    std::string helper = valueIn(g_get_user_config_dir() + choices, "WebBrowser");
    for (const auto* folder = g_get_system_config_dirs(); helper.empty() && *folder; ++folder) {
        helper = valueIn(*folder + choices, "WebBrowser");
    }
    const std::string file = "/xfce4/helpers/" + helper + ".desktop";
    std::string path = g_get_user_data_dir() + file;
    for (const auto* folder = g_get_system_data_dirs(); access(path.c_str(), F_OK) != 0 && *folder; ++folder) {
        path = *folder + file;
    }
    const auto commands = listIn(path, "X-XFCE-Commands");
    if (helper.empty() || commands.empty()) {
        return {};
    }
    std::string command = commands.front();
    constexpr std::string_view kBinary = "%B";
    const auto at = command.find(kBinary);
    if (at == std::string::npos) {
        return command;
    }
    for (const auto& name : listIn(path, "X-XFCE-Binaries")) {
        if (const auto program = findProgram(name)) {
            return command.replace(at, kBinary.size(), *program);
        }
    }
    return {};
}

} // namespace vantorel
