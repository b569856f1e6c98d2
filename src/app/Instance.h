#pragma once

#include "app/AppDelegate.h"
#include "app/Restart.h"
#include "menubar/MenuBarManager.h"
#include "platform/freedesktop/DBusLinkSource.h"
#include "platform/freedesktop/LaunchContext.h"

#include <optional>

class QCoreApplication;

namespace vantorel {

/// The one program of the session that takes its links, put together from the single instances. With windows where
/// `application` is a QApplication. Main thread only.
class Instance {
public:
    Instance(QCoreApplication& application, const QDBusConnection& bus, Restart::Legacy legacy);

    /// Runs until the program is to end, and returns its exit status; absent, and at once, where another program has
    /// been quicker to take the name. `links` are handled when it has the name.
    std::optional<int> run(const QStringList& links);

private:
    static MenuBarManager::Collaborators menuBarCollaborators();
    AppDelegate::Collaborators delegateCollaborators();

    void setUpMenuBar();
    bool openSettings();
    [[noreturn]] void startAnew(Restart::Legacy next);

    QCoreApplication& m_application;
    Restart::Legacy m_legacy;
    std::optional<MenuBarManager> m_menuBarManager; // absent without a display
    DBusLinkSource m_linkSource;
    AppDelegate m_delegate;
    std::optional<LaunchContext> m_settingsWish; // for the next program, which may be on its way for another reason
};

} // namespace vantorel
