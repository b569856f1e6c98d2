#pragma once

#include <QList>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QString>

#include <functional>
#include <optional>

namespace vantorel {

/// The program's icon in the desktop's bar. Main thread only.
class StatusItem : public QObject {
    Q_OBJECT

public:
    /// What the icon shows.
    struct Image {
        QString symbol; ///< the name of a symbolic icon: its shape alone counts, the bar gives the colour
        QString description; ///< what it says to those who do not see it

        bool operator==(const Image&) const = default;
    };

    /// A line of the menu that desktops offer at the icon.
    struct Entry {
        QString title;
        std::function<void()> action;
    };

    /// Where the icon is, as far as it is known; in logical pixels of the whole desktop.
    struct Place {
        std::optional<QRect> icon;
        std::optional<QPoint> click; ///< where it was clicked last
    };

    /// Takes the item's place in the bar: now, whenever a bar comes later, and again in each that follows one that has
    /// gone. Called once, with an image set. Returns at once.
    virtual void show() = 0;

    virtual void setImage(const Image& image) = 0;
    virtual Image image() const = 0;

    /// `entries` is asked whenever a desktop wants the menu, and not before.
    virtual void setMenu(std::function<QList<Entry>()> entries) = 0;

Q_SIGNALS:
    /// The user clicked the icon.
    void clicked(const vantorel::StatusItem::Place& place);
};

} // namespace vantorel
