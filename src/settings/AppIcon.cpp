#include "settings/AppIcon.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QStyle>

namespace vantorel {

namespace {

// Old entries name an icon of the theme with the ending of a file.
QString withoutEnding(const QString& name) {
    for (const auto ending : {QLatin1StringView(".png"), QLatin1StringView(".svg"), QLatin1StringView(".xpm")}) {
        if (name.endsWith(ending))
            return name.chopped(ending.size());
    }
    return name;
}

} // namespace

QIcon appIcon(const QString& nameOrPath) {
    if (QDir::isAbsolutePath(nameOrPath)) {
        if (QFileInfo(nameOrPath).isFile())
            return QIcon(nameOrPath);
    } else if (QIcon themed = QIcon::fromTheme(withoutEnding(nameOrPath)); !themed.isNull()) {
        return themed;
    }
    QIcon generic = QIcon::fromTheme(QStringLiteral("application-x-executable"));
    return generic.isNull() ? QApplication::style()->standardIcon(QStyle::SP_FileIcon) : generic;
}

} // namespace vantorel
