#include "DesktopEntry.h"

#include "DesktopFile.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unordered_map>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

namespace vantorel {

namespace {

using Key = DesktopFile::Key;

constexpr std::string_view kSuffix = ".desktop";

// Entries lie in folders of vendors, and those of vendors' products; a link that leads in a circle goes on forever.
constexpr int kDeepestFolder = 4;

constexpr const char* kDefaultDataDirs = "/usr/local/share:/usr/share";
constexpr const char* kDefaultPath = "/usr/local/bin:/usr/bin:/bin";

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

/// Programs are named by several entries each, and looked for in several folders.
class Programs {
public:
    std::optional<std::string> find(const std::string& name, const std::string& workingDirectory, std::string* whyNot) {
        if (whyNot || name.find('/') != std::string::npos) {
            return findProgram(name, workingDirectory, whyNot);
        }
        const auto known = m_found.find(name);
        return known != m_found.end() ? known->second : m_found.emplace(name, findProgram(name)).first->second;
    }

private:
    std::unordered_map<std::string, std::optional<std::string>> m_found;
};

/// The file at `path`, when it is the desktop entry of an application that is not hidden.
std::optional<DesktopFile> readApplication(const std::string& path, const std::vector<std::string>& languages,
                                           std::string* whyNot, OpenFolder folder) {
    auto file = DesktopFile::read(path, languages, whyNot, folder);
    if (!file) {
        return std::nullopt;
    }
    // What hides an application of a later folder is often nothing but this one key.
    if (file->isSet(Key::hidden)) {
        return refuse(whyNot, path + " is hidden");
    }
    if (file->value(Key::type) != "Application") {
        return refuse(whyNot, path + " is no desktop entry of an application");
    }
    return file;
}

bool resolveTryExec(const DesktopFile& file, const DesktopEntry& entry, Programs& programs, std::string* whyNot) {
    const auto program = file.value(Key::tryExec);
    std::string reason;
    if (program.empty() || programs.find(program, entry.workingDirectory, whyNot ? &reason : nullptr)) {
        return true;
    }
    refuse(whyNot, reason + " (TryExec of " + entry.path + ")");
    return false;
}

bool resolveCommand(const DesktopFile& file, DesktopEntry& entry, Programs& programs, std::string* whyNot) {
    auto command = splitExec(file.value(Key::exec));
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
    auto program = programs.find(command->front(), entry.workingDirectory, whyNot ? &reason : nullptr);
    if (!program) {
        refuse(whyNot, reason + " (Exec of " + entry.path + ")");
        return false;
    }
    entry.command = std::move(*command);
    entry.program = std::move(*program);
    return true;
}

/// Whether the desktop's menus show it, as far as the entry itself says.
bool isShown(const DesktopFile& file, const std::vector<std::string>& desktops) {
    if (file.isSet(Key::noDisplay)) {
        return false;
    }
    const auto only = file.list(Key::onlyShowIn);
    const auto never = file.list(Key::notShowIn);
    for (const auto& desktop : desktops) {
        if (std::find(only.begin(), only.end(), desktop) != only.end()) {
            return true;
        }
        if (std::find(never.begin(), never.end(), desktop) != never.end()) {
            return false;
        }
    }
    return !file.has(Key::onlyShowIn);
}

std::vector<std::string> currentDesktops() {
    const auto value = environment("XDG_CURRENT_DESKTOP");
    const auto names = parts(value);
    return {names.begin(), names.end()};
}

/// What reading an entry needs of the surroundings, found out once for many entries.
struct Surroundings {
    std::vector<std::string> languages = userLanguages();
    std::vector<std::string> desktops = currentDesktops();
    Programs programs;
};

std::optional<DesktopEntry> readEntry(std::string path, std::string_view id, Surroundings& surroundings,
                                      std::string* whyNot, OpenFolder folder = {}) {
    const auto file = readApplication(path, surroundings.languages, whyNot, folder);
    if (!file) {
        return std::nullopt;
    }
    DesktopEntry entry;
    entry.id = id;
    entry.path = std::move(path);
    entry.isNamed = file->has(Key::name);
    entry.name = entry.isNamed ? file->value(Key::name) : entry.id;
    entry.icon = file->value(Key::icon);
    entry.workingDirectory = file->value(Key::path);
    entry.startupWMClass = file->value(Key::startupWMClass);
    entry.dbusActivatable = file->isSet(Key::dbusActivatable);
    entry.terminal = file->isSet(Key::terminal);
    entry.isShown = isShown(*file, surroundings.desktops);
    if (!resolveTryExec(*file, entry, surroundings.programs, whyNot)
        || !resolveCommand(*file, entry, surroundings.programs, whyNot)) {
        return std::nullopt;
    }
    return entry;
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
    auto path = entryFile(id);
    if (!path) {
        return refuse(whyNot, "no application has the id \"" + std::string(id) + '"');
    }
    Surroundings surroundings;
    return readEntry(std::move(*path), id, surroundings, whyNot);
}

struct DesktopEntries::State {
    State() = default;
    ~State() { closeFolder(); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void closeFolder() const {
        if (openFolder.fd >= 0) {
            close(openFolder.fd);
        }
    }

    /// The folder of this file, opened when the last file was in another one.
    OpenFolder folderOf(const std::string& path) {
        const auto size = path.rfind('/') + 1;
        const std::string_view folder(path.data(), size);
        if (folder != openFolderPath) {
            closeFolder();
            openFolderPath = folder;
            openFolder = {.fd = open(openFolderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC), .pathSize = size};
        }
        return openFolder.fd >= 0 ? openFolder : OpenFolder{};
    }

    Surroundings surroundings;
    std::vector<std::string> folders = applicationFolders();
    std::string openFolderPath;
    OpenFolder openFolder;
    std::unordered_map<std::string, std::string> paths; ///< the file that each id stands for
};

DesktopEntries::DesktopEntries() : m_state(std::make_unique<State>()) { }
DesktopEntries::~DesktopEntries() = default;

std::optional<std::string> DesktopEntries::idOf(std::string_view path) const {
    if (!path.ends_with(kSuffix)) {
        return std::nullopt;
    }
    for (const auto& folder : m_state->folders) {
        if (path.starts_with(folder) && path.substr(folder.size()).starts_with('/')) {
            std::string id(path.substr(folder.size() + 1));
            id.resize(id.size() - kSuffix.size());
            std::replace(id.begin(), id.end(), '/', '-');
            return id;
        }
    }
    return std::nullopt;
}

std::optional<DesktopEntry> DesktopEntries::entryAt(const std::string& path) {
    const auto id = idOf(path);
    if (!id || m_state->paths.try_emplace(*id, path).first->second != path) {
        return std::nullopt;
    }
    return readEntry(path, *id, m_state->surroundings, nullptr, m_state->folderOf(path));
}

std::vector<DesktopEntry> installedDesktopEntries() {
    DesktopEntries entries;
    std::vector<DesktopEntry> result;
    for (const auto& folder : applicationFolders()) {
        std::error_code error;
        using Options = std::filesystem::directory_options;
        std::filesystem::recursive_directory_iterator files(
            folder, Options::follow_directory_symlink | Options::skip_permission_denied, error);
        for (; !error && files != std::filesystem::recursive_directory_iterator(); files.increment(error)) {
            if (files.depth() > kDeepestFolder) {
                files.pop(error);
                if (error || files == std::filesystem::recursive_directory_iterator()) {
                    break;
                }
            }
            if (auto entry = entries.entryAt(files->path().string())) {
                result.push_back(std::move(*entry));
            }
        }
    }
    return result;
}

} // namespace vantorel
