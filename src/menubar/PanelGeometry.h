#pragma once

#include "platform/StatusItem.h"

#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>

namespace vantorel {

/// How large the panel is, and where it stands: in logical pixels of the whole desktop, which grow downward.
namespace PanelGeometry {

/// Between the icon and the panel.
inline constexpr int kGap = 6;

struct Screen {
    QRect geometry;
    QRect available; ///< without the bars that keep windows off, as far as they tell
};

/// That of content of this size; never smaller than 290 by 180.
QSize panelSize(const QSize& fitting);

/// The top left corner of a panel that hangs centred under the icon; beside or above it where the bar is at another
/// edge of its screen. Without an icon's place it is the click's, at the edge of its bar; without either the middle of
/// the screen with the pointer. Always within the available part of that screen; of a panel that is larger the
/// top left corner is. `screens` begins with the primary one.
QPoint panelOrigin(const QSize& panel, const StatusItem::Place& place, const QList<Screen>& screens,
                   const std::optional<QPoint>& pointer);

} // namespace PanelGeometry

} // namespace vantorel
