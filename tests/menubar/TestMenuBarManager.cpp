#include "menubar/MenuBarManager.h"

#include "menubar/MenuBarPanel.h"
#include "menubar/PanelGeometry.h"
#include "platform/ClickMonitor.h"
#include "platform/PanelSurface.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QVBoxLayout>

using namespace vantorel;

class TestMenuBarManager : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void setup_putsTheIconIntoTheBar_andMakesNoWindow();
    void setup_withoutAnIcon_leavesTheSettings();
    void setup_withoutAMonitor_leavesTheIcon();
    void beforeSetup_nothingOpens();
    void clickOnTheIcon_opensThePanelAtItsPlace();
    void secondClick_closesThePanel();
    void panelSize_data();
    void panelSize();
    void secondOpening_reusesThePanel_withNewContent();
    void openPanel_followsItsContent_andStaysAtTheIcon();
    void closedPanel_doesNotFollowItsContent();
    void tallContent_showsItsTop();
    void nothingKnownOfTheIcon_opensInTheMiddle();
    void escape_closesThePanel();
    void pressElsewhere_closesThePanel();
    void monitor_runsWhileThePanelIsOpen();
    void pressThenActivate_isOneClick_data();
    void pressThenActivate_isOneClick();
    void slowClick_isOneClick();
    void clickWithoutAPlace_afterAWhile_isAnotherClick();
    void activateThenPress_closes();
    void clickOnTheIcon_rightAfterAPressElsewhere_opens();
    void clickOnTheIcon_afterAnotherPress_opens();
    void swallowedClick_countsOnce();
    void doubleClick_opensAndCloses();
    void openSettings_closesThePanel();
    void openSettings_fromThePanel();
    void openSettings_twice_isTheSameWindowWhereItWas();
    void openPanel_whileSettingsAreOpen_leavesThem();
    void menu_isMadeWhenAskedFor();
    void noFallback_showsTheWarningForThreeSeconds();
    void noFallback_waitsForTheEventLoop();
    void twoFlashesOneSecondApart_endWithTheWarning();
    void twoFlashesAtOnce_endWithTheWarning();
    void flashAfterAStuckWarning_leavesIt();
    void managerGoneBeforeTheFlash_isSafe();
    void managerGoneDuringTheFlash_isSafe();
    void noFallback_withoutAnIcon_doesNothing();
    void teardown_removesTheMonitor_andKeepsTheRest();
    void teardown_beforeSetup_doesNothing();
};

namespace {

using namespace std::chrono_literals;

const StatusItem::Image kNormal = {"com.qorbex.Vantorel-symbolic", "Vantorel"};
const StatusItem::Image kWarning = {"com.qorbex.Vantorel-warning-symbolic", "No browser configured"};

class FakeStatusItem : public StatusItem {
public:
    void show() override {
        QVERIFY(!m_images.isEmpty());
        ++shown;
    }
    void setImage(const Image& image) override { m_images.append(image); }
    Image image() const override { return m_images.last(); }
    void setMenu(std::function<QList<Entry>()> entries) override { menu = std::move(entries); }

    void click(const Place& place) { Q_EMIT clicked(place); }

    int shown = 0;
    std::function<QList<Entry>()> menu;

private:
    QList<Image> m_images;
};

// What the manager has made of the monitor; outlives it.
struct MonitorLog {
    int starts = 0;
    bool exists = false;
    ClickMonitor::Pressed pressed; // while it runs

    bool isRunning() const { return pressed != nullptr; }
    // As from the event loop: nothing arrives at a monitor that was stopped meanwhile.
    void press(const std::optional<QPoint>& position) const {
        if (const auto call = pressed)
            call(position);
    }
};

class FakeClickMonitor : public ClickMonitor {
public:
    explicit FakeClickMonitor(MonitorLog& log) : m_log(log) { m_log.exists = true; }
    ~FakeClickMonitor() override {
        stop();
        m_log.exists = false;
    }
    void start(Pressed pressed) override {
        if (m_log.pressed)
            return;
        ++m_log.starts;
        m_log.pressed = std::move(pressed);
    }
    void stop() override { m_log.pressed = nullptr; }

private:
    MonitorLog& m_log;
};

struct SurfaceLog {
    QWidget* panel = nullptr;
    int adopted = 0;
    QList<QRect> frames;
};

class FakePanelSurface : public PanelSurface {
public:
    explicit FakePanelSurface(SurfaceLog& log) : m_log(log) { }
    void adopt(QWidget& panel) override {
        QVERIFY(!panel.isVisible());
        ++m_log.adopted;
        m_log.panel = &panel;
    }
    void show(QWidget& panel, const QRect& frame) override {
        m_log.frames.append(frame);
        panel.setGeometry(frame);
        panel.show();
    }

private:
    SurfaceLog& m_log;
};

// Content of a size that tests choose.
class Content : public QWidget {
public:
    explicit Content(const QSize& size) : m_size(size) { }
    QSize sizeHint() const override { return m_size; }
    void want(const QSize& size) {
        m_size = size;
        updateGeometry();
    }

private:
    QSize m_size;
};

struct Options {
    bool hasIcon = true;
    bool hasMonitor = true;
    bool isSetUp = true;
};

struct Rig {
    using Options = ::Options;

