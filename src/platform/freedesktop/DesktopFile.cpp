#include "DesktopFile.h"

#include "UniqueFd.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

namespace vantorel {

namespace {

constexpr std::string_view kGroup = "Desktop Entry";
constexpr off_t kLargestFile = 1 << 20;

constexpr std::array<std::string_view, DesktopFile::kKeyCount> kKeys = {
    "Type",           "Name",      "Icon",       "Exec",      "TryExec",         "Path",
    "Hidden",         "NoDisplay", "OnlyShowIn", "NotShowIn", "DBusActivatable", "Terminal",
    "StartupWMClass",
};

// As GLib has it, for which a vertical tab is none.
bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\f' || c == '\r';
}

std::string_view withoutBlanksBefore(std::string_view text) {
    const auto* const begin = std::find_if_not(text.begin(), text.end(), isBlank);
    return text.substr(static_cast<std::size_t>(begin - text.begin()));
}

std::string_view withoutBlanksAfter(std::string_view text) {
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// The rest behind the first character, also behind bytes that continue nothing: so GLib goes on.
std::string_view withoutCharacter(std::string_view text) {
    do {
        text.remove_prefix(1);
    } while (!text.empty() && (static_cast<unsigned char>(text.front()) & 0xc0U) == 0x80);
    return text;
}

/// The name of the group that this line begins; absent when it is no such line.
std::optional<std::string_view> groupOf(std::string_view line) {
    if (!line.starts_with('[')) {
        return std::nullopt;
    }
    const auto end = line.find(']');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    auto rest = withoutCharacter(line.substr(end));
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
    return rest.empty() ? std::optional(line.substr(1, end - 1)) : std::nullopt;
}

bool isGroupName(std::string_view name) {
    return !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return c == '[' || byte < 0x20 || byte == 0x7f;
    });
}

bool isAsciiLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// Letters, digits and what joins the parts of a locale's name.
bool isLanguage(std::string_view text) {
    constexpr auto kNone = static_cast<gunichar>(-2); // not UTF-8; -1 when it only ends too early
    constexpr std::string_view kJoints = "-_.@";
    while (!text.empty()) {
        const char first = text.front();
        if (static_cast<unsigned char>(first) >= 0x80) {
            const auto character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
            if (character >= kNone || g_unichar_isalnum(character) == FALSE) {
                return false;
            }
        } else if (!isAsciiLetterOrDigit(first) && kJoints.find(first) == std::string_view::npos) {
            return false;
        }
        text = withoutCharacter(text);
    }
    return true;
}

/// A key, with or without a language in brackets behind it.
bool isKeyName(std::string_view name) {
    const auto* const found = std::find_if(name.begin(), name.end(), [](char c) { return c == '[' || c == ']'; });
    const auto bracket = static_cast<std::size_t>(found - name.begin());
    const auto plain = name.substr(0, bracket);
    if (plain.empty() || plain.front() == ' ' || plain.back() == ' ') {
        return false;
    }
    if (bracket == name.size()) {
        return true;
    }
    const auto language = name.substr(bracket);
    return language.front() == '[' && language.back() == ']' && isLanguage(language.substr(1, language.size() - 2));
}

std::nullopt_t refuse(std::string* whyNot, std::string reason) {
    if (whyNot) {
        *whyNot = std::move(reason);
    }
    return std::nullopt;
}

/// What a backslash and this character stand for; absent when they stand for nothing, and so for themselves.
std::optional<char> unescaped(char c) {
    switch (c) {
    case 's': return ' ';
    case 'n': return '\n';
    case 't': return '\t';
    case 'r': return '\r';
    case '\\': return '\\';
    default: return std::nullopt;
    }
}

} // namespace

