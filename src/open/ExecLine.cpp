#include "ExecLine.h"

#include "platform/freedesktop/DesktopEntry.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <utility>

#include <glib.h>

namespace vantorel {

namespace {

struct Terminal {
    const char* program;
    const char* option; ///< what stands before the command; may be none
};

constexpr std::array<Terminal, 6> kTerminals = {{
    {"xdg-terminal-exec", nullptr},
    {"x-terminal-emulator", "-e"},
    {"gnome-terminal", "--"},
    {"konsole", "-e"},
    {"xfce4-terminal", "-x"},
    {"xterm", "-e"},
}};

constexpr std::string_view kLinkCodes = "uUfF";
constexpr std::string_view kDeprecatedCodes = "dDnNvm";

// An argument such as the last one of `sh -c "browser %u"` is a program text: no quoting of the link would be safe
// in all of them. The Desktop Entry Specification leaves field codes within quotes undefined: none of these must work.
constexpr std::string_view kCommandText = " \t\n\"'`$;|";

/// Expands the arguments of one entry for one link.
class Expansion {
public:
    Expansion(const DesktopEntry& entry, std::string_view link) : m_entry(entry), m_link(link) { }

    /// Adds what `argument` stands for, or sets the reason why it stands for nothing.
    void add(std::string_view argument) {
        if (argument == "%i") {
            if (!m_entry.icon.empty()) {
                m_arguments.emplace_back("--icon");
                m_arguments.push_back(m_entry.icon);
            }
            return;
        }
        std::string expanded;
        bool stands = argument.empty();
        bool takesLink = false;
        for (std::size_t i = 0; i < argument.size(); ++i) {
            if (argument[i] != '%') {
                expanded += argument[i];
                stands = true;
                continue;
            }
            const char code = ++i < argument.size() ? argument[i] : '\0';
            const auto text = textOf(code, takesLink);
            stands = stands || text;
            expanded += text.value_or(std::string());
        }
        if (takesLink && argument.find_first_of(kCommandText) != std::string_view::npos) {
            m_whyNot = "Exec of " + m_entry.path + " makes the link part of a command text";
        }
        if (stands) {
            m_arguments.push_back(std::move(expanded));
        }
    }

    bool linkTaken() const { return m_linkTaken; }
    const std::string& whyNot() const { return m_whyNot; }
    std::vector<std::string> takeArguments() { return std::move(m_arguments); }

private:
    /// The text of one field code; absent for one that stands for nothing.
    std::optional<std::string> textOf(char code, bool& takesLink) {
        if (code == '%') {
            return "%";
        }
        if (code == 'c') {
            return m_entry.name;
        }
        if (code == 'k') {
            return m_entry.path;
        }
        if (code != '\0' && kLinkCodes.find(code) != std::string_view::npos) {
            takesLink = true;
            if (std::exchange(m_linkTaken, true)) {
                return std::nullopt;
            }
            const bool wantsPath = code == 'f' || code == 'F';
            return (wantsPath ? localPath(m_link) : std::nullopt).value_or(std::string(m_link));
        }
        if (code == '\0' || kDeprecatedCodes.find(code) == std::string_view::npos) {
            m_whyNot = "Exec of " + m_entry.path + " has a field code that does not exist";
        }
        return std::nullopt;
    }

    const DesktopEntry& m_entry;
    std::string_view m_link;
    std::vector<std::string> m_arguments;
    std::string m_whyNot;
    bool m_linkTaken = false;
};

} // namespace

std::optional<std::vector<std::string>> expandExec(const DesktopEntry& entry, std::string_view link,
                                                   std::string& whyNot) {
    Expansion expansion(entry, link);
    for (const auto& argument : entry.command) {
        expansion.add(argument);
    }
    if (!expansion.whyNot().empty()) {
        whyNot = expansion.whyNot();
        return std::nullopt;
    }
    if (!expansion.linkTaken()) {
        whyNot = '"' + entry.name + "\" takes no link";
        return std::nullopt;
    }
    return expansion.takeArguments();
}

std::optional<std::string> localPath(std::string_view link) {
    constexpr std::string_view kScheme = "file:";
    if (g_ascii_strncasecmp(link.data(), kScheme.data(), std::min(link.size(), kScheme.size())) != 0) {
        return std::nullopt;
    }
    // A fragment or query belongs to the viewer, not to the file system.
    const std::string location(link.substr(0, link.find_first_of("?#")));
    char* host = nullptr;
    const std::unique_ptr<char, decltype(&g_free)> path(g_filename_from_uri(location.c_str(), &host, nullptr), &g_free);
    const std::unique_ptr<char, decltype(&g_free)> hostOwner(host, &g_free);
    const bool here = !host || g_ascii_strcasecmp(host, "localhost") == 0;
    return path && here ? std::optional<std::string>(path.get()) : std::nullopt;
}

std::optional<std::vector<std::string>> inTerminal(std::vector<std::string> command) {
    for (const auto& [program, option] : kTerminals) {
        if (auto terminal = findProgram(program)) {
            std::vector<std::string> arguments = {std::move(*terminal)};
            if (option) {
                arguments.emplace_back(option);
            }
            arguments.insert(arguments.end(), std::make_move_iterator(command.begin()),
                             std::make_move_iterator(command.end()));
            return arguments;
        }
    }
    return std::nullopt;
}

} // namespace vantorel
