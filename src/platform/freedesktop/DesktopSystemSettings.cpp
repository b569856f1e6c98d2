#include "platform/freedesktop/DesktopSystemSettings.h"

#include "discovery/BackgroundScan.h"
#include "platform/freedesktop/DefaultBrowser.h"
#include "platform/freedesktop/DesktopEntry.h"
#include "platform/freedesktop/DetachedProgram.h"
#include "platform/freedesktop/SettingsPages.h"

#include <utility>

namespace vantorel {

DesktopSystemSettings::DesktopSystemSettings(QByteArray id, QByteArray program, std::chrono::milliseconds patience)
    : m_id(std::move(id))
    , m_program(std::move(program))
    , m_patience(patience) {
    refresh();
}

void DesktopSystemSettings::openDefaultBrowserSettings() {
    const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP");
    const auto pages = settingsPages(
        desktop, [](const QByteArray& program) { return findProgram(program.toStdString()).has_value(); });
    QList<Attempt> attempts;
    for (const QByteArrayList& page : pages) {
        attempts.append(
            [this, page](std::function<void(bool)> tell) { startDetached(this, page, m_patience, std::move(tell)); });
    }
    attempts.append([this, desktop](const std::function<void(bool)>& tell) {
        tell(DefaultBrowser::setApplication(m_id, m_program, desktop));
        refresh();
    });
    tryInOrder(std::move(attempts));
}

void DesktopSystemSettings::refresh() {
    scanInBackground(
        this, [id = m_id, program = m_program] { return DefaultBrowser::isApplication(id, program); },
        [this](bool isDefaultBrowser) {
            if (std::exchange(m_isDefaultBrowser, isDefaultBrowser) != isDefaultBrowser)
                Q_EMIT defaultBrowserChanged();
        });
}

} // namespace vantorel
