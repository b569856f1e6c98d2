#pragma once

#include "routing/Rule.h"

#include <QIcon>
#include <QWidget>

#include <functional>
#include <optional>

namespace vantorel {

class Switch;

/// One rule of the list, on one line: its switch, its texts, its handle.
///
/// A row shows one rule after another as the list scrolls. It decides nothing: what the user does goes to the actions.
class RuleRow : public QWidget {
    Q_OBJECT

public:
    /// What a row shows besides the rule itself.
    struct Names {
        QString title;
        std::optional<QString> app; ///< absent without a source application
        QString appIcon; ///< as appIcon() takes it; empty for what is not installed
        QString browser;
        QString browserIcon; ///< as appIcon

        friend bool operator==(const Names&, const Names&) = default;
    };
    struct Actions {
        std::function<void()> select;
        std::function<void()> edit;
        std::function<void(bool enabled)> setEnabled;
    };

    explicit RuleRow(QWidget* parent);

    /// Shows another rule, or the same one anew. `isAnother` shows the switch without its movement.
    void display(const Rule& rule, Names names, bool isAnother);
    void setActions(Actions actions, std::function<void()> onDragStarted);

    void setSelected(bool isSelected);
    void setDragging(bool isDragging);
    /// Whether keys act on this row.
    void setFocused(bool isFocused);

    const Rule& rule() const { return m_rule; }
    bool isSelected() const { return m_isSelected; }
    bool isDragging() const { return m_isDragging; }

    /// The same for every row in the font in effect, in logical pixels.
    static int heightFor(const QFont& body);

    /// Where the switch of a row that takes up this place is.
    static QRect switchSlot(const QRect& row, Qt::LayoutDirection direction);

    /// Where the handle is, in the row's coordinates.
    QRect handle() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;

private:
    qreal opacity() const;
    void placeSwitch();
    void paintCaption(QPainter& painter, QRectF area) const;
    void startDrag(const QPoint& position);

    Rule m_rule;
    bool m_isSelected = false;
    bool m_isDragging = false;
    bool m_isFocused = false;
    std::function<void()> m_onDragStarted;
    Names m_names;
    QIcon m_appIcon; // null where there is none, as the next
    QIcon m_browserIcon;
    Actions m_actions;
    Switch* m_switch;
    std::optional<QPoint> m_pressedHandle; // where the button went down on it
};

} // namespace vantorel
