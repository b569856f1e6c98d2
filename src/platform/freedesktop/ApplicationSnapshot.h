#pragma once

#include "platform/ApplicationBundles.h"
#include "platform/freedesktop/DesktopEntry.h"
#include "platform/freedesktop/LinkHandOn.h"

#include <QHash>

namespace vantorel {

/// The desktop entries as application bundles, as one scan sees them: each file is read once at most. One thread.
///
/// Folders are the `applications` folders of XDG_DATA_HOME and XDG_DATA_DIRS, which is also where flatpak and snap
/// export theirs. An entry that is hidden, or whose program is missing, does not exist.
class ApplicationSnapshot : public LinkApplications, public BundleReader, public BundleFolders {
public:
    enum class Content {
        everything,
        shownInMenus, ///< without what the menus of the running desktop leave out
    };

    explicit ApplicationSnapshot(Content content) : m_content(content) { }

    /// As GIO has it: what mimeapps.list adds, then what the entries say, without what mimeapps.list removes. Without
    /// what is this program under another id, and, while this program is chosen for the scheme, without what hands
    /// links on to what is chosen.
    QStringList locationsForScheme(const QString& scheme) override;
    std::optional<QString> locationOf(const QString& bundleID) override;

    /// For folder walks, files are to be asked for in the order of the folders: the first one of an id masks the rest.
    std::optional<BundleInfo> bundleAt(const QString& location) override;

    QStringList folders() override;
    std::vector<Entry> entriesOf(const QString& folder) override;
    QString bundleExtension() const override;

private:
    std::optional<BundleInfo> infoOf(const std::optional<DesktopEntry>& entry) const;

    Content m_content;
    LinkHandOn m_handOn;
    DesktopEntries m_entries;
    QHash<QString, std::optional<BundleInfo>> m_bundles; // by location: of what was asked for by scheme or id
    QHash<QString, QString> m_locations; // of the same, by id
};

/// The ids under which the known browsers are installed here, best first, in the order of the table.
QStringList knownBrowserIDs();

} // namespace vantorel
