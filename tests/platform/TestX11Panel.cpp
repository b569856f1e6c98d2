#include "menubar/MenuBarManager.h"
#include "platform/ClickMonitor.h"
#include "platform/x11/WindowPanelSurface.h"
#include "platform/x11/X11ClickMonitor.h"
#include "platform/x11/X11Display.h"

#include "PrivateDisplay.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>
#include <QWindow>

#include <memory>

#include <xcb/xcb.h>

using namespace vantorel;

/// Presses elsewhere and the panel, on a real X server with a window manager and with the clicks of a real pointer.
class TestX11Panel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void monitor_tellsOfTheLeftAndTheRightButton_elsewhere();
    void monitor_tellsOfTheDesktopItself();
    void monitor_leavesOutOwnWindows();
    void monitor_leavesOutTheFramesOfOwnWindows();
    void monitor_leavesOutOwnMenus();
    void monitor_leavesOutOwnWindowsWithinOthers_andTellsOfTheRest();
    void monitor_tellsOfAWindowAboveOurs();
    void monitor_stopped_tellsNothing_untilItIsStartedAgain();
    void monitor_maybeStoppedWhileItTells();
    void monitor_ofADisplayThatIsNotThere_tellsNothing();
    void monitor_ofAServerThatIsStopped_holdsNobodyUp();
    void monitor_outlivesItsServer();

    void panel_standsWhereItIsTold_withoutTheFocus();
    void panel_isOnEveryWorkspace_alsoTheNextTime();
    void panel_isAboveOthers_andTakesClicks();
    void panel_followsItsFrame();

    void manager_closesThePanelOnAPressElsewhere_notOnOneInside();
    void manager_clickOnTheIcon_ofAnotherProgram_closes();

private:
    pid_t m_manager = 0;
    pid_t m_other = 0;
    QByteArray m_otherID;
};

namespace {

// The window of another application, with its frame: from (600, 300) on, 300 by 200.
constexpr QPoint kInOther(700, 400);
constexpr QPoint kOnDesktop(950, 700);

void moveTo(const QPoint& point) {
    xdotool({"mousemove", QString::number(point.x()), QString::number(point.y())});
}

void click(const QPoint& point, int button = 1) {
    xdotool({"mousemove", QString::number(point.x()), QString::number(point.y()), "click", QString::number(button)});
}

QByteArray xProperty(const QByteArray& window, const char* name) {
    return outputOf("xprop", {"-id", QString::fromLatin1(window), name}).trimmed();
}

QByteArray idOf(const QWidget& widget) {
    return QByteArray::number(static_cast<qulonglong>(widget.winId()));
}

QByteArray activeWindow() {
    return outputOf("xprop", {"-root", "_NET_ACTIVE_WINDOW"});
}

// Where a window's content is on the screen, as the server sees it.
QRect geometryOf(const QByteArray& window) {
    const QString text = QString::fromUtf8(outputOf("xwininfo", {"-id", QString::fromLatin1(window)}));
    const auto number = [&text](const char* name) {
        return QRegularExpression(name + QStringLiteral(": +(-?\\d+)")).match(text).captured(1).toInt();
    };
    return {number("Absolute upper-left X"), number("Absolute upper-left Y"), number("Width"), number("Height")};
}

bool isViewable(const QByteArray& window) {
    return outputOf("xwininfo", {"-id", QString::fromLatin1(window)}).contains("IsViewable");
}

// How many monitors of this process are at work.
int listeners() {
    int count = 0;
    const QStringList tasks = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& task : tasks) {
        QFile name(QStringLiteral("/proc/self/task/%1/comm").arg(task));
        if (name.open(QIODevice::ReadOnly) && name.readAll().trimmed() == "click monitor")
            ++count;
    }
    return count;
}

// A monitor that is known to listen.
struct Listening {
    QList<QPoint> presses;
    X11ClickMonitor monitor{qgetenv("DISPLAY")};

    Listening() { start(); }

