#pragma once

#include <QString>
#include <QUrl>

namespace vantorel {

/// One installed application, as the user chooses it for the source of a rule's links.
struct AppInfo {
    QString id; ///< bundle identifier; on freedesktop the desktop-file id without ".desktop"
    QString name; ///< shown to the user; may be empty where the application says so
    QUrl appURL; ///< file URL of the bundle, or of the desktop entry
    QString icon; ///< themed icon name or absolute path, for views only; no part of equality

    friend bool operator==(const AppInfo& a, const AppInfo& b) {
        return a.id == b.id && a.name == b.name && a.appURL == b.appURL;
    }
};

inline size_t qHash(const AppInfo& app, size_t seed = 0) {
    return qHashMulti(seed, app.id, app.name, app.appURL);
}

} // namespace vantorel
