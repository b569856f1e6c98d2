#include "platform/freedesktop/RunningInstance.h"

#include "platform/freedesktop/BusNames.h"
#include "routing/Link.h"

#include <QDBusMessage>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <limits>
#include <optional>

namespace vantorel {

namespace {

QVariantMap platformData() {
    QVariantMap data;
    const auto pass = [&data](const QString& key, const char* variable) {
        if (const QString value = qEnvironmentVariable(variable); !value.isEmpty())
            data.insert(key, value);
    };
    pass(kActivationTokenKey, "XDG_ACTIVATION_TOKEN");
    pass(kStartupIDKey, "DESKTOP_STARTUP_ID");
    return data;
}

RunningInstance::Outcome call(const QDBusConnection& bus, const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(kBusName, kObjectPath, kApplicationInterface, method);
    message.setArguments(arguments);
    const QDBusMessage answer = bus.call(message, QDBus::Block, std::numeric_limits<int>::max());
    if (answer.type() == QDBusMessage::ReplyMessage)
        return RunningInstance::Answered{};
    const QString error = answer.errorName();
    // As dbus-daemon and dbus-broker say it.
    const bool cannotBeStarted = error == u"org.freedesktop.DBus.Error.ServiceUnknown"
        || error == u"org.freedesktop.DBus.Error.NameHasNoOwner"
        || error.startsWith(u"org.freedesktop.DBus.Error.Spawn.");
    if (cannotBeStarted)
        return RunningInstance::NotThere{};
    return RunningInstance::Refused{answer.errorMessage()};
}

std::optional<QString> asUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

} // namespace

RunningInstance::Outcome RunningInstance::open(const QDBusConnection& bus, const QStringList& uris) {
    return call(bus, QStringLiteral("Open"), {uris, platformData()});
}

RunningInstance::Outcome RunningInstance::activate(const QDBusConnection& bus) {
    return call(bus, QStringLiteral("Activate"), {platformData()});
}

QStringList linksOfArguments(const QByteArrayList& arguments, const QByteArray& folder) {
    QStringList uris;
    for (const QByteArray& argument : arguments) {
        if (const auto link = Link::parse(argument)) {
            uris.append(asUtf8(argument).value_or(link->absoluteString()));
            continue;
        }
        const QByteArray path = argument.startsWith('/') ? argument : folder + '/' + argument;
        if (!argument.isEmpty() && (argument.startsWith('/') || QFileInfo::exists(QFile::decodeName(path))))
            uris.append(asUtf8(path).value_or(Link::fromLocalFile(path).absoluteString()));
    }
    return uris;
}

} // namespace vantorel