    MonitorLog monitor;
    SurfaceLog surface;
    QPointer<FakeStatusItem> item;
    QSize contentSize{290, 300};
    QList<QPointer<Content>> contents;
    std::function<void()> viewOpensSettings;
    QPointer<QWidget> settingsView;
    QList<QWindow*> broughtToFront;
    int preparedTexts = 0;
    int quits = 0;
    std::unique_ptr<MenuBarManager> manager;

    explicit Rig(const Options& options = {}) {
        manager = std::make_unique<MenuBarManager>(MenuBarManager::Collaborators{
            .makeStatusItem = [this, options]() -> std::unique_ptr<StatusItem> {
                if (!options.hasIcon)
                    return nullptr;
                auto made = std::make_unique<FakeStatusItem>();
                item = made.get();
                return made;
            },
            .makeEventMonitor = [this, options]() -> std::shared_ptr<ClickMonitor> {
                return options.hasMonitor ? std::make_shared<FakeClickMonitor>(monitor) : nullptr;
            },
            .makePanelSurface = [this] { return std::make_unique<FakePanelSurface>(surface); },
            .makeMenuBarView =
                [this](std::function<void()> openSettings) {
                    viewOpensSettings = std::move(openSettings);
                    auto* const content = new Content(contentSize);
                    contents.append(content);
                    return content;
                },
            .makeSettingsView = [this] { return settingsView = new QLabel(QStringLiteral("settings")); },
            .bringToFront = [this](QWindow& window) { broughtToFront.append(&window); },
            .prepareTexts = [this] { ++preparedTexts; },
            .quit = [this] { ++quits; },
        });
        if (options.isSetUp)
            manager->setup();
    }

    bool isOpen() const { return surface.panel && surface.panel->isVisible(); }
    QWidget* settingsWindow() const { return settingsView ? settingsView->window() : nullptr; }
    QRect frame() const { return surface.frames.last(); }
};

const QRect kIcon(400, 0, 22, 24);
const StatusItem::Place kPlace = {.icon = kIcon, .click = kIcon.center()};

} // namespace

void TestMenuBarManager::setup_putsTheIconIntoTheBar_andMakesNoWindow() {
    const Rig rig;
    QCOMPARE(rig.item->shown, 1);
    QCOMPARE(rig.item->image(), kNormal);
    QVERIFY(rig.monitor.exists);
    QVERIFY(!rig.monitor.isRunning());
    QCOMPARE(rig.surface.adopted, 0);
    QVERIFY(rig.contents.isEmpty());
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
    QCOMPARE(rig.preparedTexts, 0);
}

void TestMenuBarManager::setup_withoutAnIcon_leavesTheSettings() {
    const Rig rig({.hasIcon = false});
    rig.manager->togglePopover(kPlace);
    QVERIFY(!rig.isOpen());
    QVERIFY(rig.contents.isEmpty());
    rig.manager->openSettings();
    QVERIFY(rig.settingsWindow()->isVisible());
}

void TestMenuBarManager::setup_withoutAMonitor_leavesTheIcon() {
    Rig rig({.hasMonitor = false});
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
    rig.item->click(kPlace);
    QVERIFY(!rig.isOpen());
    rig.manager->teardown();
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
}

void TestMenuBarManager::beforeSetup_nothingOpens() {
    const Rig rig({.isSetUp = false});
    rig.manager->togglePopover(kPlace);
    QVERIFY(!rig.isOpen());
    QVERIFY(rig.contents.isEmpty());
}

void TestMenuBarManager::clickOnTheIcon_opensThePanelAtItsPlace() {
    const Rig rig;
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
    QCOMPARE(rig.surface.adopted, 1);
    QCOMPARE(rig.frame(), QRect(411 - 145, 30, 290, 300));
    QCOMPARE(rig.surface.panel->windowTitle(), "Vantorel");
    QCOMPARE(rig.surface.panel->accessibleName(), "Vantorel");
    QCOMPARE(rig.contents.last()->geometry(), QRect(0, 0, 290, 300));
    QVERIFY(rig.broughtToFront.isEmpty());
}

