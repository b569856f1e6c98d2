#pragma once

#include <QCheckBox>

class QVariantAnimation;

namespace vantorel {

/// A check box that looks like a switch, with its text before it.
class Switch : public QCheckBox {
    Q_OBJECT

public:
    /// `scale` is the size of the switch itself; 1 is 38 by 22 logical pixels.
    explicit Switch(const QString& text = {}, qreal scale = 1, QWidget* parent = nullptr);

    /// Sets the state without the knob's way there: for a switch that stands for another thing from now on.
    void setCheckedAtOnce(bool checked);

    /// How opaque it is drawn, for a switch within something that is dimmed as a whole.
    void setOpacity(qreal opacity);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    void glide(bool checked);
    QSizeF trackSize() const;

    qreal m_scale;
    qreal m_opacity = 1;
    qreal m_place; // of the knob: 0 is off, 1 is on
    QVariantAnimation* m_animation = nullptr; // made when it is first needed
};

} // namespace vantorel