    void start() {
        monitor.start([this](const std::optional<QPoint>& position) {
            QVERIFY(position);
            presses.append(*position);
        });
        QTRY_VERIFY((click(kOnDesktop), QTest::qWait(20), !presses.isEmpty()));
        settle();
        presses.clear();
    }
    // A press that counts, after which all others before have arrived.
    void settle() {
        const qsizetype count = presses.count(kOnDesktop - QPoint(0, 20));
        click(kOnDesktop - QPoint(0, 20));
        QTRY_VERIFY(presses.count(kOnDesktop - QPoint(0, 20)) > count);
        presses.removeAll(kOnDesktop - QPoint(0, 20));
    }
};

struct Window : QWidget {
    Window() {
        setGeometry(100, 400, 200, 150);
        setWindowTitle("own");
        show();
    }
};

QPushButton* addButton(QWidget& widget) {
    auto* const layout = new QVBoxLayout(&widget);
    auto* const button = new QPushButton("press");
    layout->addWidget(button);
    return button;
}

class FakeStatusItem : public StatusItem {
public:
    void show() override { }
    void setImage(const Image& image) override { m_image = image; }
    Image image() const override { return m_image; }
    void setMenu(std::function<QList<Entry>()>) override { }

private:
    Image m_image;
};

} // namespace

void TestX11Panel::initTestCase() {
    m_manager = PrivateDisplay::spawn({"openbox"});
    QTRY_VERIFY(outputOf("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id"));
    m_other = PrivateDisplay::spawn({"xev", "-geometry", "300x200+600+300", "-name", "other"});
    QTRY_VERIFY(
        !(m_otherID = outputOf("xdotool", {"search", "--onlyvisible", "--name", "^other$"}).trimmed()).isEmpty());
}

void TestX11Panel::cleanupTestCase() {
    PrivateDisplay::endProcess(m_other);
    PrivateDisplay::endProcess(m_manager);
}

void TestX11Panel::init() {
    xdotool({"set_desktop", "0"});
    const QByteArray hexadecimal = "# 0x" + QByteArray::number(m_otherID.toULongLong(), 16) + '\n';
    QTRY_VERIFY((xdotool({"windowactivate", QString::fromLatin1(m_otherID)}), activeWindow().contains(hexadecimal)));
}

void TestX11Panel::monitor_tellsOfTheLeftAndTheRightButton_elsewhere() {
    Listening listening;
    click(kInOther);
    QTRY_COMPARE(listening.presses, QList<QPoint>{kInOther});
    click(kInOther + QPoint(5, 5), 3);
    QTRY_COMPARE(listening.presses, (QList<QPoint>{kInOther, kInOther + QPoint(5, 5)}));
    for (const int button : {2, 4, 5})
        click(kInOther, button);
    listening.settle();
    QCOMPARE(listening.presses.size(), 2);
}

void TestX11Panel::monitor_tellsOfTheDesktopItself() {
    Listening listening;
    click({20, 700});
    QTRY_COMPARE(listening.presses, (QList<QPoint>{{20, 700}}));
}

void TestX11Panel::monitor_leavesOutOwnWindows() {
    Window window;
    QPushButton* const button = addButton(window);
    bool isClicked = false;
    connect(button, &QPushButton::clicked, this, [&isClicked] { isClicked = true; });
    QVERIFY(QTest::qWaitForWindowActive(&window));
    Listening listening;
    click(geometryOf(idOf(window)).center());
    QTRY_VERIFY(isClicked);
    listening.settle();
    QVERIFY(listening.presses.isEmpty());
}

void TestX11Panel::monitor_leavesOutTheFramesOfOwnWindows() {
    Window window;
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QTRY_VERIFY(window.frameGeometry().top() < window.geometry().top());
    Listening listening;
    click({window.geometry().center().x(), window.geometry().top() - 8});
    listening.settle();
    QVERIFY(listening.presses.isEmpty());
}

