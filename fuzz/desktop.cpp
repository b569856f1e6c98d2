// From a desktop entry and a link to the arguments of a program. First the link, then the entry behind a line feed.
// GLib has a say in what the entry means.

#include "Fuzz.h"

#include "Folder.h"
#include "open/ExecLine.h"
#include "platform/freedesktop/DesktopEntry.h"
#include "platform/freedesktop/DesktopFile.h"
#include "platform/freedesktop/LinkHandOn.h"

#include <algorithm>
#include <memory>

#include <unistd.h>

#include <glib.h>

using namespace vantorel;
using Key = DesktopFile::Key;
using Arguments = std::vector<std::string>;

namespace {

constexpr const char* kGroup = "Desktop Entry";

struct Unref {
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, Unref>;

std::string taken(char* text) {
    const std::unique_ptr<char, decltype(&g_free)> owner(text, &g_free);
    return text ? text : "";
}

KeyFile secondOpinion(const std::string& text) {
    KeyFile file(g_key_file_new());
    if (!g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr))
        return nullptr;
    return taken(g_key_file_get_start_group(file.get())) == kGroup ? std::move(file) : nullptr;
}

// In a folder of applications, with one program that they may name.
struct Installation {
    Installation() {
        setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
        setenv("XDG_DATA_DIRS", "/nonexistent", 1);
        setenv("XDG_CURRENT_DESKTOP", "One:Two", 1);
        setenv("LANGUAGE", "pt_BR:de", 1);
        setenv("PATH", folder.path("bin").c_str(), 1);
        folder.add("bin");
        folder.add("applications");
        folder.write("bin/browser", "#!/bin/sh\n");
        std::filesystem::permissions(folder.path("bin/browser"), std::filesystem::perms::owner_all);
    }

