#include "platform/freedesktop/InstalledApps.h"

#include "platform/freedesktop/DesktopEntry.h"

namespace vantorel {

bool InstalledApps::isInstalled(const QString& id) const {
    return findDesktopEntry(id.toStdString()).has_value();
}

} // namespace vantorel
