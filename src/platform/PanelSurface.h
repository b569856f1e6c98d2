#pragma once

#include <QRect>

class QWidget;

namespace vantorel {

/// How a small window comes to stand where the program wants it: above all others, on every workspace, without taking
/// the focus from the application that has it. Main thread only.
class PanelSurface {
public:
    virtual ~PanelSurface() = default;

    /// Called once, before the panel is shown for the first time.
    virtual void adopt(QWidget& panel) = 0;

    /// Shows the panel with that frame, in logical pixels of the whole desktop. A desktop that lets no program choose
    /// a place takes the size alone.
    virtual void show(QWidget& panel, const QRect& frame) = 0;
};

} // namespace vantorel
