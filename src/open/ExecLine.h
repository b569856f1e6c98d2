#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

struct DesktopEntry;

/// The arguments that start the entry's program with `link`, its field codes expanded (Desktop Entry Specification,
/// "The Exec key").
///
/// Expansion happens within each argument and only once, so whatever the link contains stays in one argument and is
/// read by no one on the way. The first of %u %U %f %F takes the link, later ones have none left and vanish; %f and %F
/// give the path for a link to a local file and the link itself for all others.
/// Absent, with one line in `whyNot`, when the entry takes no link or uses a field code that is unknown or in a place
/// where the link would become part of a command text.
std::optional<std::vector<std::string>> expandExec(const DesktopEntry& entry, std::string_view link,
                                                   std::string& whyNot);

/// The path that a file: link names on this computer; absent for all other links.
std::optional<std::string> localPath(std::string_view link);

/// `command` as the arguments of the first terminal emulator that is installed; absent when there is none.
std::optional<std::vector<std::string>> inTerminal(std::vector<std::string> command);

} // namespace vantorel