// Not blocking: a pipe by the name of an entry must not hold up who looks at it.
std::optional<DesktopFile> DesktopFile::read(const std::string& path, const std::vector<std::string>& languages,
                                             std::string* whyNot, OpenFolder folder) {
    const char* const name = path.c_str() + folder.pathSize;
    const UniqueFd file(openat(folder.fd, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status { };
    if (file.get() < 0 || fstat(file.get(), &status) != 0) {
        return refuse(whyNot, path + " cannot be read: " + std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode) || status.st_size > kLargestFile) {
        return refuse(whyNot, path + " is no desktop entry");
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const auto count = ::read(file.get(), text.data() + size, text.size() - size);
        if (count < 0) {
            return refuse(whyNot, path + " cannot be read: " + std::strerror(errno));
        }
        if (count == 0) {
            break;
        }
        size += static_cast<std::size_t>(count);
    }
    text.resize(size);
    return parse(std::move(text), languages, path, whyNot);
}

std::optional<DesktopFile> DesktopFile::parse(std::string text, const std::vector<std::string>& languages,
                                              const std::string& name, std::string* whyNot) {
    DesktopFile file;
    file.m_text = std::move(text);
    if (const char* const problem = file.parseLines(languages)) {
        return refuse(whyNot, name + problem);
    }
    return file;
}

// Returns what is wrong, to be read after the name of the file; null when nothing is.
const char* DesktopFile::parseLines(const std::vector<std::string>& languages) {
    const std::string_view text(m_text);
    if (text.find('\0') != std::string_view::npos) {
        return " is no desktop entry";
    }
    bool hasGroup = false;
    bool isMain = false;
    for (std::size_t start = 0; start < text.size();) {
        const auto end = std::min(text.find('\n', start), text.size());
        auto line = text.substr(start, end - start);
        start = end + 1;
        if (end < text.size() && line.ends_with('\r')) { // a part of a line end, and of no other
            line.remove_suffix(1);
        }
        line = withoutBlanksBefore(line);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (const auto group = groupOf(line)) {
            if (!isGroupName(*group)) {
                return " cannot be read: the name of a group is not valid";
            }
            if (!hasGroup && *group != kGroup) {
                return " is no desktop entry";
            }
            hasGroup = true;
            isMain = *group == kGroup;
            continue;
        }
        const auto equals = line.find('=');
        if (equals == 0 || equals == std::string_view::npos) {
            return " cannot be read: a line is neither a key, a group nor a comment";
        }
        if (!hasGroup) {
            return " cannot be read: it does not start with a group";
        }
        const auto key = withoutBlanksAfter(line.substr(0, equals));
        if (!isKeyName(key)) {
            return " cannot be read: the name of a key is not valid";
        }
        if (isMain) {
            note(key, withoutBlanksBefore(line.substr(equals + 1)), languages);
        }
    }
    return hasGroup ? nullptr : " is no desktop entry";
}

// Of equal keys the last one counts, of languages the one that the user likes best.
void DesktopFile::note(std::string_view key, std::string_view value, const std::vector<std::string>& languages) {
    const auto bracket = std::min(key.find('['), key.size());
    const auto plain = key.substr(0, bracket);
    const auto* const known = std::find(kKeys.begin(), kKeys.end(), plain);
    if (known == kKeys.end()) {
        return;
    }
    const auto index = static_cast<std::size_t>(known - kKeys.begin());
    auto rank = languages.size();
    if (bracket < key.size()) {
        if (index != static_cast<std::size_t>(Key::name) && index != static_cast<std::size_t>(Key::icon)) {
            return;
        }
        const auto language = key.substr(bracket + 1, key.size() - bracket - 2);
        const auto wanted = std::find(languages.begin(), languages.end(), language);
        if (wanted == languages.end()) {
            return;
        }
        rank = static_cast<std::size_t>(wanted - languages.begin());
    }
    Place& place = m_places[index];
    const bool isUtf8 = g_utf8_validate(value.data(), static_cast<gssize>(value.size()), nullptr) != FALSE;
    if (rank < languages.size() && !isUtf8) {
        return; // another language may be better off
    }
    if (place.isThere && place.rank < rank) {
        return;
    }
    place = {.start = static_cast<std::size_t>(value.data() - m_text.data()),
             .size = value.size(),
             .rank = rank,
             .isThere = isUtf8};
}

std::string_view DesktopFile::raw(Key key) const {
    const Place& place = m_places[static_cast<std::size_t>(key)];
    return place.isThere ? std::string_view(m_text).substr(place.start, place.size) : std::string_view();
}

bool DesktopFile::has(Key key) const {
    return m_places[static_cast<std::size_t>(key)].isThere;
}

// An escape that is none (Exec=sh -c "echo \$1") stays as it is; entries with such values are common and work
// everywhere. A backslash at the very end is dropped.
std::string DesktopFile::value(Key key) const {
    const auto text = raw(key);
    std::string result;
    if (text.find('\\') == std::string_view::npos) {
        return std::string(text);
    }
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            result += text[i];
        } else if (i + 1 < text.size()) {
            const auto character = unescaped(text[++i]);
            if (!character) {
                result += '\\';
            }
            result += character.value_or(text[i]);
        }
    }
    return result;
}

bool DesktopFile::isSet(Key key) const {
    const auto text = withoutBlanksAfter(raw(key));
    return text == "true" || text == "1";
}

// Semicolons inside of names do not occur in the lists that are read here.
std::vector<std::string> DesktopFile::list(Key key) const {
    std::vector<std::string> result;
    auto rest = raw(key);
    while (!rest.empty()) {
        const auto end = std::min(rest.find(';'), rest.size());
        if (end > 0) {
            result.emplace_back(rest.substr(0, end));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return result;
}

std::vector<std::string> userLanguages() {
    std::vector<std::string> result;
    for (const char* const* name = g_get_language_names(); *name; ++name) {
        result.emplace_back(*name);
    }
    return result;
}

} // namespace vantorel
