#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace vantorel {

/// What one application bundle says of itself. A value that is missing, or is no text, is absent.
struct BundleInfo {
    std::optional<QString> identifier;
    std::optional<QString> displayName;
    std::optional<QString> name;
    QString icon; ///< name of a themed icon, or the absolute path of an image; empty where there is none
};

/// Reads application bundles, whatever the desktop calls by that name. Used by one scan on one thread.
class BundleReader {
public:
    virtual ~BundleReader() = default;

    /// The bundle at a location; absent when there is none, or when it is broken or too large to be one.
    virtual std::optional<BundleInfo> bundleAt(const QString& location) = 0;
};

/// The folders in which applications lie. Used by one scan on one thread.
class BundleFolders {
public:
    struct Entry {
        QString name; ///< last component of the path
        QString path; ///< absolute
        std::optional<bool> isDirectory; ///< absent when that cannot be read
    };

    virtual ~BundleFolders() = default;

    /// In order of precedence; not all need exist.
    virtual QStringList folders() = 0;

    /// What lies directly in a folder, without hidden entries; nothing when it cannot be listed.
    virtual std::vector<Entry> entriesOf(const QString& folder) = 0;

    /// What the name of a bundle ends in after its last dot, in lower case.
    virtual QString bundleExtension() const = 0;
};

/// The desktop's own knowledge of applications and links. Used by one scan on one thread.
class LinkApplications {
public:
    virtual ~LinkApplications() = default;

    /// The locations of all applications that open links of this scheme, in the desktop's order.
    virtual QStringList locationsForScheme(const QString& scheme) = 0;

    /// The location of the application with this id; absent when it is not installed.
    virtual std::optional<QString> locationOf(const QString& bundleID) = 0;
};

} // namespace vantorel
