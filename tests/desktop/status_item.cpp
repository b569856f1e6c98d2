// Shows the program's icon in the bar and writes a line for whatever is done to it.
// Lines on standard input: "warning" and "normal" change the image, "end" ends.
// status_item [ICON-FOLDER]

#include "platform/freedesktop/DesktopStatusItem.h"
#include "platform/x11/X11TrayIcon.h"

#include <QApplication>
#include <QSocketNotifier>

#include <cstdio>
#include <iostream>
#include <string>

using namespace vantorel;

namespace {

const StatusItem::Image kNormal{QStringLiteral("com.qorbex.Vantorel-symbolic"), QStringLiteral("Vantorel")};
const StatusItem::Image kWarning{QStringLiteral("com.qorbex.Vantorel-warning-symbolic"),
                                 QStringLiteral("No browser configured")};

void tell(const std::string& line) {
    std::cout << line << std::endl;
}

std::string textOf(const StatusItem::Place& place) {
    std::string text = "clicked";
    if (place.click)
        text += " at " + std::to_string(place.click->x()) + " " + std::to_string(place.click->y());
    if (place.icon)
        text += " on " + std::to_string(place.icon->x()) + " " + std::to_string(place.icon->y()) + " "
            + std::to_string(place.icon->width()) + " " + std::to_string(place.icon->height());
    return text;
}

} // namespace

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const QString folder = QApplication::arguments().value(1, DesktopStatusItem::iconFolder());
    DesktopStatusItem item(QDBusConnection::sessionBus(), folder, std::make_unique<X11TrayIcon>());
    item.setImage(kNormal);
    item.setMenu([] {
        tell("menu");
        return QList<StatusItem::Entry>{{QStringLiteral("Settings"), [] { tell("settings"); }},
                                        {QStringLiteral("Quit Vantorel"), [] { tell("quit"); }}};
    });
    QObject::connect(&item, &StatusItem::clicked, &item, [](const StatusItem::Place& place) { tell(textOf(place)); });
    item.show();
    QSocketNotifier input(fileno(stdin), QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &item, [&] {
        std::string line;
        if (!std::getline(std::cin, line) || line == "end")
            QApplication::quit();
        else
            item.setImage(line == "warning" ? kWarning : kNormal);
        tell("done " + line);
    });
    tell("shown");
    return QApplication::exec();
}
