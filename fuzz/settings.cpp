// The settings file, from any bytes: what is stored into it is there afterwards, and nothing that was there is lost.

#include "Fuzz.h"

#include "Folder.h"
#include "Text.h"
#include "platform/freedesktop/IniUserDefaults.h"

#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSettings>

using namespace vantorel;

namespace {

constexpr QLatin1String kRules("com.qorbex.Vantorel.rules.v2");
constexpr QLatin1String kFallback("com.qorbex.Vantorel.fallback");
constexpr QLatin1String kDebugMode("com.qorbex.Vantorel.debugMode");

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The values that are not the program's own, and whether the form is damaged.
std::pair<QHash<QString, QByteArray>, bool> read(const QString& file) {
    static const QRegularExpression kName(QStringLiteral("^(?!(?i)general)[A-Za-z0-9_.]+(/[A-Za-z0-9_.]+)?$"));
    QHash<QString, QByteArray> foreign;
    const QSettings settings(file, QSettings::IniFormat);
    for (const QString& key : settings.allKeys()) {
        const QVariant value = settings.value(key);
        // QSettings reads odder names than it can write, and texts with one half of a surrogate pair.
        if (kName.match(key).hasMatch() && value.toString().isValidUtf16() && key != kRules && key != kFallback
            && key != kDebugMode)
            foreign.insert(key, value.toByteArray());
    }
    return {foreign, settings.status() == QSettings::FormatError};
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::Folder folder;
    static int count = 0; // a name for each, because QSettings remembers what it has read under a name
    const std::string name = std::to_string(++count) + ".ini";
    const auto bytes = fuzz::bytes(data, size);
    folder.write(name, bytes);
    const QString path = QString::fromStdString(folder.path(name));

    const QString fallback = fuzz::fromUtf8(fuzz::array(bytes.substr(size / 2)));
    // Looked at under other names, for the same reason.
    folder.write(name + ".before", bytes);
    const auto [foreign, isDamaged] = read(path + QStringLiteral(".before"));
    {
        IniUserDefaults defaults(path);
        const auto stored = defaults.data(kRules);
        defaults.string(kFallback);
        defaults.boolean(kDebugMode);
        CHECK(defaults.keepDamaged(kRules));
        CHECK(!stored || !isDamaged || contents(path + QStringLiteral(".damaged")) == *stored
              || contents(path + QStringLiteral(".damaged")) == fuzz::array(bytes));
        defaults.setData(kRules, fuzz::array(bytes));
        defaults.setString(kFallback, fallback);
        defaults.setBoolean(kDebugMode, size % 2 == 1);
        defaults.write();
    }
    const IniUserDefaults again(path);
    CHECK(again.data(kRules) == fuzz::array(bytes));
    CHECK(again.string(kFallback) == fallback);
    CHECK(again.boolean(kDebugMode) == (size % 2 == 1));
    CHECK(QFile::copy(path, path + QStringLiteral(".after")));
    const auto after = read(path + QStringLiteral(".after")).first;
    for (auto value = foreign.cbegin(); value != foreign.cend(); ++value)
        CHECK(after.contains(value.key()) && after.value(value.key()) == value.value());
    CHECK(!isDamaged || contents(path + QStringLiteral(".damaged")) == fuzz::array(bytes));

    for (const char* suffix : {"", ".before", ".after", ".damaged"})
        QFile::remove(path + QLatin1String(suffix));
    CHECK(!QFile::exists(path + QStringLiteral(".new")));
    return 0;
}
