#pragma once

#include "platform/StatusItem.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPoint>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class QWidget;
class QWindow;

namespace vantorel {

class ClickMonitor;
class MenuBarPanel;
class PanelSurface;

/// The program's visible presence: an icon in the desktop's bar, a small panel under it, and the settings window. No
/// window is made before it is asked for. Main thread only; must not outlive the application object.
class MenuBarManager : public QObject {
    Q_OBJECT

public:
    /// The settings window alone needs the two functions that have no default.
    struct Collaborators {
        /// Null where there can be no icon.
        std::function<std::unique_ptr<StatusItem>()> makeStatusItem = {};
        /// Null where the desktop does not tell of presses elsewhere. May be the same object as the panel's surface.
        std::function<std::shared_ptr<ClickMonitor>()> makeEventMonitor = {};
        /// Called when the panel is opened for the first time.
        std::function<std::shared_ptr<PanelSurface>()> makePanelSurface = {};
        /// What the panel shows, made anew for each opening. `openSettings` may be called while it lives.
        std::function<QWidget*(std::function<void()> openSettings)> makeMenuBarView = {};
        /// What the settings window shows; called once at most.
        std::function<QWidget*()> makeSettingsView;
        /// Gives a visible window the focus, as the desktop wants it to be done for a user's own click.
        std::function<void(QWindow& window)> bringToFront;
        /// Called before a text is shown outside the windows; the first time it may load a translation.
        std::function<void()> prepareTexts = {};
        std::function<void()> quit = {};
    };

    explicit MenuBarManager(Collaborators collaborators);
    ~MenuBarManager() override;

    /// Puts the icon into the bar. Called once; without it there are the settings alone.
    void setup();

    /// No press elsewhere is listened to any more.
    void teardown();

    /// Opens the panel, or closes it where it is open; as a click on the icon does.
    void togglePopover(const StatusItem::Place& place);

    /// Closes the panel, shows the one settings window and brings it to the front. Closing it only hides it: the next
    /// time it is there again with the place and the size that it had.
    void openSettings();

    /// A link was opened nowhere: the icon becomes a warning for three seconds. May be called within anything.
    void handleNoFallback();

private:
    // A press elsewhere that has closed the panel, and may be a click on the icon that is not over yet.
    struct Dismissal {
        std::optional<QPoint> press;
        QElapsedTimer since;
    };

    void openPanel(const StatusItem::Place& place);
    void placePanel();
    void closePanel();
    void pressedElsewhere(const std::optional<QPoint>& position);
    bool isDismissedBy(const StatusItem::Place& place) const;
    void forgetDismissal();
    void flashWarning();
    void makeSettings();
    QList<StatusItem::Entry> menu();

    Collaborators m_collaborators;
    std::unique_ptr<StatusItem> m_statusItem;
    std::unique_ptr<MenuBarPanel> m_panel;
    std::unique_ptr<QWidget> m_settingsWindow;
    std::shared_ptr<ClickMonitor> m_eventMonitor;

    std::shared_ptr<PanelSurface> m_panelSurface;
    StatusItem::Place m_place; // that the panel is open at
    std::optional<Dismissal> m_dismissal;
    QTimer m_dismissalEnd;
};

} // namespace vantorel