void TestX11Panel::monitor_leavesOutOwnMenus() {
    Window window;
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QMenu menu;
    bool isTriggered = false;
    connect(menu.addAction("one"), &QAction::triggered, this, [&isTriggered] { isTriggered = true; });
    Listening listening;
    menu.popup({400, 100});
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    click(menu.geometry().center());
    QTRY_VERIFY(isTriggered);
    listening.settle();
    QVERIFY(listening.presses.isEmpty());
}

void TestX11Panel::monitor_leavesOutOwnWindowsWithinOthers_andTellsOfTheRest() {
    QWidget icon;
    icon.setWindowFlag(Qt::BypassWindowManagerHint);
    icon.setGeometry(0, 0, 50, 50);
    icon.show();
    QVERIFY(QTest::qWaitForWindowExposed(&icon));
    xcb_connection_t* const connection = X11Display::connection();
    xcb_reparent_window(connection, static_cast<xcb_window_t>(icon.winId()), m_otherID.toUInt(), 10, 10);
    xcb_flush(connection);
    const QRect other = geometryOf(m_otherID);
    QTRY_COMPARE(geometryOf(idOf(icon)).topLeft(), other.topLeft() + QPoint(10, 10));
    Listening listening;
    click(other.topLeft() + QPoint(30, 30));
    listening.settle();
    QVERIFY(listening.presses.isEmpty());
    click(other.topLeft() + QPoint(150, 150));
    QTRY_COMPARE(listening.presses, QList<QPoint>{other.topLeft() + QPoint(150, 150)});
}

void TestX11Panel::monitor_tellsOfAWindowAboveOurs() {
    Window window;
    QVERIFY(QTest::qWaitForWindowActive(&window));
    window.setGeometry(geometryOf(m_otherID));
    QTRY_COMPARE(geometryOf(idOf(window)).center(), geometryOf(m_otherID).center());
    init(); // the other one is in front
    Listening listening;
    click(kInOther);
    QTRY_COMPARE(listening.presses, QList<QPoint>{kInOther});
}

void TestX11Panel::monitor_stopped_tellsNothing_untilItIsStartedAgain() {
    Listening listening;
    listening.monitor.stop();
    listening.monitor.stop();
    QTRY_COMPARE(listeners(), 0);
    click(kInOther);
    Listening second; // another one would hear of it
    QVERIFY(listening.presses.isEmpty());
    listening.start();
    click(kInOther);
    QTRY_COMPARE(listening.presses, QList<QPoint>{kInOther});
}

void TestX11Panel::monitor_maybeStoppedWhileItTells() {
    X11ClickMonitor monitor(qgetenv("DISPLAY"));
    int count = 0;
    monitor.start([&](const auto&) {
        ++count;
        monitor.stop();
    });
    QTRY_VERIFY((click(kInOther), click(kInOther), QTest::qWait(20), count > 0));
    click(kInOther);
    Listening others;
    QCOMPARE(count, 1);
}

void TestX11Panel::monitor_ofADisplayThatIsNotThere_tellsNothing() {
    X11ClickMonitor monitor(":nowhere");
    monitor.start([](const auto&) { QFAIL("no press"); });
    QTRY_COMPARE(listeners(), 0);
    monitor.stop();
}

void TestX11Panel::monitor_ofAServerThatIsStopped_holdsNobodyUp() {
    PrivateDisplay display;
    kill(display.server(), SIGSTOP);
    QElapsedTimer time;
    time.start();
    {
        X11ClickMonitor monitor(display.name());
        monitor.start([](const auto&) { QFAIL("no press"); });
        QTest::qWait(100);
        monitor.stop();
    }
    QVERIFY(time.elapsed() < 5000); // it would be for good
    kill(display.server(), SIGCONT);
    QTRY_COMPARE(listeners(), 0);
}

