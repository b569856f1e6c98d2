#pragma once

#include "platform/ApplicationBundles.h"

namespace vantorel {

/// Folders of application bundles on the disk. Each call reads the disk, from any thread.
class FileBundleFolders : public BundleFolders {
public:
    /// The folders are absolute paths, in order of precedence.
    explicit FileBundleFolders(QStringList folders);

    QStringList folders() override;

    /// In the order in which the file system lists them. What a symbolic link leads to is what counts as a folder; a
    /// link to nowhere is listed without an answer. A name that is no valid UTF-8 is left out, since no path of
    /// QStrings leads to it.
    std::vector<Entry> entriesOf(const QString& folder) override;

    QString bundleExtension() const override;

private:
    QStringList m_folders;
};

/// Where applications lie as bundles, for the user with this home folder, in order of precedence.
QStringList applicationFoldersOf(const QString& home);

} // namespace vantorel
