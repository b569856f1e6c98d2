#pragma once

#include "platform/PanelSurface.h"

namespace vantorel {

/// A panel as an ordinary window without a frame. On an X server it stands where it is told, above all others and on
/// every workspace, appears in no list of windows, and never has the focus; elsewhere as much of that as Qt can do.
class WindowPanelSurface : public PanelSurface {
public:
    void adopt(QWidget& panel) override;
    void show(QWidget& panel, const QRect& frame) override;
};

} // namespace vantorel
