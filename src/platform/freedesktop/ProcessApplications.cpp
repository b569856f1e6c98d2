#include "platform/freedesktop/ProcessApplications.h"

#include "platform/freedesktop/DesktopEntry.h"
#include "platform/freedesktop/InstalledIndex.h"
#include "platform/freedesktop/ProcessFiles.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <future>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace vantorel {

namespace {

using namespace std::chrono_literals;
using Relation = ProcessApplication::Relation;

// Deeper chains do not occur; a tree that changes while it is read must not be able to send us in circles.
constexpr int kMostParents = 64;

// Reading a chain takes a fraction of a millisecond. What takes longer is stuck in a file system or behind the memory
// of a process, perhaps for good.
constexpr auto kPatience = 50ms;
constexpr int kMostUnderWay = 8;

// The kernel keeps this much of a program's name.
constexpr std::size_t kCommandNameSize = 15;

// Programs that only pass a link on, by the name of their executable or script.
constexpr std::array<std::string_view, 22> kHelpers = {"vantorel",
                                                       "gio",
                                                       "gio-launch-desktop",
                                                       "xdg-open",
                                                       "x-www-browser",
                                                       "sensible-browser",
                                                       "kde-open",
                                                       "kde-open5",
                                                       "kfmclient",
                                                       "kioclient",
                                                       "kioclient5",
                                                       "exo-open",
                                                       "xfce4-mime-helper",
                                                       "xdg-desktop-portal",
                                                       "env",
                                                       "dbus-send",
                                                       "gdbus",
                                                       "busctl",
                                                       "qdbus",
                                                       "setsid",
                                                       "nohup",
                                                       "timeout"};

// Where the name of the executable is denied only its beginning is known.
bool isHelper(const QByteArray& name) {
    const std::string_view wanted(name.constData(), static_cast<std::size_t>(name.size()));
    return std::any_of(kHelpers.begin(), kHelpers.end(), [wanted](std::string_view helper) {
        return wanted == helper || (wanted.size() == kCommandNameSize && helper.starts_with(wanted));
    });
}

QByteArray baseName(const QByteArray& path) {
    return path.mid(path.lastIndexOf('/') + 1);
}

QByteArray canonical(const QByteArray& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.constData(), nullptr), &std::free);
    return real ? QByteArray(real.get()) : QByteArray();
}

QByteArray valueOf(const QByteArray& environment, const QByteArray& name) {
    const QByteArray start = name + '=';
    const qsizetype before = environment.startsWith(start) ? -1 : environment.indexOf('\0' + start);
    if (before < 0 && !environment.startsWith(start))
        return {};
    const qsizetype at = before + 1 + start.size();
    const qsizetype end = environment.indexOf('\0', at);
    return environment.mid(at, end < 0 ? -1 : end - at);
}

bool isHexDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// Of two digits exactly; a number alone might be one digit, or have a sign.
QByteArray withoutEscapes(const QByteArray& text) {
    QByteArray out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QByteArray escape = text.mid(i, 4);
        const bool isEscape =
            escape.size() == 4 && escape.startsWith("\\x") && isHexDigit(escape[2]) && isHexDigit(escape[3]);
        out += isEscape ? static_cast<char>(escape.mid(2).toInt(nullptr, 16)) : text[i];
        i += isEscape ? 3 : 0;
    }
    return out;
}

// The id of an application of a sandbox becomes a part of what rules are compared with and of what is logged.
bool isPlainID(const QString& id) {
    return !id.isEmpty() && id.size() <= 255
        && std::all_of(id.begin(), id.end(), [](QChar c) { return c.isPrint() && c != u'/' && !c.isSpace(); });
}

// Of APP-UUID, or APP.UUID as older versions write it: an application's own name may hold the same marks.
QByteArray withoutUuid(const QByteArray& name) {
    const QByteArray tail = name.right(37);
    bool isUuid = tail.size() == 37 && (tail[0] == '-' || tail[0] == '.');
    for (qsizetype i = 1; isUuid && i < tail.size(); ++i) {
        const bool isDash = i == 9 || i == 14 || i == 19 || i == 24;
        isUuid = isDash ? tail[i] == '-' : isHexDigit(tail[i]);
    }
    return isUuid ? name.chopped(37) : name.left(name.lastIndexOf('-'));
}

