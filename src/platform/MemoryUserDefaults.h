#pragma once

#include "platform/UserDefaults.h"

#include <QHash>
#include <QVariant>

namespace vantorel {

/// A defaults database that lasts as long as the program: for a user without a home.
class MemoryUserDefaults : public UserDefaults {
public:
    std::optional<QByteArray> data(QLatin1String key) const override { return value<QByteArray>(key); }
    std::optional<QString> string(QLatin1String key) const override { return value<QString>(key); }
    std::optional<bool> boolean(QLatin1String key) const override { return value<bool>(key); }

    void setData(QLatin1String key, const QByteArray& value) override { m_values.insert(key, value); }
    void setString(QLatin1String key, const QString& value) override { m_values.insert(key, value); }
    void setBoolean(QLatin1String key, bool value) override { m_values.insert(key, value); }
    void remove(QLatin1String key) override { m_values.remove(key); }
    void write() override { }
    bool keepDamaged(QLatin1String) override { return true; }

protected:
    QHash<QString, QVariant> m_values;

private:
    template <typename Value> std::optional<Value> value(QLatin1String key) const {
        const auto found = m_values.constFind(key);
        if (found == m_values.constEnd() || !found->canConvert<Value>())
            return std::nullopt;
        return found->value<Value>();
    }
};

} // namespace vantorel
