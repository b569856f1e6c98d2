#include "platform/freedesktop/InstalledIndex.h"

#include "discovery/BackgroundScan.h"
#include "platform/freedesktop/DesktopEntry.h"

#include <QFile>
#include <QSet>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include <sys/inotify.h>

namespace vantorel {

namespace {

// Programs that run another one, which is what an entry that starts with them is about.
constexpr std::array<std::string_view, 18> kInterpreters = {"sh",      "dash", "bash",    "zsh",  "fish",    "ksh",
                                                            "busybox", "env",  "flatpak", "snap", "python3", "perl",
                                                            "java",    "node", "ruby",    "mono", "gjs",     "wine"};

constexpr uint32_t kChanges =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

QByteArray baseName(const QByteArray& path) {
    return path.mid(path.lastIndexOf('/') + 1);
}

QByteArray canonical(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    return real ? QByteArray(real.get()) : QByteArray();
}

// Where several entries start the same program, the one that is named for it stands for the program itself.
bool isBetterFor(const QByteArray& program, const QString& id, const QString& than) {
    const QString name = QFile::decodeName(baseName(program));
    const auto isNamed = [&name](const QString& candidate) {
        return candidate == name || candidate.endsWith(u'.' + name, Qt::CaseInsensitive);
    };
    return isNamed(id) != isNamed(than) ? isNamed(id) : id.size() < than.size();
}

QStringList commandOf(const DesktopEntry& entry) {
    QStringList command;
    for (const std::string& argument : entry.command)
        command.append(QString::fromStdString(argument));
    return command;
}

std::vector<WindowEntry> windowEntries(const std::vector<DesktopEntry>& entries) {
    std::vector<WindowEntry> result;
    result.reserve(entries.size());
    for (const DesktopEntry& entry : entries) {
        result.push_back({.id = QString::fromStdString(entry.id),
                          .startupWMClass = QString::fromStdString(entry.startupWMClass),
                          .command = commandOf(entry),
                          .noDisplay = !entry.isShown});
    }
    return result;
}

} // namespace

// An interpreter is named for its version, as in python3.11.
bool isInterpreter(const QByteArray& program) {
    const QByteArray name = baseName(program);
    return std::find(kInterpreters.begin(), kInterpreters.end(), name.toStdString()) != kInterpreters.end()
        || name.startsWith("python3.");
}

InstalledIndex::InstalledIndex(const std::vector<DesktopEntry>& entries)
    : m_windows(windowEntries(entries))
    , m_folders(applicationFolders()) {
    for (const DesktopEntry& entry : entries) {
        const QString id = QString::fromStdString(entry.id);
        m_programNames.insert(id, vantorel::programNameOf(commandOf(entry)).toUtf8());
        const QByteArray program = canonical(entry.program);
        if (program.isEmpty() || isInterpreter(program))
            continue;
        const auto known = m_byProgram.constFind(program);
        if (known == m_byProgram.constEnd() || isBetterFor(program, id, *known))
            m_byProgram.insert(program, id);
    }
}

// Watches first, so that no change falls between the two; folders of vendors are known only from their entries.
std::shared_ptr<const InstalledIndex> InstalledIndex::read() {
    UniqueFd changes(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    std::vector<std::string> missing;
    for (const std::string& folder : applicationFolders()) {
        if (inotify_add_watch(changes.get(), folder.c_str(), kChanges) < 0 && access(folder.c_str(), F_OK) != 0)
            missing.push_back(folder);
    }
    const std::vector<DesktopEntry> entries = installedDesktopEntries();
    QSet<QByteArray> folders;
    for (const DesktopEntry& entry : entries)
        folders.insert(QByteArray::fromStdString(entry.path.substr(0, entry.path.rfind('/'))));
    for (const QByteArray& folder : folders)
        inotify_add_watch(changes.get(), folder.constData(), kChanges);
    auto index = std::make_shared<InstalledIndex>(entries);
    index->m_changes = std::move(changes);
    index->m_missingFolders = std::move(missing);
    return index;
}

std::optional<QString> InstalledIndex::idOfFile(const QByteArray& path) const {
    if (!path.endsWith(".desktop"))
        return std::nullopt;
    for (const std::string& folder : m_folders) {
        const QByteArray prefix = QByteArray::fromStdString(folder) + '/';
        if (path.startsWith(prefix))
            return QFile::decodeName(path.mid(prefix.size()).chopped(8).replace('/', '-'));
    }
    return std::nullopt;
}

std::optional<QString> InstalledIndex::ofProgram(const QByteArray& path) const {
    const auto found = m_byProgram.constFind(path);
    return found == m_byProgram.constEnd() ? std::nullopt : std::optional(*found);
}

// One event is as good as many: this index is about to be replaced.
bool InstalledIndex::isOutdated() const {
    alignas(inotify_event) char events[4096];
    if (m_changes && ::read(m_changes.get(), events, sizeof events) > 0)
        return true;
    return std::any_of(m_missingFolders.begin(), m_missingFolders.end(),
                       [](const std::string& folder) { return access(folder.c_str(), F_OK) == 0; });
}

void CurrentIndex::refresh() {
    scanInBackground(this, InstalledIndex::read,
                     [this](const std::shared_ptr<const InstalledIndex>& index) { m_index = index; });
}

std::shared_ptr<const InstalledIndex> CurrentIndex::get() {
    if (!m_index || m_index->isOutdated())
        m_index = InstalledIndex::read();
    return m_index;
}

} // namespace vantorel
