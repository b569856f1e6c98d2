#pragma once

#include "platform/StatusItem.h"
#include "platform/freedesktop/StatusNotifierItem.h"
#include "platform/freedesktop/StatusNotifierMenu.h"
#include "platform/freedesktop/StatusWatcher.h"

#include <QDBusConnection>

#include <memory>

namespace vantorel {

class StatusTray;

/// The icon in whatever bar the desktop has: one on the bus, or else a tray that takes windows. It follows bars that
/// come, go and start anew, and stands in one of the two kinds at a time. Waits for nobody; idle, it does nothing.
///
/// For the program: `DesktopStatusItem(bus, DesktopStatusItem::iconFolder(), std::make_unique<X11TrayIcon>())`.
class DesktopStatusItem : public StatusItem {
    Q_OBJECT

public:
    /// `iconFolder` holds the icon themes with our symbolic icons; `tray` may be absent. The bus must be there as long
    /// as this object.
    DesktopStatusItem(QDBusConnection bus, const QString& iconFolder, std::unique_ptr<StatusTray> tray);
    ~DesktopStatusItem() override;

    /// Where the program's own icons are installed, beside the folder of the program.
    static QString iconFolder();

    void show() override;
    void setImage(const Image& image) override;
    Image image() const override { return m_item.image(); }
    void setMenu(std::function<QList<Entry>()> entries) override;

private:
    void chooseBar();
    void popUpMenu(const std::optional<QPoint>& place);

    QDBusConnection m_bus;
    StatusNotifierMenu m_menu;
    StatusNotifierItem m_item;
    StatusWatcher m_watcher;
    std::unique_ptr<StatusTray> m_tray;
    std::function<QList<Entry>()> m_entries;
};

} // namespace vantorel
