#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>

#include <optional>

namespace vantorel {

/// The user's defaults database: one flat space of keys that keeps data, texts and switches over restarts.
///
/// Main thread only. A value that is stored in another type reads as absent where it cannot be converted.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    virtual std::optional<QByteArray> data(QLatin1String key) const = 0;
    virtual std::optional<QString> string(QLatin1String key) const = 0;
    virtual std::optional<bool> boolean(QLatin1String key) const = 0;

    virtual void setData(QLatin1String key, const QByteArray& value) = 0;
    virtual void setString(QLatin1String key, const QString& value) = 0;
    virtual void setBoolean(QLatin1String key, bool value) = 0;
    virtual void remove(QLatin1String key) = 0;

    /// Writes what was set and removed since the last write. A write that fails leaves what was stored whole and is
    /// made up for by the next one; the values in memory hold meanwhile.
    virtual void write() = 0;

    /// Puts what is stored under the key aside, where a person can find it, replacing what was put aside before. False
    /// when that failed, and what was put aside before is still there.
    virtual bool keepDamaged(QLatin1String key) = 0;
};

} // namespace vantorel
