#include "platform/freedesktop/SettingsPages.h"

namespace vantorel {

namespace {

struct Page {
    QByteArray desktop;
    QByteArrayList command;
};

const QList<Page>& knownPages() {
    static const QList<Page> pages = {
        {"GNOME", {"gnome-control-center", "default-apps"}}, {"KDE", {"systemsettings5", "kcm_componentchooser"}},
        {"KDE", {"systemsettings", "kcm_componentchooser"}}, {"XFCE", {"xfce4-mime-settings"}},
        {"LXQt", {"lxqt-config-file-associations"}},         {"MATE", {"mate-default-applications-properties"}},
        {"X-Cinnamon", {"cinnamon-settings", "default"}},
    };
    return pages;
}

} // namespace

QList<QByteArrayList> settingsPages(const QByteArray& currentDesktop,
                                    const std::function<bool(const QByteArray& program)>& isInstalled) {
    const QByteArrayList running = currentDesktop.split(':');
    QList<QByteArrayList> own;
    QList<QByteArrayList> others;
    for (const Page& page : knownPages()) {
        if (isInstalled(page.command.first()))
            (running.contains(page.desktop) ? own : others).append(page.command);
    }
    return own + others;
}

void tryInOrder(QList<Attempt> attempts) {
    if (attempts.isEmpty())
        return;
    const Attempt attempt = attempts.takeFirst();
    attempt([attempts](bool hasWorked) {
        if (!hasWorked)
            tryInOrder(attempts);
    });
}

} // namespace vantorel
