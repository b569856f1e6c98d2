#pragma once

#include "platform/freedesktop/DesktopEntry.h"

#include <functional>
#include <optional>
#include <string>

namespace vantorel {

/// Tells desktop entries that open links from those that only hand them on: to whatever browser is preferred, or to
/// this program under another name. Once links reach us, both lead straight back, and each round starts the next.
///
/// What counts is what an entry executes: the program by its name, symbolic links and with them the system's
/// alternatives resolved; through `env`, `nohup` and their like; and through `sh -c` with a single command. What a
/// script in a file does cannot be seen, nor what a program decides by its own settings.
///
/// Decides on what it is given, and looks at the disk only through `resolve`. Any thread.
class LinkHandOn {
public:
    enum class To {
        nobody, ///< it opens links itself, as far as can be seen
        preferred, ///< the browser that the desktop prefers
        preferredByXfce, ///< the one that XFCE's own settings name
        us,
    };

    /// What is chosen to open links.
    struct Choice {
        std::optional<DesktopEntry> entry; ///< for the type of the link; id, command and program count
        std::string xfceCommand; ///< as xfceBrowser() has it
    };

    /// The file that a program's name or path stands for, links resolved; empty where there is none.
    using Resolve = std::function<std::string(const std::string& name)>;

    /// `ownProgram` is the path that Resolve gives for this program.
    explicit LinkHandOn(std::string ownProgram = ownProgramFile(), Resolve resolve = programFile);

    To of(const DesktopEntry& entry) const;

    /// Whether a link that this entry is given comes back to us. Asks for the choice only where it matters.
    bool leadsBack(const DesktopEntry& entry, const std::function<Choice()>& choice) const;

    /// The program `vantorel` that lies beside the one that runs.
    static std::string ownProgramFile();
    /// A path as it is, a bare name in the folders of PATH.
    static std::string programFile(const std::string& name);

private:
    To ofCommand(const std::vector<std::string>& command, const std::string& program, int depth) const;

    std::string m_ownProgram;
    Resolve m_resolve;
};

/// The command of the web browser that is chosen in XFCE's own settings, or that the system has chosen there for those
/// who have not: a command that the user has entered, or one of XFCE's descriptions of browsers. Empty where there is
/// none, or its program is not installed. Reads the disk.
std::string xfceBrowser();

} // namespace vantorel