// One process of a chain, with what is looked at more than once.
struct Step {
    explicit Step(ProcessFiles process) : files(std::move(process)), cgroups(files.cgroups()) { }

    ProcessFiles files;
    QByteArray cgroups;
};

struct Launch {
    explicit Launch(const QByteArray& environment)
        : file(valueOf(environment, "GIO_LAUNCHED_DESKTOP_FILE"))
        , process(valueOf(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID")) { }

    QByteArray file;
    QByteArray process;
};

// One look at a chain of processes. Any thread.
class Walk {
public:
    Walk(QByteArray procFolder, std::shared_ptr<const InstalledIndex> installed, ProcessApplications::Session session)
        : m_procFolder(std::move(procFolder))
        , m_installed(std::move(installed))
        , m_session(std::move(session)) { }

    ProcessOrigin from(pid_t process, const QByteArray& variable) const;

private:
    QByteArray inheritedFile(const Launch& launch, const Step& step) const;
    std::optional<Step> parentOf(const Step& step) const;
    std::optional<QString> surely(const Step& step, const Step* parent, const QByteArray& launchFile) const;

    bool counts(const QString& id) const;
    std::optional<QString> bySandbox(const Step& step) const;
    std::optional<QString> byUnit(const Step& step, const Step* parent) const;
    std::optional<QString> byLaunchFile(const QByteArray& file) const;
    std::optional<QString> byProgram(const QByteArray& program, const Step& step) const;

    QByteArray m_procFolder;
    std::shared_ptr<const InstalledIndex> m_installed;
    ProcessApplications::Session m_session;
};

// What the script is that an interpreter runs, if that is a file. Options come before it; some of them take its place.
QByteArray scriptOf(const ProcessFiles& process) {
    const QByteArrayList arguments = process.arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QByteArray& argument = arguments[i];
        if (argument == "-c" || argument == "-m" || argument == "-e")
            break;
        if (!argument.startsWith('-'))
            return argument.startsWith('/') ? argument : QByteArray();
    }
    return {};
}

// The path of what a process runs: its script, else its executable. Of a process that guards its memory the executable
// is denied; then what it was started as stands for it, unless its name tells that it has become another one since.
QByteArray programOf(const ProcessFiles& process) {
    QByteArray program = process.program();
    if (isInterpreter(program)) {
        const QByteArray script = scriptOf(process);
        return script.isEmpty() ? program : script;
    }
    if (!program.isEmpty())
        return program;
    QByteArray name = process.commandName();
    const QByteArray started = process.arguments().value(0);
    if (name.isEmpty() || baseName(started).left(kCommandNameSize) != name)
        return name;
    return started.contains('/') ? started : QByteArray::fromStdString(findProgram(started.toStdString()).value_or(""));
}

// An entry whose program is a helper is what the desktop starts the helper by, and a name given by this very program
// leads back to it.
bool Walk::counts(const QString& id) const {
    return id != m_session.ownID && m_installed->contains(id) && !isHelper(m_installed->programNameOf(id));
}

std::optional<QString> Walk::bySandbox(const Step& step) const {
    bool inApplication = false;
    for (const QByteArray& line : step.files.sandbox().split('\n')) {
        if (line.startsWith('['))
            inApplication = line.trimmed() == "[Application]";
        else if (inApplication && line.startsWith("name=")) {
            const QString id = QString::fromUtf8(line.mid(5).trimmed());
            return isPlainID(id) && id != m_session.ownID ? std::optional(id) : std::nullopt;
        }
    }
    return std::nullopt;
}

// The innermost unit that names an application. Children stay in the unit of whoever started them, so a unit that the
// parent is in as well says nothing of this process that it does not say of the parent.
std::optional<QString> Walk::byUnit(const Step& step, const Step* parent) const {
    if (parent && parent->cgroups == step.cgroups)
        return std::nullopt;
    for (QByteArray line : step.cgroups.split('\n')) {
        if (line.endsWith(" (deleted)"))
            line.chop(10);
        const QByteArrayList units = line.mid(line.indexOf('/') + 1).split('/');
        for (auto unit = units.crbegin(); unit != units.crend(); ++unit) {
            const auto application = applicationOfUnit(*unit);
            const bool isSandboxed = application && application->isSandboxed && isPlainID(application->id);
            if (application && (counts(application->id) || (isSandboxed && application->id != m_session.ownID)))
                return application->id;
        }
    }
    return std::nullopt;
}

// What the session has inherited itself is no application's.
std::optional<QString> Walk::byLaunchFile(const QByteArray& file) const {
    if (file.isEmpty() || m_session.inherited.contains(file))
        return std::nullopt;
    const auto id = m_installed->idOfFile(file);
    return id && counts(*id) ? id : std::nullopt;
}

std::optional<QString> Walk::byProgram(const QByteArray& program, const Step& step) const {
    if (!program.startsWith('/'))
        return std::nullopt;
    const bool isExecutable = program == step.files.program(); // else it is what it was called by
    const auto id = m_installed->ofProgram(isExecutable ? program : canonical(program));
    if (!id || !counts(*id))
        return std::nullopt;
    return (isExecutable ? step.files.runsFile(program) : step.files.sharesOurFiles()) ? id : std::nullopt;
}

// Surest first: what the sandbox and the service manager say cannot be changed by the application without effort. A
// helper is in the sandbox and in the unit of whoever started it, and was itself started as something else.
//
// Some launchers set the process of the two variables alone. The file that the parent has as well was inherited.
std::optional<QString> Walk::surely(const Step& step, const Step* parent, const QByteArray& launchFile) const {
    if (auto id = bySandbox(step))
        return id;
    if (auto id = byUnit(step, parent))
        return id;
    const QByteArray program = programOf(step.files);
    if (isHelper(baseName(program)))
        return std::nullopt;
    if (!launchFile.isEmpty()) {
        auto id = byLaunchFile(launchFile);
        if (id && (!parent || Launch(parent->files.environment()).file != launchFile))
            return id;
    }
    return byProgram(program, step);
}

// Some terminals take the file away from what they run, and leave the number of the process that was launched from it.
QByteArray Walk::inheritedFile(const Launch& launch, const Step& step) const {
    const pid_t process = launch.process.toInt();
    if (!launch.file.isEmpty() || process <= 1)
        return launch.file;
    const auto launched = ProcessFiles::find(m_procFolder, process);
    if (!launched || launched->startTime() > step.files.startTime())
        return {};
    const Launch its(launched->environment());
    return its.process == launch.process ? its.file : QByteArray();
}

// A parent that started after its child is another process, which was given the number of the one that is gone.
std::optional<Step> Walk::parentOf(const Step& step) const {
    const pid_t parent = step.files.parent();
    if (parent <= 1 || m_session.ends.contains(parent))
        return std::nullopt;
    auto files = ProcessFiles::find(m_procFolder, parent);
    return files && files->startTime() <= step.files.startTime() ? std::optional<Step>(*std::move(files))
                                                                 : std::nullopt;
}

ProcessOrigin Walk::from(pid_t process, const QByteArray& variable) const {
    ProcessOrigin origin;
    auto files = ProcessFiles::find(m_procFolder, process);
    auto step = files && process > 1 ? std::optional<Step>(*std::move(files)) : std::nullopt;
    std::optional<QString> inherited;
    for (int count = 0; step && count < kMostParents; ++count) {
        auto parent = parentOf(*step);
        const QByteArray environment = step->files.environment();
        if (count == 0)
            origin.variable = valueOf(environment, variable);
        const Launch launch(environment);
        const bool isLaunchedAs = launch.process == QByteArray::number(step->files.id());
        auto id = surely(*step, parent ? &*parent : nullptr, isLaunchedAs ? launch.file : QByteArray());
        const auto had = inherited ? std::nullopt : byLaunchFile(inheritedFile(launch, *step));
        // One that has only ended meanwhile has told the truth before.
        if ((id || had) && step->files.isAnotherNow())
            return origin;
        if (had)
            inherited = had;
        if (id) {
            origin.application = {*id, count == 0 ? Relation::own : Relation::ancestors};
            return origin;
        }
        step = std::move(parent);
    }
    if (inherited)
        origin.application = {*inherited, Relation::ancestors};
    return origin;
}

// Whether a thread of this process waits for a processor rather than for anything else.
bool isRunning(pid_t thread) {
    QFile file(QStringLiteral("/proc/self/task/%1/stat").arg(thread));
    const QByteArray status = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return status.mid(status.lastIndexOf(')') + 1).trimmed().startsWith('R');
}

} // namespace

