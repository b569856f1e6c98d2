#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// One installed application, as its desktop entry (Desktop Entry Specification 1.5) describes it.
///
/// Plain data, no Qt: the program and `vantorel-open` read entries through this one type, so that an
/// application is installed for both or for neither.
struct DesktopEntry {
    std::string id; ///< desktop-file id without ".desktop"
    std::string path; ///< absolute path of the entry's file
    std::string name; ///< localised Name; the id where there is none
    std::string icon; ///< Icon as written; may be empty
    std::vector<std::string>
        command; ///< Exec as arguments, quoting undone, field codes not; may be empty when activatable
    std::string program; ///< absolute path of the executable that command names; empty when command is
    std::string workingDirectory; ///< Path; may be empty
    std::string startupWMClass; ///< StartupWMClass; may be empty
    bool isNamed = true; ///< whether there is a Name
    bool dbusActivatable = false;
    bool terminal = false;
    bool isShown = true; ///< in the menus of the desktop that runs: not NoDisplay, OnlyShowIn and NotShowIn
};

/// Finds the entry with this id the way the desktop does: XDG_DATA_HOME first, then each of XDG_DATA_DIRS, in
/// `applications`; a "-" of the id may stand for a sub-folder (`vendor/foo.desktop` has the id `vendor-foo`).
/// The first file found is the only one considered, so a Hidden or broken one masks those of later folders.
///
/// Absent when there is none, when it is Hidden, when TryExec or the program of Exec cannot be found or executed, or
/// when the file is no valid entry of Type=Application. An id with a "/" or an empty one names nothing.
/// `whyNot`, where given, receives one line for a person when the result is absent.
/// Any thread; reads the environment and the disk at each call.
std::optional<DesktopEntry> findDesktopEntry(std::string_view id, std::string* whyNot = nullptr);

/// Reads entries by their files, for one scan of many: what is the same for all is found out once. One thread.
class DesktopEntries {
public:
    DesktopEntries();
    ~DesktopEntries();
    DesktopEntries(const DesktopEntries&) = delete;
    DesktopEntries& operator=(const DesktopEntries&) = delete;

    /// The desktop-file id of a file below one of the application folders: the names on the way joined by "-".
    std::optional<std::string> idOf(std::string_view path) const;

    /// The installed application whose entry is this file. The first file of an id is the only one considered, so
    /// files are to be asked for in the order of their folders; the same file may be asked for again. Absent as in
    /// findDesktopEntry().
    std::optional<DesktopEntry> entryAt(const std::string& path);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// All installed applications, also those that menus do not show, in the order of their folders and within a folder in
/// the order of the file system. Each file is read once. Any thread.
std::vector<DesktopEntry> installedDesktopEntries();

/// The folders that are searched, in order of precedence; not all of them need exist.
std::vector<std::string> applicationFolders();

/// Finds a program as Exec and TryExec name it: a bare name in the folders of PATH, an absolute path as it is, any
/// other path below `workingDirectory`. The result is absolute; absent when there is no such file or none that may be
/// executed, with the difference told in `whyNot`.
std::optional<std::string> findProgram(std::string_view name, std::string_view workingDirectory = {},
                                       std::string* whyNot = nullptr);

/// Splits the value of an Exec key into arguments and undoes their quoting; absent when a quote is not closed.
/// Single quotes and backslashes outside of quotes are taken as a shell takes them, since entries rely on it; nothing
/// is ever expanded.
std::optional<std::vector<std::string>> splitExec(std::string_view exec);

} // namespace vantorel
