#pragma once

#include <QPointer>
#include <QWidget>

class QScrollArea;

namespace vantorel {

/// A dialogue that hangs from the top of its window and covers the rest of it until it is closed.
///
/// The keyboard focus stays within. It is closed by its content alone: neither Escape nor a press beside it does.
class Sheet : public QWidget {
    Q_OBJECT

public:
    /// Covers `host` and takes over the content. Shown at once.
    Sheet(QWidget* content, QWidget* host);

    /// Hides the sheet, gives the focus back to where it was, and deletes the sheet with its content later.
    void dismiss();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void cover();

    QWidget* m_host;
    QScrollArea* m_card;
    QPointer<QWidget> m_formerFocus;
};

} // namespace vantorel
