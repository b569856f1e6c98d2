#pragma once

#include "platform/SystemSettings.h"

#include <QByteArray>

#include <chrono>

namespace vantorel {

/// The settings of the desktops that free software knows.
class DesktopSystemSettings : public SystemSettings {
    Q_OBJECT

public:
    /// How long a settings program is watched for ending with an error right after its start.
    static constexpr std::chrono::milliseconds kPatience{1500};

    /// `id` is this program's desktop-file id, and `program` its path.
    DesktopSystemSettings(QByteArray id, QByteArray program, std::chrono::milliseconds patience = kPatience);

    /// The page of the desktop that runs, else any other page that is installed, else this program is made the default
    /// browser straight away: the first of them that works.
    void openDefaultBrowserSettings() override;

    bool isDefaultBrowser() const override { return m_isDefaultBrowser; }

    /// Asks the desktop again, in the background.
    void refresh();

private:
    QByteArray m_id;
    QByteArray m_program;
    std::chrono::milliseconds m_patience;
    bool m_isDefaultBrowser = false;
};

} // namespace vantorel
