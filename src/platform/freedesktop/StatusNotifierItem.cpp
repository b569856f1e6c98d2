#include "platform/freedesktop/StatusNotifierItem.h"

#include "platform/freedesktop/BusNames.h"
#include "platform/freedesktop/StatusSymbol.h"

#include <utility>

namespace vantorel {

namespace {

// The name of the program is the same in all languages.
const QString kTitle = QStringLiteral("Vantorel");

StatusPixmap pixmapOf(const StatusSymbol& symbol, const QColor& color) {
    const qsizetype count = qsizetype(symbol.size) * symbol.size;
    StatusPixmap pixmap{symbol.size, symbol.size, QByteArray(count * 4, Qt::Uninitialized)};
    char* byte = pixmap.data.data();
    for (qsizetype i = 0; i < count; ++i) {
        for (const int part : {int(symbol.coverage[i]), color.red(), color.green(), color.blue()})
            *byte++ = static_cast<char>(part);
    }
    return pixmap;
}

} // namespace

StatusNotifierItem::StatusNotifierItem(QString iconFolder, QString menuPath)
    : m_iconFolder(std::move(iconFolder))
    , m_menuPath(std::move(menuPath)) { }

void StatusNotifierItem::setImage(const StatusItem::Image& image) {
    if (image == m_image)
        return;
    m_image = image;
    Q_EMIT NewIcon();
    Q_EMIT NewToolTip();
}

QString StatusNotifierItem::category() const {
    return QStringLiteral("ApplicationStatus");
}

QString StatusNotifierItem::id() const {
    return kBusName;
}

QString StatusNotifierItem::title() const {
    return kTitle;
}

QString StatusNotifierItem::status() const {
    return QStringLiteral("Active");
}

QList<StatusPixmap> StatusNotifierItem::iconPixmap() const {
    const QColor color = statusSymbolColor();
    QList<StatusPixmap> pixmaps;
    for (const StatusSymbol& symbol : statusSymbols(m_image.symbol))
        pixmaps.append(pixmapOf(symbol, color));
    return pixmaps;
}

StatusToolTip StatusNotifierItem::toolTip() const {
    return {.iconName = {},
            .iconPixmap = {},
            .title = kTitle,
            .text = m_image.description == kTitle ? QString() : m_image.description};
}

void StatusNotifierItem::Activate(int x, int y) {
    QMetaObject::invokeMethod(
        this, [this, x, y] { Q_EMIT clicked(QPoint(x, y)); }, Qt::QueuedConnection);
}

// There is nothing else that a click could mean.
void StatusNotifierItem::SecondaryActivate(int x, int y) {
    Activate(x, y);
}

void StatusNotifierItem::ContextMenu(int x, int y) {
    QMetaObject::invokeMethod(
        this, [this, x, y] { Q_EMIT menuWanted(QPoint(x, y)); }, Qt::QueuedConnection);
}

void StatusNotifierItem::Scroll(int, const QString&) { }

} // namespace vantorel
