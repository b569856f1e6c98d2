#pragma once

#include "platform/MemoryUserDefaults.h"

namespace vantorel {

/// The defaults database as one INI file, read once and written through QSettings. Its keys begin with
/// "com.qorbex.Vantorel.".
///
/// A write goes to a new file, which takes the old one's place once it has been read back and holds everything: a kill
/// or a full disk leaves one of the two whole. The new file is made in a folder beside the old one (its name with
/// ".new" added), which each write removes, whatever it holds. What is there but is no file, or cannot be read, is
/// neither opened nor replaced; a file that has come or become readable only since the start is copied as a damaged one
/// is, before it is replaced.
class IniUserDefaults : public MemoryUserDefaults {
public:
    explicit IniUserDefaults(const QString& file);

    /// $XDG_CONFIG_HOME/com.qorbex.Vantorel.ini, with $HOME/.config for an unset XDG_CONFIG_HOME. Absent when neither
    /// is an absolute path.
    static std::optional<QString> userFile();

    /// Why values cannot be stored, in words for a person; absent when nothing speaks against it. Makes the file's
    /// folder where it is missing.
    std::optional<QString> problem() const;

    void remove(QLatin1String key) override;
    void write() override;

    /// Copies the bytes of the value to the file's name with ".damaged" added; the whole file where the value has no
    /// bytes of its own because the INI form around it is damaged.
    bool keepDamaged(QLatin1String key) override;

private:
    bool isUnreadable() const;
    bool writeTo(const QString& file) const;
    bool keep(const QByteArray& bytes) const;

    QString m_file;
    bool m_isKnown = false; ///< what the file has was read or written here, or copied
    bool m_formIsDamaged = false;
    QStringList m_removed;
};

} // namespace vantorel