void TestX11Panel::monitor_outlivesItsServer() {
    PrivateDisplay display;
    X11ClickMonitor monitor(display.name());
    int count = 0;
    monitor.start([&count](const auto&) { ++count; });
    const auto press = [&display] {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DISPLAY", QString::fromLatin1(display.name()));
        process.setProcessEnvironment(environment);
        process.start("xdotool", {"mousemove", "50", "50", "click", "1"});
        process.waitForFinished();
    };
    QTRY_VERIFY((press(), QTest::qWait(20), count > 0));
    display.end();
    QTRY_COMPARE(listeners(), 0);
    monitor.stop();
}

void TestX11Panel::panel_standsWhereItIsTold_withoutTheFocus() {
    const QByteArray before = activeWindow();
    QWidget panel;
    panel.setWindowTitle("Vantorel");
    WindowPanelSurface surface;
    surface.adopt(panel);
    const QRect frame(333, 41, 290, 180);
    surface.show(panel, frame);
    QVERIFY(QTest::qWaitForWindowExposed(&panel));
    const QByteArray id = idOf(panel);
    QTRY_COMPARE(geometryOf(id), frame);
    QCOMPARE(activeWindow(), before);
    QVERIFY(xProperty(id, "WM_HINTS").contains("Client accepts input or input focus: False"));
    QVERIFY(xProperty(id, "_NET_WM_WINDOW_TYPE").contains("= _NET_WM_WINDOW_TYPE_NOTIFICATION"));
    QVERIFY(xProperty(id, "_NET_WM_NAME").endsWith("\"Vantorel\""));
    QVERIFY(xProperty(id, "_NET_STARTUP_ID").contains("not found"));
    for (const char* const state : {"ABOVE", "SKIP_TASKBAR", "SKIP_PAGER"})
        QTRY_VERIFY2(xProperty(id, "_NET_WM_STATE").contains(QByteArray("_NET_WM_STATE_") + state), state);
}

void TestX11Panel::panel_isOnEveryWorkspace_alsoTheNextTime() {
    QWidget panel;
    WindowPanelSurface surface;
    surface.adopt(panel);
    for (const int desktop : {1, 2}) {
        surface.show(panel, {100, 40 * desktop, 290, 180});
        QVERIFY(QTest::qWaitForWindowExposed(&panel));
        const QByteArray id = idOf(panel);
        QTRY_COMPARE(geometryOf(id), QRect(100, 40 * desktop, 290, 180));
        QTRY_VERIFY(xProperty(id, "_NET_WM_DESKTOP").endsWith("= 4294967295"));
        xdotool({"set_desktop", QString::number(desktop)});
        QTRY_VERIFY(!isViewable(m_otherID));
        QVERIFY(isViewable(id));
        xdotool({"set_desktop", "0"});
        QTRY_VERIFY(isViewable(m_otherID));
        panel.hide();
        QTRY_VERIFY(!isViewable(id));
    }
}

void TestX11Panel::panel_isAboveOthers_andTakesClicks() {
    QWidget panel;
    QPushButton* const button = addButton(panel);
    int clicks = 0;
    connect(button, &QPushButton::clicked, this, [&clicks] { ++clicks; });
    WindowPanelSurface surface;
    surface.adopt(panel);
    const QRect other = geometryOf(m_otherID);
    const QRect frame(other.topLeft(), QSize(290, 180));
    surface.show(panel, frame);
    QVERIFY(QTest::qWaitForWindowExposed(&panel));
    QTRY_COMPARE(geometryOf(idOf(panel)), frame);
    const QByteArray before = activeWindow();
    click(frame.center());
    QTRY_COMPARE(clicks, 1);
    QCOMPARE(activeWindow(), before);
    xdotool({"windowraise", QString::fromLatin1(m_otherID)});
    click(frame.center());
    QTRY_COMPARE(clicks, 2);
    QCOMPARE(activeWindow(), before);
}

