#include "platform/freedesktop/DesktopStatusItem.h"

#include "platform/freedesktop/StatusPlace.h"
#include "platform/freedesktop/StatusTray.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QGuiApplication>
#include <QMenu>

#include <utility>

namespace vantorel {

namespace {

const QString kItemPath = QStringLiteral("/StatusNotifierItem");
const QString kMenuPath = QStringLiteral("/StatusNotifierItem/Menu");

// Bars that do not know where they are say this.
constexpr QPoint kUnknownPlace(0, 0);

bool isOnXServer() {
    return QGuiApplication::platformName() == u"xcb";
}

std::optional<QPoint> placeFromBar(const QPoint& place) {
    if (place == kUnknownPlace)
        return std::nullopt;
    return isOnXServer() ? clickedPoint(place, QCursor::pos(), statusScreens()) : logicalPoint(place, statusScreens());
}

} // namespace

DesktopStatusItem::DesktopStatusItem(QDBusConnection bus, const QString& iconFolder, std::unique_ptr<StatusTray> tray)
    : m_bus(std::move(bus))
    , m_item(iconFolder, kMenuPath)
    , m_watcher(m_bus, kItemPath)
    , m_tray(std::move(tray)) {
    connect(&m_watcher, &StatusWatcher::hostsChanged, this, &DesktopStatusItem::chooseBar);
    connect(&m_item, &StatusNotifierItem::clicked, this,
            [this](const QPoint& place) { Q_EMIT clicked({.icon = std::nullopt, .click = placeFromBar(place)}); });
    connect(&m_item, &StatusNotifierItem::menuWanted, this,
            [this](const QPoint& place) { popUpMenu(placeFromBar(place)); });
    if (!m_tray)
        return;
    m_tray->start({.clicked = [this](const Place& place) { Q_EMIT clicked(place); },
                   .menuWanted = [this](const QPoint& place) { popUpMenu(place); }});
}

DesktopStatusItem::~DesktopStatusItem() {
    m_bus.unregisterObject(kMenuPath);
    m_bus.unregisterObject(kItemPath);
}

QString DesktopStatusItem::iconFolder() {
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/icons"));
}

// The objects are there before anybody is told of them.
void DesktopStatusItem::show() {
    registerStatusTypes();
    constexpr auto kContents = QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableSignals
        | QDBusConnection::ExportScriptableProperties;
    m_bus.registerObject(kMenuPath, &m_menu, kContents);
    m_bus.registerObject(kItemPath, &m_item, kContents);
    m_watcher.start();
}

void DesktopStatusItem::setImage(const Image& image) {
    m_item.setImage(image);
    if (m_tray)
        m_tray->setImage(image);
}

void DesktopStatusItem::setMenu(std::function<QList<Entry>()> entries) {
    m_entries = std::move(entries);
    m_menu.setEntries(m_entries);
}

// Not called before the first watcher has answered, so that no icon moves at the start.
void DesktopStatusItem::chooseBar() {
    if (!m_tray)
        return;
    if (m_watcher.hosts() == StatusWatcher::Hosts::none)
        m_tray->show();
    else
        m_tray->hide();
}

// For bars that leave it to us. Only an X server lets a menu stand alone.
void DesktopStatusItem::popUpMenu(const std::optional<QPoint>& place) {
    if (!m_entries || !isOnXServer())
        return;
    auto* const menu = new QMenu;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const Entry& entry : m_entries()) {
        QString title = entry.title;
        connect(menu->addAction(title.replace(u'&', QStringLiteral("&&"))), &QAction::triggered, this, entry.action);
    }
    menu->popup(place.value_or(QCursor::pos()));
}

} // namespace vantorel
