#include "platform/freedesktop/ProcessFiles.h"

#include "platform/freedesktop/UniqueFd.h"

#include <algorithm>
#include <array>
#include <climits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {

namespace {

// An environment may be as large as the kernel lets it be; the other files are of a few lines.
constexpr qsizetype kMostBytes = 4 << 20;
constexpr qsizetype kMostBytesOfSmallFile = 64 << 10;

constexpr const char* kDeleted = " (deleted)";

// Opening a pipe without a writer would wait for one, and a link may lead anywhere.
QByteArray contents(const QByteArray& path, qsizetype most) {
    const UniqueFd file(open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY));
    struct stat status { };
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    QByteArray text;
    for (qsizetype room = 4096; text.size() < most; room = std::min(text.size(), most - text.size())) {
        const qsizetype size = text.size();
        text.resize(size + room);
        const ssize_t count = read(file.get(), text.data() + size, static_cast<std::size_t>(room));
        text.resize(size + std::max<ssize_t>(count, 0));
        if (count <= 0)
            break;
    }
    return text;
}

QByteArray linkTarget(const QByteArray& path) {
    std::array<char, PATH_MAX> target;
    const ssize_t size = readlink(path.constData(), target.data(), target.size());
    return QByteArray(target.data(), std::max<ssize_t>(size, 0));
}

bool isSameFile(const QByteArray& one, const QByteArray& other) {
    struct stat first {
    }, second{};
    return stat(one.constData(), &first) == 0 && stat(other.constData(), &second) == 0 && first.st_dev == second.st_dev
        && first.st_ino == second.st_ino;
}

} // namespace

// The fields of stat are counted from behind the name, which stands in parentheses and may hold any of them.
std::optional<ProcessFiles> ProcessFiles::find(const QByteArray& procFolder, pid_t process) {
    ProcessFiles files;
    files.m_folder = procFolder + '/' + QByteArray::number(process);
    files.m_id = process;
    const QByteArray status = contents(files.m_folder + "/stat", kMostBytesOfSmallFile);
    const QByteArrayList fields = status.mid(status.lastIndexOf(')') + 1).simplified().split(' ');
    if (process <= 0 || fields.size() < 20)
        return std::nullopt;
    files.m_parent = fields[1].toInt();
    files.m_startTime = fields[19].toULongLong();
    return files;
}

bool ProcessFiles::isAnotherNow() const {
    const auto now = find(m_folder.left(m_folder.lastIndexOf('/')), m_id);
    return now && now->m_startTime != m_startTime;
}

QByteArray ProcessFiles::cgroups() const {
    return contents(m_folder + "/cgroup", kMostBytesOfSmallFile);
}

QByteArray ProcessFiles::sandbox() const {
    return contents(m_folder + "/root/.flatpak-info", kMostBytesOfSmallFile);
}

QByteArray ProcessFiles::commandName() const {
    const QByteArray name = contents(m_folder + "/comm", kMostBytesOfSmallFile);
    return name.endsWith('\n') ? name.chopped(1) : name;
}

QByteArrayList ProcessFiles::arguments() const {
    return contents(m_folder + "/cmdline", kMostBytes).split('\0');
}

QByteArray ProcessFiles::environment() const {
    return contents(m_folder + "/environ", kMostBytes);
}

QByteArray ProcessFiles::program() const {
    const QByteArray path = linkTarget(m_folder + "/exe");
    return path.endsWith(kDeleted) && access(path.constData(), F_OK) != 0 ? path.chopped(qstrlen(kDeleted)) : path;
}

bool ProcessFiles::sharesOurFiles() const {
    const QByteArray view = linkTarget(m_folder + "/ns/mnt");
    return view.isEmpty() || view == linkTarget("/proc/self/ns/mnt");
}

bool ProcessFiles::runsFile(const QByteArray& path) const {
    return sharesOurFiles() ? program() == path : isSameFile(m_folder + "/exe", path);
}

} // namespace vantorel