std::optional<UnitApplication> applicationOfUnit(const QByteArray& unit) {
    const QByteArray type = unit.mid(unit.lastIndexOf('.') + 1);
    QByteArray name = unit.chopped(std::min(type.size() + 1, unit.size()));
    if (name.startsWith("snap.") && type == "scope") {
        const qsizetype end = name.indexOf('.', 5);
        const QByteArray snap = name.mid(5, end - 5), app = withoutUuid(name.mid(end + 1));
        if (end < 0 || snap.isEmpty() || app.isEmpty())
            return std::nullopt;
        return UnitApplication{QString::fromUtf8(withoutEscapes(snap + '_' + app)), true};
    }
    if (!name.startsWith("app-"))
        return std::nullopt;
    name.remove(0, 4);
    if (type == "service")
        name = name.split('@').constFirst();
    else if (type == "scope")
        name.truncate(std::max(name.lastIndexOf('-'), qsizetype{0}));
    else if (type != "slice")
        return std::nullopt;
    return UnitApplication{QString::fromUtf8(withoutEscapes(name.mid(name.lastIndexOf('-') + 1))),
                           name.startsWith("flatpak-")};
}

ProcessApplications::ProcessApplications(Index index, QString ownID, QByteArray procFolder)
    : m_index(std::move(index))
    , m_procFolder(std::move(procFolder)) {
    m_session.ownID = std::move(ownID);
}

