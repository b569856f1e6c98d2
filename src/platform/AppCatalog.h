#pragma once

#include <QString>

namespace vantorel {

/// The applications that are installed, by application id. Any thread.
class AppCatalog {
public:
    virtual ~AppCatalog() = default;

    /// Whether an application with exactly this id is there and can be started. Asked anew at each call.
    virtual bool isInstalled(const QString& id) const = 0;
};

} // namespace vantorel
