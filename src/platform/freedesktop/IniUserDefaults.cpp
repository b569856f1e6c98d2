#include "platform/freedesktop/IniUserDefaults.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>

namespace vantorel {

namespace {

constexpr QLatin1String kFileName("com.qorbex.Vantorel.ini");

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

IniUserDefaults::IniUserDefaults(const QString& file) : m_file(file) {
    const QSettings settings(file, QSettings::IniFormat);
    for (const QString& key : settings.allKeys())
        m_values.insert(key, settings.value(key));
    m_formIsDamaged = settings.status() == QSettings::FormatError;
}

std::optional<QString> IniUserDefaults::userFile() {
    const QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (QDir::isAbsolutePath(config))
        return config + u'/' + kFileName;
    const QString home = qEnvironmentVariable("HOME");
    if (QDir::isAbsolutePath(home))
        return home + QStringLiteral("/.config/") + kFileName;
    return std::nullopt;
}

std::optional<QString> IniUserDefaults::problem() const {
    const QFileInfo file(m_file);
    if (file.exists() && !file.isFile())
        return m_file + QStringLiteral(" is not a file");
    if (isUnreadable())
        return m_file + QStringLiteral(" cannot be read");
    const QString folder = file.path();
    if (!QDir().mkpath(folder))
        return folder + QStringLiteral(" cannot be made");
    if (!QFileInfo(folder).isWritable())
        return folder + QStringLiteral(" cannot be written to");
    return std::nullopt;
}

bool IniUserDefaults::isUnreadable() const {
    return QFileInfo::exists(m_file) && !QFile(m_file).open(QIODevice::ReadOnly);
}

void IniUserDefaults::remove(QLatin1String key) {
    MemoryUserDefaults::remove(key);
    m_removed.append(key);
}

// QSettings puts the new file in the old one's place by renaming, and keeps keys of the file that it was not given.
void IniUserDefaults::write() {
    if (isUnreadable())
        return;
    if (m_formIsDamaged) {
        keep(contents(m_file));
        m_formIsDamaged = false;
    }
    QSettings settings(m_file, QSettings::IniFormat);
    for (const QString& key : std::as_const(m_removed))
        settings.remove(key);
    for (auto value = m_values.cbegin(); value != m_values.cend(); ++value)
        settings.setValue(value.key(), value.value());
    settings.sync();
    if (settings.status() == QSettings::NoError)
        m_removed.clear();
}

void IniUserDefaults::keepDamaged(QLatin1String key) {
    const int type = m_values.value(key).typeId();
    keep(type == QMetaType::QByteArray || type == QMetaType::QString ? *data(key) : contents(m_file));
}

void IniUserDefaults::keep(const QByteArray& bytes) const {
    QSaveFile file(m_file + QStringLiteral(".damaged"));
    if (file.open(QIODevice::WriteOnly)) {
        file.write(bytes);
        file.commit();
    }
}

} // namespace vantorel