    fuzz::Folder folder;
};

void compareWithGLib(const DesktopFile& ours, GKeyFile* theirs, bool isUtf8) {
    const std::pair<Key, const char*> plain[] = {{Key::type, "Type"},
                                                 {Key::exec, "Exec"},
                                                 {Key::tryExec, "TryExec"},
                                                 {Key::path, "Path"},
                                                 {Key::startupWMClass, "StartupWMClass"}};
    for (const auto& [key, name] : plain)
        CHECK(ours.value(key) == taken(g_key_file_get_string(theirs, kGroup, name, nullptr)));
    const std::pair<Key, const char*> flags[] = {{Key::hidden, "Hidden"},
                                                 {Key::noDisplay, "NoDisplay"},
                                                 {Key::terminal, "Terminal"},
                                                 {Key::dbusActivatable, "DBusActivatable"}};
    for (const auto& [key, name] : flags)
        CHECK(ours.isSet(key) == (g_key_file_get_boolean(theirs, kGroup, name, nullptr) != FALSE));
    // Ours leaves out a translation that is not UTF-8, also where GLib would have another one left.
    if (!isUtf8)
        return;
    const std::pair<Key, const char*> localised[] = {{Key::name, "Name"}, {Key::icon, "Icon"}};
    for (const auto& [key, name] : localised)
        CHECK(ours.value(key) == taken(g_key_file_get_locale_string(theirs, kGroup, name, nullptr, nullptr)));
}

// GLib also knows comments and lines that go on, which entries do not have.
void checkSplit(const std::string& text) {
    const auto ours = splitExec(text);
    if (text.find('\0') != std::string::npos || text.find('#') != std::string::npos
        || text.find("\\\n") != std::string::npos)
        return;
    int count = 0;
    char** list = nullptr;
    GError* error = nullptr;
    const bool isRead = g_shell_parse_argv(text.c_str(), &count, &list, &error) != FALSE;
    const std::unique_ptr<char*, decltype(&g_strfreev)> owner(list, &g_strfreev);
    const bool isEmpty = error && error->code == G_SHELL_ERROR_EMPTY_STRING;
    g_clear_error(&error);
    CHECK(ours.has_value() == (isRead || isEmpty));
    if (ours)
        CHECK(*ours == Arguments(list, list + count));
}

std::size_t occurrences(const Arguments& arguments, const std::string& text) {
    std::size_t count = 0;
    for (const auto& argument : arguments) {
        for (auto at = argument.find(text); at != std::string::npos; at = argument.find(text, at + text.size()))
            ++count;
    }
    return count;
}

Arguments replaced(Arguments arguments, const std::string& from, const std::string& to) {
    for (auto& argument : arguments) {
        if (const auto at = argument.find(from); at != std::string::npos)
            argument.replace(at, from.size(), to);
    }
    return arguments;
}

// Whatever a link holds, it stands once and whole in one argument, and nothing else depends on it.
void checkExpansion(const DesktopEntry& entry, const std::string& end) {
    const std::string plain = "https://plain.d41d8cd98f00.test/";
    const std::string hostile = "https://hostile.b204e9800998.test/" + end;
    // The fuzzer finds out what is compared here, and writes it into the entry.
    const Arguments own = {entry.name, entry.icon, entry.path};
    for (const char* const part : {"plain.d41d8cd98f00", "hostile.b204e9800998"}) {
        if (occurrences(entry.command, part) > 0 || occurrences(own, part) > 0)
            return;
    }
    std::string whyNot;
    const auto withPlain = expandExec(entry, plain, whyNot);
    CHECK(withPlain.has_value() == whyNot.empty());
    const auto withHostile = expandExec(entry, hostile, whyNot);
    CHECK(withPlain.has_value() == withHostile.has_value());
    const auto takesLink = [](const std::string& argument) {
        for (std::size_t i = 0; i + 1 < argument.size(); ++i) {
            if (argument[i] == '%' && std::string_view("uUfF").find(argument[++i]) != std::string_view::npos)
                return true;
        }
        return false;
    };
    const auto taker = std::find_if(entry.command.begin(), entry.command.end(), takesLink);
    if (!withPlain) {
        return;
    }
    CHECK(occurrences(*withPlain, plain) == 1);
    CHECK(occurrences(*withHostile, hostile) == 1);
    CHECK(replaced(*withPlain, plain, hostile) == withHostile);
    CHECK(withPlain->size() <= entry.command.size() + occurrences(entry.command, "%i"));
    CHECK(taker != entry.command.end());
    CHECK(taker->find_first_of(" \t\n\"'`$;|") == std::string::npos); // no program text around it
}

bool isComparable(const Arguments& command) {
    std::string all;
    for (const auto& argument : command)
        all += argument + ' ';
    if (command.empty() || command.front().empty() || all.find("com.qorbex.Vantorel") != std::string::npos
        || command.front().starts_with('-') || command.front().find('=') != std::string::npos
        || command.front() == "exec" || all.find_first_of(std::string_view(";|&`\n\0", 6)) != std::string::npos)
        return false;
    // Too deep is nobody's; each level costs two letters at least.
    std::size_t levels = 0;
    for (const char* const name : {"env", "nohup", "setsid", "nice", "stdbuf", "timeout", "dbus-", "sh", "ash"})
        levels += occurrences(command, name);
    return levels < 5;
}

// What an entry leads to is the same through wrappers and through a shell.
void checkHandOn(const DesktopEntry& entry) {
    using To = LinkHandOn::To;
    const LinkHandOn handOn("/usr/bin/own", [](const std::string& name) {
        return name.empty() || name.starts_with('/') ? name : "/usr/bin/" + name;
    });
    const auto of = [&handOn](const Arguments& command) {
        DesktopEntry other;
        other.id = "some";
        other.command = command;
        return handOn.of(other);
    };
    const auto to = handOn.of(entry);
    bool isAsked = false;
    const bool leadsBack = handOn.leadsBack(entry, [&isAsked]() {
        isAsked = true;
        return LinkHandOn::Choice{};
    });
    CHECK(leadsBack == (to == To::us));
    CHECK(isAsked == (to == To::preferred || to == To::preferredByXfce));
    if (!isComparable(entry.command))
        return;
    const auto plain = of(entry.command);
    Arguments wrapped = {"env", "-u", "VARIABLE", "OTHER=value"};
    wrapped.insert(wrapped.end(), entry.command.begin(), entry.command.end());
    CHECK(of(wrapped) == plain);
    std::string text = "OTHER=value exec";
    for (const auto& argument : entry.command)
        text += ' ' + taken(g_shell_quote(argument.c_str()));
    CHECK(of({"/bin/sh", "-ec", text}) == plain);
}

void checkEntry(const std::string& text, GKeyFile* theirs, const std::string& link) {
    static const Installation installation;
    installation.folder.write("applications/some.desktop", text);
    const auto path = installation.folder.path("applications/some.desktop");
    std::string whyNot;
    const auto entry = findDesktopEntry("some", &whyNot);
    CHECK(entry.has_value() == whyNot.empty());
    const auto again = DesktopEntries().entryAt(path);
    CHECK(again.has_value() == entry.has_value());
    if (!entry) {
        return;
    }
    CHECK(again->command == entry->command && again->program == entry->program && again->name == entry->name);
    CHECK(theirs && taken(g_key_file_get_string(theirs, kGroup, "Type", nullptr)) == "Application");
    CHECK(!g_key_file_get_boolean(theirs, kGroup, "Hidden", nullptr));
    CHECK(entry->dbusActivatable || !entry->command.empty());
    CHECK(entry->command.empty() == entry->program.empty());
    CHECK(entry->program.empty() || access(entry->program.c_str(), X_OK) == 0);
    checkExpansion(*entry, link);
    checkHandOn(*entry);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto input = fuzz::bytes(data, size);
    const std::string link(fuzz::takePart(input, '\n'));
    const std::string text(input);
    const auto ours = DesktopFile::parse(text, userLanguages());
    const auto theirs = secondOpinion(text);
    const bool hasNul = text.find('\0') != std::string::npos; // GLib takes that for a character
    CHECK(ours.has_value() == (theirs != nullptr && !hasNul));
    if (ours)
        compareWithGLib(*ours, theirs.get(), g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr));
    checkSplit(link);
    checkSplit(ours ? ours->value(Key::exec) : text);
    checkEntry(text, theirs.get(), link);

    // The commands of entries that nobody could install here are expanded as well.
    const auto command = splitExec(ours ? ours->value(Key::exec) : link);
    DesktopEntry entry;
    entry.id = "some";
    entry.path = "/some.desktop";
    entry.name = ours ? ours->value(Key::name) : "Some";
    entry.icon = ours ? ours->value(Key::icon) : "";
    entry.command = command.value_or(Arguments());
    checkExpansion(entry, link);
    checkHandOn(entry);
    const auto file = localPath("file://" + link);
    CHECK(!file || (file->starts_with('/') && file->find('\0') == std::string::npos));
    return 0;
}
