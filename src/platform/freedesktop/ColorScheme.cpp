#include "platform/freedesktop/ColorScheme.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QTimer>

#include <utility>

namespace vantorel {

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kGroup = QStringLiteral("org.freedesktop.appearance");

QDBusMessage question() {
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("ReadAll"));
    message.setArguments({QStringList{kGroup}});
    return message;
}

// A part out of range says that the user has chosen none.
std::optional<QColor> colorOf(const QVariant& value) {
    if (value.userType() != qMetaTypeId<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != u"(ddd)")
        return std::nullopt;
    double parts[3] = {};
    argument.beginStructure();
    argument >> parts[0] >> parts[1] >> parts[2];
    argument.endStructure();
    for (const double part : parts) {
        if (!(part >= 0 && part <= 1))
            return std::nullopt;
    }
    return QColor::fromRgbF(static_cast<float>(parts[0]), static_cast<float>(parts[1]), static_cast<float>(parts[2]));
}

// Longer than a first show takes, and short for the eye.
constexpr std::chrono::milliseconds kFirstShow{100};

} // namespace

ColorScheme::ColorScheme(QDBusConnection bus) : m_bus(std::move(bus)) { }

void ColorScheme::start(std::chrono::milliseconds patience) {
    // Qt knows the slot's types by their names alone, and drops the signal when nobody has used this one before.
    qRegisterMetaType<QDBusVariant>();
    m_bus.connect(kService, kPath, kInterface, QStringLiteral("SettingChanged"), this,
                  SLOT(onSettingChanged(QString, QString, QDBusVariant)));
    // A portal that runs answers at once. One that does not is started, but only when the window is there: its start
    // would take the processor away from the first show.
    QDBusMessage message = question();
    message.setAutoStartService(false);
    const QDBusMessage answer = m_bus.call(message, QDBus::Block, static_cast<int>(patience.count()));
    take(answer);
    if (answer.type() == QDBusMessage::ErrorMessage)
        QTimer::singleShot(kFirstShow, this, &ColorScheme::ask);
}

void ColorScheme::ask() {
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question()), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        if (take(watcher->reply()))
            Q_EMIT changed();
        watcher->deleteLater();
    });
}

void ColorScheme::onSettingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group == kGroup && take(key, value.variant()))
        Q_EMIT changed();
}

// True when something is different now.
bool ColorScheme::take(const QDBusMessage& answer) {
    if (answer.type() != QDBusMessage::ReplyMessage || answer.signature() != u"a{sa{sv}}")
        return false;
    const auto groups = qdbus_cast<QMap<QString, QVariantMap>>(answer.arguments().constFirst());
    const QVariantMap values = groups.value(kGroup);
    bool isDifferent = false;
    for (auto value = values.begin(); value != values.end(); ++value)
        isDifferent = take(value.key(), value.value()) || isDifferent;
    return isDifferent;
}

bool ColorScheme::take(const QString& key, const QVariant& value) {
    if (key == u"color-scheme") {
        const uint number = value.toUInt();
        const auto preference = number == 1 ? Preference::dark : number == 2 ? Preference::light : Preference::none;
        return std::exchange(m_preference, preference) != preference;
    }
    if (key == u"accent-color") {
        const auto accent = colorOf(value);
        return std::exchange(m_accent, accent) != accent;
    }
    return false;
}

} // namespace vantorel