void TestX11Panel::panel_followsItsFrame() {
    QWidget panel;
    WindowPanelSurface surface;
    surface.adopt(panel);
    surface.show(panel, {100, 500, 290, 180});
    QVERIFY(QTest::qWaitForWindowExposed(&panel));
    QTRY_COMPARE(geometryOf(idOf(panel)), QRect(100, 500, 290, 180));
    surface.show(panel, {100, 400, 290, 280});
    QTRY_COMPARE(geometryOf(idOf(panel)), QRect(100, 400, 290, 280));
}

namespace {

// The whole of it but the icon.
struct Desktop {
    FakeStatusItem* item = nullptr;
    QWidget* panel = nullptr;
    int clicks = 0;
    MenuBarManager manager{{
        .makeStatusItem =
            [this] {
                auto made = std::make_unique<FakeStatusItem>();
                item = made.get();
                return made;
            },
        .makeEventMonitor = [] { return std::make_unique<X11ClickMonitor>(qgetenv("DISPLAY")); },
        .makePanelSurface = [] { return std::make_unique<WindowPanelSurface>(); },
        .makeMenuBarView =
            [this](const auto&) {
                auto* const content = new QWidget;
                QObject::connect(addButton(*content), &QPushButton::clicked, content, [this] { ++clicks; });
                panel = content;
                return content;
            },
        .makeSettingsView = [] { return new QLabel; },
        .bringToFront = [](QWindow&) {},
        .prepareTexts = [] {},
        .quit = [] {},
    }};

    Desktop() { manager.setup(); }

    void open(const StatusItem::Place& place) {
        Q_EMIT item->clicked(place);
        QVERIFY(isOpen());
        QVERIFY(QTest::qWaitForWindowExposed(panel->window()));
    }
    bool isOpen() const { return panel && panel->window()->isVisible(); }
};

} // namespace

void TestX11Panel::manager_closesThePanelOnAPressElsewhere_notOnOneInside() {
    Desktop desktop;
    desktop.open({.icon = QRect(300, 0, 22, 24), .click = {}});
    const QRect frame(311 - 145, 30, 290, 180);
    QTRY_COMPARE(geometryOf(idOf(*desktop.panel->window())), frame);
    Listening listening;
    QTRY_VERIFY(!desktop.isOpen()); // the manager's own has heard of it as well

    desktop.open({.icon = QRect(300, 0, 22, 24), .click = {}});
    QTRY_COMPARE(geometryOf(idOf(*desktop.panel->window())), frame);
    click(frame.center());
    QTRY_COMPARE(desktop.clicks, 1);
    QVERIFY(desktop.isOpen());
    QTRY_VERIFY((click(kInOther), QTest::qWait(20), !desktop.isOpen()));
    click(kInOther);
    listening.monitor.stop();
    QTRY_COMPARE(listeners(), 0); // nothing listens any more
}

void TestX11Panel::manager_clickOnTheIcon_ofAnotherProgram_closes() {
    Desktop desktop;
    Listening listening;
    const StatusItem::Place place = {.icon = {}, .click = kInOther};
    moveTo(kInOther + QPoint(8, 3));
    desktop.open(place);
    // The monitor begins to listen a moment after the panel is there.
    const auto press = [&desktop] {
        xdotool({"mousedown", "1"});
        if (QTest::qWaitFor([&desktop] { return !desktop.isOpen(); }, 1000))
            return true;
        xdotool({"mouseup", "1"});
        return false;
    };
    QVERIFY(press() || press() || press());
    QTest::qWait(500);
    xdotool({"mouseup", "1"});
    Q_EMIT desktop.item->clicked(place);
    QVERIFY(!desktop.isOpen());
    xdotool({"click", "1"});
    Q_EMIT desktop.item->clicked(place);
    QVERIFY(desktop.isOpen());
}

int main(int argc, char* argv[]) {
    const PrivateDisplay display;
    qputenv("DISPLAY", display.name());
    qunsetenv("WAYLAND_DISPLAY");
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("XDG_DATA_DIRS", "/usr/share");
    const QApplication application(argc, argv);
    TestX11Panel test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestX11Panel.moc"
