#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// A folder that is open already, which saves the kernel the way to it.
struct OpenFolder {
    int fd = -100; ///< AT_FDCWD: none
    std::size_t pathSize = 0; ///< how much of a file's path leads to it, with the slash
};

/// The main group of one desktop entry file, read in one pass over its text.
///
/// GLib's key files hold every key of every group and language, which costs ten times the reading of the file; a scan
/// of all installed applications needs a dozen values of each. What is valid, which of several equal keys counts, and
/// how values are unescaped is the same as there; a translation that is not UTF-8 counts as none. Plain data, no Qt;
/// any thread.
class DesktopFile {
public:
    enum class Key {
        type,
        name, ///< localised
        icon, ///< localised
        exec,
        tryExec,
        path,
        hidden,
        noDisplay,
        onlyShowIn,
        notShowIn,
        dbusActivatable,
        terminal,
        startupWMClass,
    };
    static constexpr std::size_t kKeyCount = 13;

    /// Reads and parses the file. `languages` are the user's, best first, as g_get_language_names() gives them.
    /// Absent when it cannot be read, is no regular file, is larger than 1 MiB (the largest entry of Debian 12 has 60
    /// KiB), or does not begin with the group "Desktop Entry" in valid syntax; `whyNot` then receives one line.
    static std::optional<DesktopFile> read(const std::string& path, const std::vector<std::string>& languages,
                                           std::string* whyNot = nullptr, OpenFolder folder = {});

    /// The same for a text; `name` is what `whyNot` calls it.
    static std::optional<DesktopFile> parse(std::string text, const std::vector<std::string>& languages,
                                            const std::string& name = {}, std::string* whyNot = nullptr);

    /// The value with its escapes undone; empty when the key is missing or its value is not UTF-8.
    std::string value(Key key) const;

    /// Whether the key is there with a value that is UTF-8.
    bool has(Key key) const;

    /// Whether the value is "true", or "1" as in entries of long ago.
    bool isSet(Key key) const;

    /// The parts of a list, which end with semicolons.
    std::vector<std::string> list(Key key) const;

private:
    struct Place {
        std::size_t start = 0;
        std::size_t size = 0;
        std::size_t rank = 0; ///< of the language; the plain key has the worst
        bool isThere = false;
    };

    std::string_view raw(Key key) const;
    void note(std::string_view key, std::string_view value, const std::vector<std::string>& languages);
    const char* parseLines(const std::vector<std::string>& languages);

    std::string m_text;
    std::array<Place, kKeyCount> m_places;
};

/// The user's languages, best first; ends with "C".
std::vector<std::string> userLanguages();

} // namespace vantorel