void ProcessApplications::ignoreInheritanceOf(pid_t process) {
    if (const auto files = ProcessFiles::find(m_procFolder, process)) {
        if (const QByteArray file = Launch(files->environment()).file; !file.isEmpty())
            m_session.inherited.insert(file);
    }
}

// On a thread of its own: nothing else gives up a read that does not end. Those that are stuck are few, or someone
// wants to use us up.
template <typename Answer>
std::optional<Answer> ProcessApplications::askInTime(std::function<Answer()> question,
                                                     const std::function<void()>& meanwhile) {
    if (*m_underWay >= kMostUnderWay)
        return std::nullopt;
    auto thread = std::make_shared<std::atomic<pid_t>>(0);
    std::promise<Answer> promise;
    auto answer = promise.get_future();
    try {
        std::thread([question = std::move(question), promise = std::move(promise), thread,
                     underWay = m_underWay]() mutable {
            *thread = gettid();
            ++*underWay;
            promise.set_value(question());
            --*underWay;
        }).detach();
    } catch (const std::system_error&) { // no thread to be had just now
        return std::nullopt;
    }
    if (meanwhile)
        meanwhile();
    // On a busy system it is no sign of anything that the time is over.
    while (answer.wait_for(kPatience) != std::future_status::ready) {
        if (*thread != 0 && !isRunning(*thread))
            break;
    }
    return answer.wait_for(0ms) == std::future_status::ready ? std::optional(answer.get()) : std::nullopt;
}

std::optional<ProcessApplication> ProcessApplications::applicationOf(pid_t process) {
    return originOf(process, {}).application;
}

// The making of a thread is a good part of what a look costs, so there is one for both answers.
ProcessOrigin ProcessApplications::originOf(pid_t process, const QByteArray& variable,
                                            const std::function<void()>& meanwhile) {
    const auto origin = askInTime<ProcessOrigin>(
        [walk = Walk(m_procFolder, m_index(), m_session), process, variable] { return walk.from(process, variable); },
        meanwhile);
    if (origin || variable.isEmpty())
        return origin.value_or(ProcessOrigin());
    const auto alone = askInTime<QByteArray>([folder = m_procFolder, process, variable] {
        const auto files = ProcessFiles::find(folder, process);
        return files ? valueOf(files->environment(), variable) : QByteArray();
    });
    return {.application = std::nullopt, .variable = alone.value_or(QByteArray())};
}

} // namespace vantorel
