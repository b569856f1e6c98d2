#pragma once

#include "platform/AppCatalog.h"

namespace vantorel {

/// The installed applications by desktop-file id, as the desktop entries say.
class InstalledApps : public AppCatalog {
public:
    bool isInstalled(const QString& id) const override;
};

} // namespace vantorel
