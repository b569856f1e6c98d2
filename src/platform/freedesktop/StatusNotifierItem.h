#pragma once

#include "platform/StatusItem.h"
#include "platform/freedesktop/StatusTypes.h"

#include <QDBusObjectPath>

namespace vantorel {

/// Our icon as bars on the session bus see it: org.kde.StatusNotifierItem. Calls with other arguments than these are
/// answered with an error by the bus library. Main thread only.
class StatusNotifierItem : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category CONSTANT)
    Q_PROPERTY(QString Id READ id CONSTANT)
    Q_PROPERTY(QString Title READ title CONSTANT)
    Q_PROPERTY(QString Status READ status CONSTANT)
    Q_PROPERTY(int WindowId READ windowID CONSTANT)
    Q_PROPERTY(QString IconThemePath READ iconThemePath CONSTANT)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(QList<vantorel::StatusPixmap> IconPixmap READ iconPixmap)
    Q_PROPERTY(QString IconAccessibleDesc READ iconAccessibleDesc)
    Q_PROPERTY(QString OverlayIconName READ nothing CONSTANT)
    Q_PROPERTY(QList<vantorel::StatusPixmap> OverlayIconPixmap READ noPixmap CONSTANT)
    Q_PROPERTY(QString AttentionIconName READ nothing CONSTANT)
    Q_PROPERTY(QList<vantorel::StatusPixmap> AttentionIconPixmap READ noPixmap CONSTANT)
    Q_PROPERTY(QString AttentionMovieName READ nothing CONSTANT)
    Q_PROPERTY(vantorel::StatusToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ isMenu CONSTANT)
    Q_PROPERTY(QDBusObjectPath Menu READ menu CONSTANT)

public:
    /// `iconFolder` holds the icon themes that this program brings; `menuPath` is where its menu is on the bus.
    StatusNotifierItem(QString iconFolder, QString menuPath);

    void setImage(const StatusItem::Image& image);
    const StatusItem::Image& image() const { return m_image; }

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(int x, int y);
    Q_SCRIPTABLE void SecondaryActivate(int x, int y);
    Q_SCRIPTABLE void ContextMenu(int x, int y);
    Q_SCRIPTABLE void Scroll(int delta, const QString& orientation);

Q_SIGNALS:
    Q_SCRIPTABLE void NewIcon();
    Q_SCRIPTABLE void NewTitle();
    Q_SCRIPTABLE void NewStatus(const QString& status);
    Q_SCRIPTABLE void NewToolTip();

    // Never from within the call, so that the bar has its answer first. The place as the bar gave it.
    void clicked(const QPoint& place);
    void menuWanted(const QPoint& place);

private:
    QString category() const;
    QString id() const;
    QString title() const;
    QString status() const;
    int windowID() const { return 0; }
    QString iconThemePath() const { return m_iconFolder; }
    QString iconName() const { return m_image.symbol; }
    QList<StatusPixmap> iconPixmap() const;
    QString iconAccessibleDesc() const { return m_image.description; }
    QString nothing() const { return {}; }
    QList<StatusPixmap> noPixmap() const { return {}; }
    StatusToolTip toolTip() const;
    bool isMenu() const { return false; }
    QDBusObjectPath menu() const { return QDBusObjectPath(m_menuPath); }

    QString m_iconFolder;
    QString m_menuPath;
    StatusItem::Image m_image;
};

} // namespace vantorel
