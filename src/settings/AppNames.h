#pragma once

#include "discovery/AppInfo.h"
#include "discovery/DisplayName.h"

#include <QHash>
#include <QList>

namespace vantorel {

/// The names of displayName(), and the icons, for very many ids: goes through the entries (BrowserInfo or AppInfo)
/// once.
class AppNames {
public:
    AppNames() = default;
    template <typename Entry> explicit AppNames(const QList<Entry>& entries) {
        m_known.reserve(entries.size());
        for (const Entry& entry : entries) {
            if (!m_known.contains(entry.id))
                m_known.insert(entry.id, {.name = entry.name, .icon = entry.icon});
        }
    }

    QString nameOf(const QString& id) const {
        const auto found = m_known.constFind(id);
        return found == m_known.constEnd() ? displayName(id, QList<AppInfo>()) : found->name;
    }

    /// What appIcon() takes; empty for what is not installed.
    QString iconOf(const QString& id) const { return m_known.value(id).icon; }

private:
    struct Known {
        QString name;
        QString icon;
    };

    QHash<QString, Known> m_known; // by id
};

} // namespace vantorel
