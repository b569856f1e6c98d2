#pragma once

#include <QString>
#include <QStringList>

#include <algorithm>

namespace vantorel {

/// What to call the application with this id: the name of the first entry of `entries` (BrowserInfo or AppInfo) with
/// exactly this id; else the last piece of the id between dots that is not empty, so that an application that is not
/// installed any more is still recognised; else the id.
template <typename Entries> QString displayName(const QString& bundleID, const Entries& entries) {
    const auto found =
        std::find_if(entries.begin(), entries.end(), [&bundleID](const auto& entry) { return entry.id == bundleID; });
    if (found != entries.end())
        return found->name;
    const QStringList pieces = bundleID.split(u'.', Qt::SkipEmptyParts);
    return pieces.isEmpty() ? bundleID : pieces.last();
}

} // namespace vantorel
