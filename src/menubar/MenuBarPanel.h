#pragma once

#include <QSize>
#include <QWidget>

namespace vantorel {

/// The small window under the icon: opaque, with a thin outline, and as large as its content wants to be, which is
/// whoever shows it to see to. Escape closes it. Owns its content.
class MenuBarPanel : public QWidget {
    Q_OBJECT

public:
    MenuBarPanel();

    /// Takes the place of the content before, which goes when control returns to the event loop.
    void setContent(QWidget* content);

    /// The size that the content wants at this moment.
    QSize fittingSize() const;

Q_SIGNALS:
    /// The content, shown, may want another size.
    void fittingSizeChanged();
    void hidden();

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void layOut();

    QWidget* m_content = nullptr;
    QWidget* m_outline; // above the content
};

} // namespace vantorel
