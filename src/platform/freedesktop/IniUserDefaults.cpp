#include "platform/freedesktop/IniUserDefaults.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

#include <cstdio>

#include <unistd.h>

namespace vantorel {

namespace {

constexpr QLatin1String kFileName("com.qorbex.Vantorel.ini");
constexpr QLatin1String kOwnKeys("com.qorbex.Vantorel.");

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Puts a file in the place of another one of the same folder, once it is on the disk.
bool takePlace(const QString& fresh, const QString& file) {
    QFile written(fresh);
    if (!written.open(QIODevice::ReadWrite) || fsync(written.handle()) != 0)
        return false;
    return std::rename(QFile::encodeName(fresh).constData(), QFile::encodeName(file).constData()) == 0;
}

} // namespace

IniUserDefaults::IniUserDefaults(const QString& file) : m_file(file) {
    if (isUnreadable())
        return;
    const QSettings settings(file, QSettings::IniFormat);
    // The others stay in the file as they are: not all that can be read there can be written again.
    // The same of our keys is a text with half of a surrogate pair.
    for (const QString& key : settings.childKeys()) {
        const QVariant value = settings.value(key);
        if (key.startsWith(kOwnKeys) && value.toString().isValidUtf16())
            m_values.insert(key, value);
    }
    m_isKnown = QFileInfo::exists(file);
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

// Opening what is no file could wait for ever.
bool IniUserDefaults::isUnreadable() const {
    const QFileInfo file(m_file);
    return file.exists() && (!file.isFile() || !QFile(m_file).open(QIODevice::ReadOnly));
}

void IniUserDefaults::remove(QLatin1String key) {
    MemoryUserDefaults::remove(key);
    m_removed.append(key);
}

void IniUserDefaults::write() {
    if (isUnreadable())
        return;
    // Nothing of what somebody else has put there, or has made readable since the start, is in our values.
    const bool isStrange = !m_isKnown && QFileInfo::exists(m_file);
    if ((m_formIsDamaged || isStrange) && !keep(contents(m_file)))
        return;
    m_formIsDamaged = false;
    m_isKnown = true;
    // Behind a symbolic link, and in that folder: no file can be renamed to another file system.
    const QString target = QFileInfo::exists(m_file) ? QFileInfo(m_file).canonicalFilePath() : m_file;
    // QFile and QSettings write under names made at random: in a folder of their own, for a kill leaves them behind.
    const QString folder = target + QStringLiteral(".new");
    QFile::remove(folder);
    QDir(folder).removeRecursively();
    const QString fresh = folder + u'/' + kFileName;
    if (QDir().mkdir(folder) && writeTo(fresh) && takePlace(fresh, target))
        m_removed.clear();
    QDir(folder).removeRecursively();
}

// QSettings reports neither a short write nor a failed flush, so that only the file itself tells whether it is whole.
// It is read under another name, because QSettings remembers what it wrote under this one.
bool IniUserDefaults::writeTo(const QString& file) const {
    if (QFile::exists(m_file) && !QFile::copy(m_file, file)) // for the keys that are not ours
        return false;
    {
        QSettings settings(file, QSettings::IniFormat);
        for (const QString& key : m_removed)
            settings.remove(key);
        for (auto value = m_values.cbegin(); value != m_values.cend(); ++value)
            settings.setValue(value.key(), value.value());
    }
    const QString check = file + QStringLiteral(".check");
    if (!QFile::rename(file, check))
        return false;
    const QSettings settings(check, QSettings::IniFormat);
    bool isWhole = settings.status() == QSettings::NoError;
    for (auto value = m_values.cbegin(); value != m_values.cend(); ++value)
        isWhole = isWhole && settings.value(value.key()).toByteArray() == value->toByteArray();
    return QFile::rename(check, file) && isWhole;
}

bool IniUserDefaults::keepDamaged(QLatin1String key) {
    const QVariant value = m_values.value(key);
    const bool hasBytes = value.typeId() == QMetaType::QByteArray
        || (value.typeId() == QMetaType::QString && !value.toString().startsWith(QStringLiteral("@ByteArray(")));
    return keep(hasBytes ? value.toByteArray() : contents(m_file));
}

bool IniUserDefaults::keep(const QByteArray& bytes) const {
    const QString kept = m_file + QStringLiteral(".damaged");
    const QString fresh = kept + QStringLiteral(".new");
    QFile file(fresh);
    const bool isWhole = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush();
    file.close();
    if (isWhole && contents(fresh) == bytes && takePlace(fresh, kept))
        return true;
    QFile::remove(fresh);
    return false;
}

} // namespace vantorel
