#pragma once

#include "discovery/AppInfo.h"
#include "discovery/BrowserInfo.h"
#include "discovery/DisplayName.h"

#include <QHash>
#include <QList>

namespace vantorel {

/// What to call the browser with this id: see displayName().
inline QString browserName(const QList<BrowserInfo>& browsers, const QString& id) {
    return displayName(id, browsers);
}

/// What to call the application with this id: see displayName().
inline QString appName(const QList<AppInfo>& apps, const QString& id) {
    return displayName(id, apps);
}

/// The same for very many ids: goes through the entries (BrowserInfo or AppInfo) once.
class AppNames {
public:
    AppNames() = default;
    template <typename Entry> explicit AppNames(const QList<Entry>& entries) {
        m_names.reserve(entries.size());
        for (const Entry& entry : entries) {
            if (!m_names.contains(entry.id))
                m_names.insert(entry.id, entry.name);
        }
    }

    QString nameOf(const QString& id) const {
        const auto found = m_names.constFind(id);
        return found == m_names.constEnd() ? displayName(id, QList<AppInfo>()) : *found;
    }

private:
    QHash<QString, QString> m_names; // by id
};

} // namespace vantorel
