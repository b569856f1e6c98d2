#pragma once

#include <functional>
#include <memory>

class QWidget;
class QWindow;

namespace vantorel {

/// The program's windows. Nothing is made before it is asked for. Main thread only; must not outlive the application
/// object.
class MenuBarManager {
public:
    using MakeContent = std::function<QWidget*()>;
    using BringToFront = std::function<void(QWindow& window)>;

    /// `makeContent` gives what the settings window shows, and is called once at most; the window owns it.
    /// `bringToFront` gives a visible window the focus, as the desktop wants it to be done for a user's own click.
    MenuBarManager(MakeContent makeContent, BringToFront bringToFront);
    ~MenuBarManager();
    MenuBarManager(const MenuBarManager&) = delete;
    MenuBarManager& operator=(const MenuBarManager&) = delete;

    /// Shows the one settings window and brings it to the front. Closing it only hides it: the next time it is there
    /// again with the place and the size that it had.
    void openSettings();

private:
    void makeSettings();

    MakeContent m_makeContent;
    BringToFront m_bringToFront;
    std::unique_ptr<QWidget> m_settings;
};

} // namespace vantorel
