#include "DesktopEntry.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

namespace vantorel {

namespace {

constexpr const char* kGroup = "Desktop Entry";
constexpr const char* kDefaultDataDirs = "/usr/local/share:/usr/share";
constexpr const char* kDefaultPath = "/usr/local/bin:/usr/bin:/bin";

struct KeyFileDeleter {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileDeleter>;

std::nullopt_t refuse(std::string* whyNot, std::string reason) {
    if (whyNot) {
        *whyNot = std::move(reason);
    }
    return std::nullopt;
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

/// The non-empty parts of a list such as PATH.
std::vector<std::string_view> parts(std::string_view list) {
    std::vector<std::string_view> result;
    while (!list.empty()) {
        const auto end = std::min(list.find(':'), list.size());
        if (end > 0) {
            result.push_back(list.substr(0, end));
        }
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return result;
}

bool isAbsolute(std::string_view path) {
    return path.starts_with('/');
}

std::string joined(std::string_view folder, std::string_view name) {
    std::string result(folder);
    if (!result.ends_with('/')) {
        result += '/';
    }
    return result += name;
}

bool isFolder(const std::string& path) {
    struct stat status { };
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isFile(const std::string& path) {
    struct stat status { };
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool isExecutable(const std::string& path) {
    return isFile(path) && access(path.c_str(), X_OK) == 0;
}

/// The file of an entry below `folder`. Each "-" may stand for a "/", so a folder of that name is looked into
/// where it exists; no folder is ever listed.
std::optional<std::string> entryFile(const std::string& folder, std::string_view id) {
    auto file = joined(folder, id) + ".desktop";
    if (isFile(file)) {
        return file;
    }
    for (auto dash = id.find('-'); dash != std::string_view::npos; dash = id.find('-', dash + 1)) {
        const auto name = id.substr(0, dash);
        if (name.empty() || name == "." || name == "..") {
            continue;
        }
        if (const auto subfolder = joined(folder, name); isFolder(subfolder)) {
            if (auto found = entryFile(subfolder, id.substr(dash + 1))) {
                return found;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::string> entryFile(std::string_view id) {
    const bool namesNothing =
        id.empty() || id.find('/') != std::string_view::npos || id.find('\0') != std::string_view::npos;
    if (!namesNothing) {
        for (const auto& folder : applicationFolders()) {
            if (auto file = entryFile(folder, id)) {
                return file;
            }
        }
    }
    return std::nullopt;
}

std::string taken(char* text) {
    const std::unique_ptr<char, decltype(&g_free)> owner(text, &g_free);
    return text ? text : "";
}

// An escape that is none (Exec=sh -c "echo \$1") is reported as an error beside a value that can be used; entries
// with such values are common and work everywhere.
std::string value(GKeyFile* file, const char* key) {
    return taken(g_key_file_get_string(file, kGroup, key, nullptr));
}

std::string localisedValue(GKeyFile* file, const char* key) {
    return taken(g_key_file_get_locale_string(file, kGroup, key, nullptr, nullptr));
}

bool isSet(GKeyFile* file, const char* key) {
    return g_key_file_get_boolean(file, kGroup, key, nullptr);
}

/// The key file at `path`, when it is the desktop entry of an application that is not hidden.
KeyFile readApplication(const std::string& path, std::string* whyNot) {
    KeyFile file(g_key_file_new());
    GError* error = nullptr;
    if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, &error)) {
        refuse(whyNot, path + " cannot be read: " + error->message);
        g_error_free(error);
        return nullptr;
    }
    if (taken(g_key_file_get_start_group(file.get())) != kGroup) {
        refuse(whyNot, path + " is no desktop entry");
        return nullptr;
    }
    // What hides an application of a later folder is often nothing but this one key.
    if (isSet(file.get(), "Hidden")) {
        refuse(whyNot, path + " is hidden");
        return nullptr;
    }
    if (value(file.get(), "Type") != "Application") {
        refuse(whyNot, path + " is no desktop entry of an application");
        return nullptr;
    }
    return file;
}

bool resolveTryExec(GKeyFile* file, const DesktopEntry& entry, std::string* whyNot) {
    const auto program = value(file, "TryExec");
    std::string reason;
    if (program.empty() || findProgram(program, entry.workingDirectory, &reason)) {
        return true;
    }
    refuse(whyNot, reason + " (TryExec of " + entry.path + ")");
    return false;
}

bool resolveCommand(GKeyFile* file, DesktopEntry& entry, std::string* whyNot) {
    const auto exec = value(file, "Exec");
    auto command = splitExec(exec);
    if (!command) {
        refuse(whyNot, "the quoting in Exec of " + entry.path + " is broken");
        return false;
    }
    if (command->empty()) {
        if (!entry.dbusActivatable) {
            refuse(whyNot, entry.path + " names no program to execute");
        }
        return entry.dbusActivatable;
    }
    std::string reason;
    auto program = findProgram(command->front(), entry.workingDirectory, &reason);
    if (!program) {
        refuse(whyNot, reason + " (Exec of " + entry.path + ")");
        return false;
    }
    entry.command = std::move(*command);
    entry.program = std::move(*program);
    return true;
}

/// Reads one argument off the front of `rest`; absent when a quote is not closed.
std::optional<std::string> takeArgument(std::string_view& rest) {
    std::string argument;
    char quote = 0;
    std::size_t i = 0;
    for (; i < rest.size(); ++i) {
        const char c = rest[i];
        const char next = i + 1 < rest.size() ? rest[i + 1] : '\0';
        if (quote == 0 && (c == ' ' || c == '\t' || c == '\n')) {
            break;
        }
        if (c == quote) {
            quote = 0;
        } else if (quote == 0 && (c == '"' || c == '\'')) {
            quote = c;
        } else if (c == '\\' && quote == 0) {
            if (next == '\0') {
                return std::nullopt;
            }
            argument += next;
            ++i;
        } else if (c == '\\' && quote == '"' && (next == '"' || next == '`' || next == '$' || next == '\\')) {
            argument += next;
            ++i;
        } else {
            argument += c;
        }
    }
    rest.remove_prefix(i);
    return quote == 0 ? std::optional(argument) : std::nullopt;
}

} // namespace

std::vector<std::string> applicationFolders() {
    std::vector<std::string> folders;
    // Relative paths are to be ignored (XDG Base Directory Specification).
    if (const auto home = environment("XDG_DATA_HOME"); isAbsolute(home)) {
        folders.push_back(joined(home, "applications"));
    } else {
        auto user = environment("HOME");
        folders.push_back(joined(isAbsolute(user) ? user : g_get_home_dir(), ".local/share/applications"));
    }
    const auto dirs = environment("XDG_DATA_DIRS");
    for (const auto dir : parts(dirs.empty() ? kDefaultDataDirs : std::string_view(dirs))) {
        if (isAbsolute(dir)) {
            folders.push_back(joined(dir, "applications"));
        }
    }
    return folders;
}

std::optional<std::string> findProgram(std::string_view name, std::string_view workingDirectory, std::string* whyNot) {
    std::vector<std::string> candidates;
    auto path = environment("PATH");
    if (path.empty()) {
        path = kDefaultPath;
    }
    if (isAbsolute(name)) {
        candidates.emplace_back(name);
    } else if (name.find('/') != std::string_view::npos) {
        if (isAbsolute(workingDirectory)) {
            candidates.push_back(joined(workingDirectory, name));
        }
    } else if (!name.empty()) {
        for (const auto folder : parts(path)) {
            if (isAbsolute(folder)) {
                candidates.push_back(joined(folder, name));
            }
        }
    }
    bool exists = false;
    for (auto& candidate : candidates) {
        if (isExecutable(candidate)) {
            return std::move(candidate);
        }
        exists = exists || access(candidate.c_str(), F_OK) == 0;
    }
    const std::string quoted = "program \"" + std::string(name) + '"';
    return refuse(whyNot, quoted + (exists ? " is not executable" : " not found"));
}

std::optional<std::vector<std::string>> splitExec(std::string_view exec) {
    constexpr std::string_view kBlanks = " \t\n";
    std::vector<std::string> arguments;
    while (true) {
        exec.remove_prefix(std::min(exec.find_first_not_of(kBlanks), exec.size()));
        if (exec.empty()) {
            return arguments;
        }
        auto argument = takeArgument(exec);
        if (!argument) {
            return std::nullopt;
        }
        arguments.push_back(std::move(*argument));
    }
}

std::optional<DesktopEntry> findDesktopEntry(std::string_view id, std::string* whyNot) {
    const auto path = entryFile(id);
    if (!path) {
        return refuse(whyNot, "no application has the id \"" + std::string(id) + '"');
    }
    const auto file = readApplication(*path, whyNot);
    if (!file) {
        return std::nullopt;
    }
    DesktopEntry entry;
    entry.id = id;
    entry.path = *path;
    entry.name = localisedValue(file.get(), "Name");
    if (entry.name.empty()) {
        entry.name = entry.id;
    }
    entry.icon = localisedValue(file.get(), "Icon");
    entry.workingDirectory = value(file.get(), "Path");
    entry.dbusActivatable = isSet(file.get(), "DBusActivatable");
    entry.terminal = isSet(file.get(), "Terminal");
    if (!resolveTryExec(file.get(), entry, whyNot) || !resolveCommand(file.get(), entry, whyNot)) {
        return std::nullopt;
    }
    return entry;
}

} // namespace vantorel
