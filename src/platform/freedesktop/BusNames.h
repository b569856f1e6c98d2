#pragma once

#include <QString>

namespace vantorel {

// What other programs know this one by on the session bus. The desktop-file id is the same text.
inline const QString kBusName = QStringLiteral("com.qorbex.Vantorel");
inline const QString kObjectPath = QStringLiteral("/com/qorbex/Vantorel");
inline const QString kApplicationInterface = QStringLiteral("org.freedesktop.Application");

// The keys of platform_data (Desktop Entry Specification, "D-Bus Activation").
inline const QString kStartupIDKey = QStringLiteral("desktop-startup-id");
inline const QString kActivationTokenKey = QStringLiteral("activation-token");

} // namespace vantorel
