#pragma once

#include <QColor>
#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>

#include <chrono>
#include <optional>

namespace vantorel {

/// The user's wish for dark or light windows, as the desktop portal tells it to all applications. Main thread only.
class ColorScheme : public QObject {
    Q_OBJECT

public:
    enum class Preference { none, dark, light };

    explicit ColorScheme(QDBusConnection bus);

    /// Asks the portal and follows it from now on. Waits for the answer of one that runs, but no longer than
    /// `patience`; what comes later is a change.
    void start(std::chrono::milliseconds patience);

    /// Neither is known where there is no portal.
    Preference preference() const { return m_preference; }
    std::optional<QColor> accent() const { return m_accent; }

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void onSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void ask();
    bool take(const QDBusMessage& answer);
    bool take(const QString& key, const QVariant& value);

    QDBusConnection m_bus;
    Preference m_preference = Preference::none;
    std::optional<QColor> m_accent;
};

} // namespace vantorel
