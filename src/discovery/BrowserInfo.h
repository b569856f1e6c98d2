#pragma once

#include <QString>
#include <QUrl>

namespace vantorel {

/// One installed browser. Two of the same id are the same browser, whatever their names and locations.
struct BrowserInfo {
    QString id; ///< bundle identifier; on freedesktop the desktop-file id without ".desktop"
    QString name; ///< shown to the user
    QUrl appURL; ///< file URL of the bundle, or of the desktop entry
    QString icon; ///< themed icon name or absolute path, for views only

    friend bool operator==(const BrowserInfo& a, const BrowserInfo& b) { return a.id == b.id; }
};

inline size_t qHash(const BrowserInfo& browser, size_t seed = 0) {
    return qHash(browser.id, seed);
}

} // namespace vantorel