void TestMenuBarManager::secondClick_closesThePanel() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.item->click(kPlace);
    QVERIFY(!rig.isOpen());
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
}

void TestMenuBarManager::panelSize_data() {
    QTest::addColumn<QSize>("fitting");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("small") << QSize(250, 100) << QSize(290, 180);
    QTest::newRow("large") << QSize(340, 420) << QSize(340, 420);
}

void TestMenuBarManager::panelSize() {
    QFETCH(QSize, fitting);
    Rig rig;
    rig.contentSize = fitting;
    rig.item->click(kPlace);
    QTEST(rig.surface.panel->size(), "expected");
    QTEST(rig.contents.last()->size(), "expected");
}

void TestMenuBarManager::secondOpening_reusesThePanel_withNewContent() {
    Rig rig;
    rig.item->click(kPlace);
    const QWidget* const panel = rig.surface.panel;
    rig.item->click(kPlace);
    QCOMPARE(rig.contents.size(), 1);
    rig.contentSize = QSize(290, 250);
    rig.item->click(kPlace);
    QCOMPARE(rig.surface.panel, panel);
    QCOMPARE(rig.surface.adopted, 1);
    QCOMPARE(rig.contents.size(), 2);
    QVERIFY(rig.contents[1]->isVisible());
    QCOMPARE(rig.frame(), QRect(266, 30, 290, 250));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!rig.contents[0]);
}

void TestMenuBarManager::openPanel_followsItsContent_andStaysAtTheIcon() {
    const Rig rig;
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const QRect icon(400, screen.height() - 24, 22, 24); // in a bar at the bottom: the panel grows upward
    rig.item->click({.icon = icon, .click = {}});
    QCOMPARE(rig.frame(), QRect(266, icon.y() - 6 - 300, 290, 300));
    rig.contents.last()->want({290, 350});
    QTRY_COMPARE(rig.frame(), QRect(266, icon.y() - 6 - 350, 290, 350));
    QCOMPARE(rig.surface.panel->geometry(), rig.frame());
    rig.contents.last()->want({290, 60});
    QTRY_COMPARE(rig.frame(), QRect(266, icon.y() - 6 - 180, 290, 180));

    const qsizetype count = rig.surface.frames.size();
    rig.contents.last()->want({290, 100}); // still the smallest panel
    QCoreApplication::processEvents();
    QCOMPARE(rig.surface.frames.size(), count);
}

void TestMenuBarManager::closedPanel_doesNotFollowItsContent() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.item->click(kPlace);
    rig.contents.last()->want({290, 400});
    QCoreApplication::processEvents();
    QVERIFY(!rig.isOpen());
    QCOMPARE(rig.surface.frames.size(), 1);
}

void TestMenuBarManager::tallContent_showsItsTop() {
    Rig rig;
    rig.contentSize = QSize(290, 5000);
    rig.item->click(kPlace);
    QCOMPARE(rig.frame(), QRect(266, QGuiApplication::primaryScreen()->availableGeometry().top(), 290, 5000));
}

void TestMenuBarManager::nothingKnownOfTheIcon_opensInTheMiddle() {
    const Rig rig;
    rig.item->click({});
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    const QPoint middle(available.width() / 2, available.height() / 2);
    QCOMPARE(rig.frame(), QRect(middle - QPoint(145, 150), QSize(290, 300)));
}

void TestMenuBarManager::escape_closesThePanel() {
    const Rig rig;
    rig.item->click(kPlace);
    QTest::keyClick(rig.surface.panel, Qt::Key_A);
    QVERIFY(rig.isOpen());
    QTest::keyClick(rig.contents.last(), Qt::Key_Escape);
    QVERIFY(!rig.isOpen());
    QVERIFY(!rig.monitor.isRunning());
}

void TestMenuBarManager::pressElsewhere_closesThePanel() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.monitor.press(QPoint(50, 500));
    QVERIFY(!rig.isOpen());
    rig.monitor.press(QPoint(50, 500));
    QVERIFY(!rig.isOpen());
}

void TestMenuBarManager::monitor_runsWhileThePanelIsOpen() {
    const Rig rig;
    rig.item->click(kPlace);
    QVERIFY(rig.monitor.isRunning());
    rig.item->click(kPlace);
    QVERIFY(!rig.monitor.isRunning());
    rig.item->click(kPlace);
    QVERIFY(rig.monitor.isRunning());
    rig.manager->openSettings();
    QVERIFY(!rig.monitor.isRunning());
    rig.item->click(kPlace);
    rig.monitor.press(QPoint(50, 500)); // and then the next press, which may be the beginning of a click
    QVERIFY(rig.monitor.isRunning());
    rig.monitor.press(QPoint(50, 500));
    QVERIFY(!rig.monitor.isRunning());
}

