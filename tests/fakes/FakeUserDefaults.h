#pragma once

#include "platform/MemoryUserDefaults.h"

#include <QStringList>

namespace vantorel {

/// A defaults database in memory that writes down what is done to it.
class FakeUserDefaults : public MemoryUserDefaults {
public:
    QStringList log;
    bool canKeepDamaged = true;

    qsizetype writes() const { return log.count(QStringLiteral("write")); }

    void setData(QLatin1String key, const QByteArray& value) override {
        log.append(QStringLiteral("set ") + key);
        MemoryUserDefaults::setData(key, value);
    }
    void setString(QLatin1String key, const QString& value) override {
        log.append(QStringLiteral("set ") + key);
        MemoryUserDefaults::setString(key, value);
    }
    void setBoolean(QLatin1String key, bool value) override {
        log.append(QStringLiteral("set ") + key);
        MemoryUserDefaults::setBoolean(key, value);
    }
    void remove(QLatin1String key) override {
        log.append(QStringLiteral("remove ") + key);
        MemoryUserDefaults::remove(key);
    }
    void write() override { log.append(QStringLiteral("write")); }
    bool keepDamaged(QLatin1String key) override {
        log.append(QStringLiteral("keep ") + key);
        return canKeepDamaged;
    }
};

} // namespace vantorel
