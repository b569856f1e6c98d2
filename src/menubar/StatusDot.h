#pragma once

#include "controls/Theme.h"

#include <QWidget>

namespace vantorel {

/// Whether any rule is active: a green dot, or an orange one when none is. Says so to the pointer and to assistive
/// technology.
class StatusDot : public QWidget {
    Q_OBJECT

public:
    explicit StatusDot(QWidget* parent);

    void setActive(bool isActive);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    theme::Tone m_tone = theme::Tone::orange;
};

} // namespace vantorel
