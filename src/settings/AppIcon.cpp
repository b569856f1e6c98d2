#include "settings/AppIcon.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QStyle>

namespace vantorel {

QIcon appIcon(const QString& nameOrPath) {
    if (QDir::isAbsolutePath(nameOrPath)) {
        if (QFileInfo(nameOrPath).isFile())
            return QIcon(nameOrPath);
    } else if (QIcon themed = QIcon::fromTheme(nameOrPath); !themed.isNull()) {
        return themed;
    }
    QIcon generic = QIcon::fromTheme(QStringLiteral("application-x-executable"));
    return generic.isNull() ? QApplication::style()->standardIcon(QStyle::SP_FileIcon) : generic;
}

} // namespace vantorel
