#pragma once

#include <QIcon>

namespace vantorel {

/// The icon of an application by the name of a themed icon, or by the absolute path of an image; a generic one when
/// there is none of that kind.
QIcon appIcon(const QString& nameOrPath);

} // namespace vantorel
