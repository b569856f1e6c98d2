#include <gio/gdesktopappinfo.h>

#include "platform/freedesktop/ApplicationSnapshot.h"

#include <QFile>

#include <memory>

#include <dirent.h>
#include <sys/stat.h>

namespace vantorel {

namespace {

QString decoded(const std::string& path) {
    return QFile::decodeName(QByteArray::fromStdString(path));
}

constexpr qsizetype kSuffixLength = 8; // ".desktop"

std::optional<QString> localised(GDesktopAppInfo* info, const char* key) {
    const std::unique_ptr<char, decltype(&g_free)> value(g_desktop_app_info_get_locale_string(info, key), &g_free);
    return value ? std::optional(QString::fromUtf8(value.get())) : std::nullopt;
}

// What a LinkHandOn asks for: what GIO has read is enough for that.
DesktopEntry commandOf(GAppInfo* info) {
    DesktopEntry entry;
    const char* const file = g_app_info_get_id(info);
    const char* const command = g_app_info_get_commandline(info);
    entry.id = QByteArray(file).chopped(file ? kSuffixLength : 0).toStdString();
    entry.command = splitExec(command ? command : "").value_or(std::vector<std::string>());
    return entry;
}

LinkHandOn::Choice choiceFor(const char* type) {
    LinkHandOn::Choice choice{.entry = std::nullopt, .xfceCommand = xfceBrowser()};
    if (GAppInfo* const info = g_app_info_get_default_for_type(type, FALSE)) {
        choice.entry = commandOf(info);
        g_object_unref(info);
    }
    return choice;
}

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

std::optional<bool> isDirectory(const dirent& entry, const QByteArray& path) {
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK)
        return entry.d_type == DT_DIR;
    struct stat status { };
    return stat(path.constData(), &status) == 0 ? std::optional(S_ISDIR(status.st_mode)) : std::nullopt;
}

} // namespace

// GIO has read these entries, and by the same rules: they are not read again.
QStringList ApplicationSnapshot::locationsForScheme(const QString& scheme) {
    QStringList locations;
    const QByteArray type = "x-scheme-handler/" + scheme.toUtf8();
    GList* const infos = g_app_info_get_all_for_type(type.constData());
    for (const GList* each = infos; each; each = each->next) {
        GDesktopAppInfo* const info = G_DESKTOP_APP_INFO(each->data);
        const char* const path = g_desktop_app_info_get_filename(info);
        const char* const file = g_app_info_get_id(G_APP_INFO(info));
        const bool isUseless = !path || !file
            || m_handOn.leadsBack(commandOf(G_APP_INFO(info)), [&type] { return choiceFor(type.constData()); });
        if (isUseless)
            continue;
        const QString location = QFile::decodeName(path);
        const QString id = QFile::decodeName(file).chopped(kSuffixLength);
        m_bundles.insert(location,
                         BundleInfo{.identifier = id,
                                    .displayName = localised(info, G_KEY_FILE_DESKTOP_KEY_NAME),
                                    .name = std::nullopt,
                                    .icon = localised(info, G_KEY_FILE_DESKTOP_KEY_ICON).value_or(QString())});
        m_locations.insert(id, location);
        locations.append(location);
    }
    g_list_free_full(infos, g_object_unref);
    return locations;
}

std::optional<QString> ApplicationSnapshot::locationOf(const QString& bundleID) {
    const auto known = m_locations.constFind(bundleID);
    if (known != m_locations.constEnd())
        return *known;
    const auto entry = findDesktopEntry(bundleID.toStdString());
    if (!entry)
        return std::nullopt;
    const QString location = decoded(entry->path);
    m_bundles.insert(location, infoOf(entry));
    m_locations.insert(bundleID, location);
    return location;
}

// A walk asks for each file once: what it reads is not kept.
std::optional<BundleInfo> ApplicationSnapshot::bundleAt(const QString& location) {
    const auto known = m_bundles.constFind(location);
    return known != m_bundles.constEnd() ? *known
                                         : infoOf(m_entries.entryAt(QFile::encodeName(location).toStdString()));
}

std::optional<BundleInfo> ApplicationSnapshot::infoOf(const std::optional<DesktopEntry>& entry) const {
    if (!entry || (m_content == Content::shownInMenus && !entry->isShown))
        return std::nullopt;
    return BundleInfo{.identifier = QString::fromStdString(entry->id),
                      .displayName = entry->isNamed ? std::optional(QString::fromStdString(entry->name)) : std::nullopt,
                      .name = std::nullopt,
                      .icon = QString::fromStdString(entry->icon)};
}

QStringList ApplicationSnapshot::folders() {
    QStringList result;
    for (const std::string& folder : applicationFolders())
        result.append(decoded(folder));
    return result;
}

std::vector<BundleFolders::Entry> ApplicationSnapshot::entriesOf(const QString& folder) {
    std::vector<Entry> entries;
    const QByteArray path = QFile::encodeName(folder);
    const std::unique_ptr<DIR, CloseFolder> directory(opendir(path.constData()));
    while (const dirent* const entry = directory ? readdir(directory.get()) : nullptr) {
        const QByteArray name = entry->d_name;
        if (name.startsWith('.'))
            continue;
        const QByteArray full = path + '/' + name;
        const bool isBundle = name.endsWith(".desktop");
        entries.push_back({.name = QFile::decodeName(name),
                           .path = QFile::decodeName(full),
                           .isDirectory = isBundle ? false : isDirectory(*entry, full)});
    }
    return entries;
}

QString ApplicationSnapshot::bundleExtension() const {
    return QStringLiteral("desktop");
}

} // namespace vantorel
