#include "platform/bundles/FileBundleFolders.h"

#include <QFile>

#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace vantorel {

FileBundleFolders::FileBundleFolders(QStringList folders) : m_folders(std::move(folders)) { }

QStringList FileBundleFolders::folders() {
    return m_folders;
}

std::vector<BundleFolders::Entry> FileBundleFolders::entriesOf(const QString& folder) {
    struct Close {
        void operator()(DIR* open) const { closedir(open); }
    };
    const std::unique_ptr<DIR, Close> listing(opendir(QFile::encodeName(folder).constData()));
    if (!listing)
        return {};
    const QString start = folder.endsWith(u'/') ? folder : folder + u'/';
    std::vector<Entry> entries;
    while (const dirent* listed = readdir(listing.get())) {
        const QByteArrayView name(listed->d_name);
        if (name.startsWith('.') || !name.isValidUtf8())
            continue;
        Entry entry{QString::fromUtf8(name), {}, {}};
        entry.path = start + entry.name;
        struct stat status { };
        if (fstatat(dirfd(listing.get()), listed->d_name, &status, 0) == 0)
            entry.isDirectory = S_ISDIR(status.st_mode);
        entries.push_back(std::move(entry));
    }
    return entries;
}

QString FileBundleFolders::bundleExtension() const {
    return QStringLiteral("app");
}

QStringList applicationFoldersOf(const QString& home) {
    return {QStringLiteral("/Applications"), home + QStringLiteral("/Applications"),
            QStringLiteral("/System/Applications"), QStringLiteral("/System/Applications/Utilities")};
}

} // namespace vantorel