void TestMenuBarManager::pressThenActivate_isOneClick_data() {
    using Place = StatusItem::Place;
    QTest::addColumn<std::optional<QPoint>>("press");
    QTest::addColumn<Place>("place");
    QTest::newRow("same point") << std::optional(QPoint(410, 12)) << Place{.icon = {}, .click = QPoint(410, 12)};
    QTest::newRow("corner of the icon") << std::optional(QPoint(420, 20)) << Place{.icon = {}, .click = QPoint(400, 0)};
    QTest::newRow("in the icon") << std::optional(QPoint(402, 2)) << Place{.icon = kIcon, .click = {}};
    QTest::newRow("press without a place") << std::optional<QPoint>() << kPlace;
    QTest::newRow("click without a place") << std::optional(QPoint(410, 12)) << Place{};
}

void TestMenuBarManager::pressThenActivate_isOneClick() {
    QFETCH(std::optional<QPoint>, press);
    QFETCH(StatusItem::Place, place);
    const Rig rig;
    rig.item->click(kPlace);
    rig.monitor.press(press);
    rig.item->click(place);
    QVERIFY(!rig.isOpen());
    QVERIFY(!rig.monitor.isRunning());
}

// The bar tells when the button is released, however long it was held.
void TestMenuBarManager::slowClick_isOneClick() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.monitor.press(kIcon.center());
    QTest::qWait(1000);
    rig.item->click(kPlace);
    QVERIFY(!rig.isOpen());
}

void TestMenuBarManager::clickWithoutAPlace_afterAWhile_isAnotherClick() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.monitor.press(QPoint(50, 500));
    QTest::qWait(400);
    rig.item->click({});
    QVERIFY(rig.isOpen());
}

void TestMenuBarManager::activateThenPress_closes() {
    const Rig rig;
    rig.item->click(kPlace);
    const auto late = rig.monitor.pressed;
    rig.item->click(kPlace);
    late(kIcon.center()); // even if it were to arrive
    QVERIFY(!rig.isOpen());
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
}

void TestMenuBarManager::clickOnTheIcon_rightAfterAPressElsewhere_opens() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.monitor.press(QPoint(50, 500));
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
    QVERIFY(rig.monitor.isRunning());
}

void TestMenuBarManager::clickOnTheIcon_afterAnotherPress_opens() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.monitor.press(QPoint(430, 20)); // beside the icon
    rig.monitor.press(kIcon.center());
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
}

void TestMenuBarManager::swallowedClick_countsOnce() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.monitor.press(kIcon.center());
    rig.item->click(kPlace);
    QVERIFY(!rig.isOpen());
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
}

void TestMenuBarManager::doubleClick_opensAndCloses() {
    const Rig rig;
    rig.monitor.press(kIcon.center()); // nobody listens yet
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
    rig.monitor.press(kIcon.center());
    rig.item->click(kPlace);
    QVERIFY(!rig.isOpen());
}

void TestMenuBarManager::openSettings_closesThePanel() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.manager->openSettings();
    QVERIFY(!rig.isOpen());
    QVERIFY(rig.settingsWindow()->isVisible());
    QCOMPARE(rig.settingsWindow()->size(), QSize(620, 500));
    QCOMPARE(rig.settingsWindow()->minimumSize(), QSize(520, 400));
    QCOMPARE(rig.settingsWindow()->windowTitle(), QString("Vantorel \u2014 Settings"));
    QCOMPARE(rig.broughtToFront, QList<QWindow*>{rig.settingsWindow()->windowHandle()});
}

void TestMenuBarManager::openSettings_fromThePanel() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.viewOpensSettings();
    QVERIFY(!rig.isOpen());
    QVERIFY(rig.contents.last()); // its own click is still on its way
    QVERIFY(rig.settingsWindow()->isVisible());
}

void TestMenuBarManager::openSettings_twice_isTheSameWindowWhereItWas() {
    const Rig rig;
    rig.manager->openSettings();
    QWidget* const window = rig.settingsWindow();
    window->setGeometry(30, 40, 700, 550);
    rig.manager->openSettings();
    QCOMPARE(rig.settingsWindow(), window);
    QVERIFY(window->isVisible());
    window->close();
    QVERIFY(!window->isVisible());
    rig.manager->openSettings();
    QCOMPARE(rig.settingsWindow(), window);
    QVERIFY(window->isVisible());
    QCOMPARE(window->geometry(), QRect(30, 40, 700, 550));
    QCOMPARE(rig.broughtToFront.size(), 3);
}

