#include "platform/freedesktop/ProcessApplications.h"

#include "platform/freedesktop/DesktopEntry.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace vantorel {

namespace {

// Deeper chains do not occur; a tree that changes while it is read must not be able to send us in circles.
constexpr int kMostParents = 64;

// An environment may be as large as the kernel lets it be; nothing that is read here is.
constexpr qint64 kMostBytes = 4 << 20;

// Programs that only pass a link on, by the name of their executable or script.
const QSet<QByteArray>& helpers() {
    static const QSet<QByteArray> names = {"vantorel",
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
    return names;
}

// Programs that run another one, which is what an entry that starts with them is about.
const QSet<QByteArray>& runners() {
    static const QSet<QByteArray> names = {"sh",      "dash", "bash",    "zsh",  "fish",    "ksh",
                                           "busybox", "env",  "flatpak", "snap", "python3", "perl",
                                           "java",    "node", "ruby",    "mono", "gjs",     "wine"};
    return names;
}

QByteArray contents(const QByteArray& path) {
    QFile file(QFile::decodeName(path));
    return file.open(QIODevice::ReadOnly) ? file.read(kMostBytes) : QByteArray();
}

QByteArray linkTarget(const QByteArray& path) {
    return QFile::encodeName(QFile::symLinkTarget(QFile::decodeName(path)));
}

QByteArray baseName(const QByteArray& path) {
    return path.mid(path.lastIndexOf('/') + 1);
}

QByteArray canonical(const QByteArray& path) {
    return QFile::encodeName(QFileInfo(QFile::decodeName(path)).canonicalFilePath());
}

// An interpreter is named for its version, as in python3.11.
bool isRunner(const QByteArray& program) {
    const QByteArray name = baseName(program);
    return runners().contains(name) || name.startsWith("python3.");
}

QByteArray valueOf(const QByteArrayList& environment, const QByteArray& name) {
    for (const QByteArray& variable : environment) {
        if (variable.startsWith(name) && variable.mid(name.size()).startsWith('='))
            return variable.mid(name.size() + 1);
    }
    return {};
}

bool isInstalled(const QString& id) {
    return findDesktopEntry(id.toStdString()).has_value();
}

// The application of a flatpak sandbox, by the file that flatpak puts at its root.
std::optional<QString> bySandbox(const QByteArray& process) {
    bool inApplication = false;
    for (const QByteArray& line : contents(process + "/root/.flatpak-info").split('\n')) {
        if (line.startsWith('['))
            inApplication = line.trimmed() == "[Application]";
        else if (inApplication && line.startsWith("name="))
            return QString::fromUtf8(line.mid(5).trimmed());
    }
    return std::nullopt;
}

// The innermost unit that names an installed application.
std::optional<QString> byUnit(const QByteArray& process) {
    for (const QByteArray& line : contents(process + "/cgroup").split('\n')) {
        const QByteArrayList units = line.mid(line.indexOf('/') + 1).split('/');
        for (auto unit = units.crbegin(); unit != units.crend(); ++unit) {
            auto id = applicationOfUnit(*unit);
            if (id && isInstalled(*id))
                return id;
        }
    }
    return std::nullopt;
}

// The entry that this very process was started from; a child only inherits the variables.
std::optional<QString> byLaunch(const QByteArray& process) {
    const QByteArrayList environment = contents(process + "/environ").split('\0');
    if (valueOf(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID") != baseName(process))
        return std::nullopt;
    const QByteArray file = valueOf(environment, "GIO_LAUNCHED_DESKTOP_FILE");
    if (!file.endsWith(".desktop"))
        return std::nullopt;
    for (const std::string& folder : applicationFolders()) {
        const QByteArray prefix = QByteArray::fromStdString(folder) + '/';
        if (!file.startsWith(prefix))
            continue;
        const QString id = QFile::decodeName(file.mid(prefix.size()).chopped(8).replace('/', '-'));
        if (isInstalled(id))
            return id;
    }
    return std::nullopt;
}

// Where several entries start the same program, the one that is named for it stands for the program itself.
bool isBetterFor(const QByteArray& program, const QString& id, const QString& than) {
    const QString name = QFile::decodeName(baseName(program));
    const auto isNamed = [&name](const QString& candidate) {
        return candidate == name || candidate.endsWith(u'.' + name, Qt::CaseInsensitive);
    };
    return isNamed(id) != isNamed(than) ? isNamed(id) : id.size() < than.size();
}

QHash<QByteArray, QString> readPrograms() {
    QHash<QByteArray, QString> byProgram;
    for (const DesktopEntry& entry : installedDesktopEntries()) {
        const QString id = QString::fromStdString(entry.id);
        const QByteArray program = canonical(QByteArray::fromStdString(entry.program));
        if (program.isEmpty() || isRunner(program))
            continue;
        const auto known = byProgram.constFind(program);
        if (known == byProgram.constEnd() || isBetterFor(program, id, *known))
            byProgram.insert(program, id);
    }
    return byProgram;
}

// The parent's id is the second field after the name, which stands in parentheses and may hold any of them.
QByteArray parentOf(const QByteArray& process) {
    const QByteArray status = contents(process + "/stat");
    return status.mid(status.lastIndexOf(')') + 1).simplified().split(' ').value(1);
}

// What a script's interpreter was told to run, if that is a file.
QByteArray scriptOf(const QByteArray& process) {
    const QByteArray script = contents(process + "/cmdline").split('\0').value(1);
    return script.startsWith('/') ? script : QByteArray();
}

// The name by which a process is known: of its script where it runs one, else of its executable. The executable of
// another user's process cannot be read.
QByteArray nameOf(const QByteArray& process) {
    const QByteArray program = linkTarget(process + "/exe");
    const QByteArray script = isRunner(program) ? scriptOf(process) : QByteArray();
    if (!script.isEmpty())
        return baseName(script);
    return program.isEmpty() ? contents(process + "/comm").trimmed() : baseName(program);
}

QByteArray withoutEscapes(const QByteArray& text) {
    QByteArray out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        bool isNumber = false;
        const int code = text.mid(i, 2) == "\\x" ? text.mid(i + 2, 2).toInt(&isNumber, 16) : 0;
        out += isNumber ? static_cast<char>(code) : text[i];
        i += isNumber ? 3 : 0;
    }
    return out;
}

} // namespace

std::optional<QString> applicationOfUnit(const QByteArray& unit) {
    const QByteArray type = unit.mid(unit.lastIndexOf('.') + 1);
    QByteArray name = unit.chopped(std::min(type.size() + 1, unit.size()));
    if (name.startsWith("snap.") && type == "scope") {
        const QByteArrayList parts = name.split('.');
        const QByteArray app = parts.value(2).split('-').constFirst();
        return parts.size() < 3 ? std::nullopt : std::optional(QString::fromUtf8(parts[1] + '_' + app));
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
    return QString::fromUtf8(withoutEscapes(name.mid(name.lastIndexOf('-') + 1)));
}

ProcessApplications::ProcessApplications(QByteArray procFolder) : m_procFolder(std::move(procFolder)) { }

std::optional<QString> ProcessApplications::applicationOf(pid_t process) {
    QByteArray id = QByteArray::number(process);
    for (int parents = 0; parents < kMostParents && id.toInt() > 1; ++parents) {
        const QByteArray folder = m_procFolder + '/' + id;
        if (!helpers().contains(nameOf(folder))) {
            if (auto application = ownApplication(folder))
                return application;
        }
        id = parentOf(folder);
    }
    return std::nullopt;
}

// Surest first: what the sandbox and the service manager say cannot be changed by the application without effort.
std::optional<QString> ProcessApplications::ownApplication(const QByteArray& process) {
    for (const auto method : {bySandbox, byUnit, byLaunch}) {
        if (auto id = method(process))
            return id;
    }
    return byExecutable(process);
}

std::optional<QString> ProcessApplications::byExecutable(const QByteArray& process) {
    if (m_byProgram.isEmpty())
        m_byProgram = readPrograms();
    for (const QByteArray& program : {scriptOf(process), linkTarget(process + "/exe")}) {
        const auto found = program.isEmpty() ? m_byProgram.constEnd() : m_byProgram.constFind(canonical(program));
        if (found != m_byProgram.constEnd())
            return *found;
    }
    return std::nullopt;
}

} // namespace vantorel