void TestMenuBarManager::openPanel_whileSettingsAreOpen_leavesThem() {
    const Rig rig;
    rig.manager->openSettings();
    rig.item->click(kPlace);
    QVERIFY(rig.isOpen());
    QVERIFY(rig.settingsWindow()->isVisible());
    rig.monitor.press(QPoint(50, 500));
    QVERIFY(!rig.isOpen());
    QVERIFY(rig.settingsWindow()->isVisible());
}

void TestMenuBarManager::menu_isMadeWhenAskedFor() {
    const Rig rig;
    QCOMPARE(rig.preparedTexts, 0);
    const QList<StatusItem::Entry> entries = rig.item->menu();
    QVERIFY(rig.preparedTexts > 0);
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries[0].title, "Settings");
    rig.item->click(kPlace);
    entries[0].action();
    QVERIFY(!rig.isOpen());
    QVERIFY(rig.settingsWindow()->isVisible());
    QCOMPARE(entries[1].title, "Quit Vantorel");
    entries[1].action();
    QCOMPARE(rig.quits, 1);
}

void TestMenuBarManager::noFallback_showsTheWarningForThreeSeconds() {
    const Rig rig;
    rig.manager->handleNoFallback();
    QTRY_COMPARE(rig.item->image(), kWarning);
    QVERIFY(rig.preparedTexts > 0);
    QTest::qWait(2500);
    QCOMPARE(rig.item->image(), kWarning);
    QTRY_COMPARE(rig.item->image(), kNormal);
}

void TestMenuBarManager::noFallback_waitsForTheEventLoop() {
    const Rig rig;
    rig.manager->handleNoFallback();
    QCOMPARE(rig.item->image(), kNormal);
    QCoreApplication::processEvents();
    QCOMPARE(rig.item->image(), kWarning);
}

void TestMenuBarManager::twoFlashesOneSecondApart_endWithTheWarning() {
    const Rig rig;
    rig.manager->handleNoFallback();
    QTest::qWait(1000);
    rig.manager->handleNoFallback();
    QTRY_COMPARE_WITH_TIMEOUT(rig.item->image(), kNormal, 3500); // the first one ends
    QTRY_COMPARE_WITH_TIMEOUT(rig.item->image(), kWarning, 3500); // the second one ends
    QTest::qWait(3500);
    QCOMPARE(rig.item->image(), kWarning);
}

void TestMenuBarManager::twoFlashesAtOnce_endWithTheWarning() {
    const Rig rig;
    rig.manager->handleNoFallback();
    rig.manager->handleNoFallback();
    QTest::qWait(3500);
    QCOMPARE(rig.item->image(), kWarning);
}

void TestMenuBarManager::flashAfterAStuckWarning_leavesIt() {
    const Rig rig;
    rig.item->setImage(kWarning);
    rig.manager->handleNoFallback();
    QTest::qWait(3500);
    QCOMPARE(rig.item->image(), kWarning);
}

void TestMenuBarManager::managerGoneBeforeTheFlash_isSafe() {
    Rig rig;
    rig.manager->handleNoFallback();
    rig.manager.reset();
    QCoreApplication::processEvents();
    QVERIFY(!rig.item);
}

void TestMenuBarManager::managerGoneDuringTheFlash_isSafe() {
    Rig rig;
    rig.manager->handleNoFallback();
    QTRY_COMPARE(rig.item->image(), kWarning);
    rig.manager.reset();
    QTest::qWait(3500); // a step that still held to either would crash here
    QVERIFY(!rig.item);
}

void TestMenuBarManager::noFallback_withoutAnIcon_doesNothing() {
    const Rig rig({.hasIcon = false});
    rig.manager->handleNoFallback();
    QCoreApplication::processEvents();
    QCOMPARE(rig.preparedTexts, 0);
}

void TestMenuBarManager::teardown_removesTheMonitor_andKeepsTheRest() {
    const Rig rig;
    rig.item->click(kPlace);
    rig.manager->teardown();
    QVERIFY(!rig.monitor.exists);
    QVERIFY(rig.item);
    QVERIFY(rig.isOpen());
    rig.item->click(kPlace);
    QVERIFY(!rig.isOpen());
    rig.manager->teardown();
}

void TestMenuBarManager::teardown_beforeSetup_doesNothing() {
    const Rig rig({.isSetUp = false});
    rig.manager->teardown();
    QVERIFY(!rig.monitor.exists);
}

QTEST_MAIN(TestMenuBarManager)
#include "TestMenuBarManager.moc"
