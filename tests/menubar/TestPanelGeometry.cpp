#include "menubar/PanelGeometry.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <array>

using namespace vantorel;
using PanelGeometry::kGap;
using PanelGeometry::panelOrigin;
using PanelGeometry::panelSize;
using PanelGeometry::Screen;
using Place = StatusItem::Place;

Q_DECLARE_METATYPE(Place)

class TestPanelGeometry : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void size_data();
    void size();
    void exampleInCoordinatesThatGrowUpward_data();
    void exampleInCoordinatesThatGrowUpward();
    void origin_data();
    void origin();
    void halvesAreRoundedAwayFromZero_data();
    void halvesAreRoundedAwayFromZero();
    void nothingKnown_isTheMiddleOfAScreen();
    void panelLargerThanItsScreen_showsItsTopLeft_data();
    void panelLargerThanItsScreen_showsItsTopLeft();
    void noScreen_isNoReasonToFail();
    void anyIcon_panelIsInsideItsScreen();
    void anyIconInABar_keepsTheGapWhereThereIsRoom();
};

namespace {

constexpr QSize kPanel(290, 180);

Place iconAt(const QRect& rect) {
    return {.icon = rect, .click = {}};
}

Place clickAt(int x, int y) {
    return {.icon = {}, .click = QPoint(x, y)};
}

} // namespace

void TestPanelGeometry::size_data() {
    QTest::addColumn<QSize>("fitting");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("small") << QSize(250, 100) << QSize(290, 180);
    QTest::newRow("large") << QSize(340, 420) << QSize(340, 420);
    QTest::newRow("wide") << QSize(291, 10) << QSize(291, 180);
    QTest::newRow("tall") << QSize(10, 181) << QSize(290, 181);
    QTest::newRow("none") << QSize() << QSize(290, 180);
}

void TestPanelGeometry::size() {
    QFETCH(QSize, fitting);
    QTEST(panelSize(fitting), "expected");
}

void TestPanelGeometry::exampleInCoordinatesThatGrowUpward_data() {
    QTest::addColumn<int>("screenHeight");
    for (const int height : {1072, 1080, 1200, 2160})
        QTest::addRow("screen %d high", height) << height;
}

// An icon from 1000 to 1022 whose lower edge is at 1050: the lower left corner of the panel is at (866, 864).
void TestPanelGeometry::exampleInCoordinatesThatGrowUpward() {
    QFETCH(int, screenHeight);
    const QRect screen(0, 0, 1920, screenHeight);
    const QRect icon(QPoint(1000, screenHeight - 1072), QSize(22, 22));
    QCOMPARE(screenHeight - (icon.y() + icon.height()), 1050);

    const int barHeight = icon.y() + icon.height();
    const QPoint origin =
        panelOrigin(kPanel, iconAt(icon), {{screen, screen.adjusted(0, barHeight, 0, 0)}}, std::nullopt);
    QCOMPARE(origin.x(), 866);
    QCOMPARE(screenHeight - (origin.y() + kPanel.height()), 864);
}

void TestPanelGeometry::origin_data() {
    QTest::addColumn<Place>("place");
    QTest::addColumn<QList<Screen>>("screens");
    QTest::addColumn<QPoint>("expected");

    const QRect full(0, 0, 1920, 1080);
    const QList<Screen> top = {{full, full.adjusted(0, 30, 0, 0)}};
    const QList<Screen> bottom = {{full, full.adjusted(0, 0, 0, -40)}};
    const QList<Screen> left = {{full, full.adjusted(50, 0, 0, 0)}};
    const QList<Screen> right = {{full, full.adjusted(0, 0, -50, 0)}};
    const QList<Screen> bare = {{full, full}};

    QTest::newRow("bar at the top") << iconAt({1000, 4, 22, 22}) << top << QPoint(866, 32);
    QTest::newRow("as high as the bar") << iconAt({1000, 0, 22, 30}) << top << QPoint(866, 36);
    QTest::newRow("at the left end") << iconAt({0, 4, 22, 22}) << top << QPoint(0, 32);
    QTest::newRow("at the right end") << iconAt({1898, 4, 22, 22}) << top << QPoint(1630, 32);
    QTest::newRow("small icon in a thick bar") << iconAt({1000, 2, 10, 10}) << top << QPoint(860, 30);
    QTest::newRow("bar at the bottom") << iconAt({1000, 1049, 22, 22}) << bottom << QPoint(866, 860);
    QTest::newRow("as high as the bottom bar") << iconAt({1000, 1040, 22, 40}) << bottom << QPoint(866, 854);
    QTest::newRow("bottom right corner") << iconAt({1890, 1040, 22, 40}) << bottom << QPoint(1630, 854);
    QTest::newRow("bar at the left") << iconAt({0, 500, 50, 22}) << left << QPoint(56, 421);
    QTest::newRow("top of the left bar") << iconAt({0, 0, 50, 22}) << left << QPoint(56, 0);
    QTest::newRow("bar at the right") << iconAt({1870, 500, 50, 22}) << right << QPoint(1574, 421);
    QTest::newRow("bottom of the right bar") << iconAt({1870, 1058, 50, 22}) << right << QPoint(1574, 900);
    QTest::newRow("bar that keeps nothing off") << iconAt({1000, 4, 22, 22}) << bare << QPoint(866, 32);
    QTest::newRow("the same at the bottom") << iconAt({1000, 1054, 22, 22}) << bare << QPoint(866, 868);
    QTest::newRow("corner of a bare screen") << iconAt({1898, 0, 22, 22}) << bare << QPoint(1630, 28);

    QTest::newRow("click in a bar at the top") << clickAt(1000, 12) << top << QPoint(855, 36);
    QTest::newRow("last row of that bar") << clickAt(1000, 29) << top << QPoint(855, 36);
    QTest::newRow("click in a bar at the bottom") << clickAt(1000, 1060) << bottom << QPoint(855, 854);
    QTest::newRow("first row of that bar") << clickAt(1000, 1040) << bottom << QPoint(855, 854);
    QTest::newRow("last row of that bar") << clickAt(1000, 1079) << bottom << QPoint(855, 854);
    QTest::newRow("click in a bar at the left") << clickAt(25, 500) << left << QPoint(56, 410);
    QTest::newRow("click in a bar at the right") << clickAt(1895, 500) << right << QPoint(1574, 410);
    QTest::newRow("click in a bar that keeps nothing off") << clickAt(1000, 12) << bare << QPoint(855, 30);
    QTest::newRow("the same at the bottom") << clickAt(1000, 1067) << bare << QPoint(855, 870);
    QTest::newRow("an empty icon is none")
        << Place{.icon = QRect(), .click = QPoint(1000, 12)} << top << QPoint(855, 36);
    QTest::newRow("the icon counts more than the click")
        << Place{.icon = QRect(1000, 4, 22, 22), .click = QPoint(1020, 5)} << top << QPoint(866, 32);

    // Two screens side by side, the left one with negative coordinates; the second of another scale factor, which
    // leaves a hole between them.
    const QRect second(-1280, -200, 1280, 1024);
    const QList<Screen> two = {{full, full.adjusted(0, 30, 0, 0)}, {second, second.adjusted(0, 30, 0, 0)}};
    QTest::newRow("screen with negative coordinates") << iconAt({-640, -196, 22, 22}) << two << QPoint(-774, -168);
    QTest::newRow("right end of the left screen") << iconAt({-22, -196, 22, 22}) << two << QPoint(-290, -168);
    QTest::newRow("left end of the right screen") << iconAt({0, 4, 22, 22}) << two << QPoint(0, 32);
    const QRect scaled(3840, 0, 1280, 720);
    const QList<Screen> holed = {{full, full}, {scaled, scaled.adjusted(0, 30, 0, 0)}};
    QTest::newRow("scaled screen") << iconAt({5000, 4, 22, 22}) << holed << QPoint(4830, 32);
    QTest::newRow("in the hole beside it") << iconAt({3800, 4, 22, 22}) << holed << QPoint(3840, 32);
    QTest::newRow("far off any screen") << iconAt({90000, 90000, 22, 22}) << holed << QPoint(4830, 540);
}

void TestPanelGeometry::origin() {
    QFETCH(Place, place);
    QFETCH(QList<Screen>, screens);
    QTEST(panelOrigin(kPanel, place, screens, std::nullopt), "expected");
}

void TestPanelGeometry::halvesAreRoundedAwayFromZero_data() {
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("expected");
    QTest::newRow("positive half") << 1000 << 21 << 866; // 1010.5 - 145 = 865.5
    QTest::newRow("negative half") << -1011 << 21 << -1146; // -1000.5 - 145 = -1145.5
    QTest::newRow("no half") << 1000 << 22 << 866;
}

void TestPanelGeometry::halvesAreRoundedAwayFromZero() {
    QFETCH(int, x);
    QFETCH(int, width);
    const QRect wide(-3000, 0, 6000, 1000);
    const QPoint origin = panelOrigin(kPanel, iconAt({x, 0, width, 22}), {{wide, wide}}, std::nullopt);
    QTEST(origin.x(), "expected");
}

void TestPanelGeometry::nothingKnown_isTheMiddleOfAScreen() {
    const QRect first(0, 0, 1000, 800);
    const QRect second(-500, 0, 500, 400);
    const QList<Screen> screens = {{first, first.adjusted(0, 40, 0, 0)}, {second, second}};
    QCOMPARE(panelOrigin(kPanel, {}, screens, std::nullopt), QPoint(355, 330));
    QCOMPARE(panelOrigin(kPanel, {}, screens, QPoint(10, 10)), QPoint(355, 330));
    QCOMPARE(panelOrigin(kPanel, {}, screens, QPoint(-10, 10)), QPoint(-395, 110));
}

void TestPanelGeometry::panelLargerThanItsScreen_showsItsTopLeft_data() {
    QTest::addColumn<Place>("place");
    QTest::newRow("icon at the top") << iconAt({300, 0, 22, 22});
    QTest::newRow("icon at the bottom") << iconAt({300, 458, 22, 22});
    QTest::newRow("icon at the left") << iconAt({-20, 200, 22, 22});
    QTest::newRow("click") << clickAt(10, 10);
    QTest::newRow("nothing") << Place{};
}

void TestPanelGeometry::panelLargerThanItsScreen_showsItsTopLeft() {
    QFETCH(Place, place);
    const QRect screen(0, 0, 640, 480);
    QCOMPARE(panelOrigin({900, 2000}, place, {{screen, screen.adjusted(5, 24, 0, 0)}}, std::nullopt), QPoint(5, 24));
}

void TestPanelGeometry::noScreen_isNoReasonToFail() {
    QCOMPARE(panelOrigin(kPanel, iconAt({0, 0, 22, 22}), {}, std::nullopt), QPoint(0, 0));
}

void TestPanelGeometry::anyIcon_panelIsInsideItsScreen() {
    QRandomGenerator random(7);
    const auto between = [&random](int low, int high) { return random.bounded(low, high + 1); };
    for (int round = 0; round < 20000; ++round) {
        QList<Screen> screens;
        int x = between(-4000, 1000);
        for (int i = between(1, 3); i > 0; --i) {
            const QRect geometry(x, between(-2000, 2000), between(400, 2560), between(300, 1600));
            screens.append(
                {geometry, geometry.adjusted(between(0, 50), between(0, 50), -between(0, 50), -between(0, 50))});
            x += geometry.width() + between(0, 500);
        }
        const QSize panel = panelSize({between(0, 600), between(0, 900)});
        const QPoint point(between(-5000, 9000), between(-3000, 4000));
        Place place;
        if (between(0, 1) == 1)
            place.icon = QRect(point, QSize(between(1, 64), between(1, 64)));
        if (between(0, 1) == 1)
            place.click = point;

        const QRect frame(panelOrigin(panel, place, screens, point), panel);
        const bool isInside = std::ranges::any_of(screens, [&frame](const Screen& screen) {
            const QRect room = screen.available;
            const bool fitsX = frame.left() >= room.left() && frame.right() <= room.right();
            const bool fitsY = frame.top() >= room.top() && frame.bottom() <= room.bottom();
            return (fitsX || (frame.left() == room.left() && frame.width() > room.width()))
                && (fitsY || (frame.top() == room.top() && frame.height() > room.height()));
        });
        QVERIFY2(isInside, qPrintable(QStringLiteral("round %1").arg(round)));
    }
}

void TestPanelGeometry::anyIconInABar_keepsTheGapWhereThereIsRoom() {
    QRandomGenerator random(11);
    const auto between = [&random](int low, int high) { return random.bounded(low, high + 1); };
    for (int round = 0; round < 20000; ++round) {
        const QRect geometry(between(-4000, 4000), between(-4000, 4000), between(800, 2560), between(700, 1600));
        const int thickness = between(22, 64);
        const bool keepsOff = between(0, 1) == 1;
        const int along = between(200, geometry.width() - 200);
        const int down = between(200, geometry.height() - 200);
        const QSize panel = panelSize({between(0, 400), between(0, 400)});
        QRect available = geometry;
        QRect icon;
        const int edge = between(0, 3);
        switch (edge) {
        case 0:
            icon = QRect(geometry.x() + along, geometry.y(), 22, thickness);
            available.adjust(0, thickness, 0, 0);
            break;
        case 1:
            icon = QRect(geometry.x() + along, geometry.y() + geometry.height() - thickness, 22, thickness);
            available.adjust(0, 0, 0, -thickness);
            break;
        case 2:
            icon = QRect(geometry.x(), geometry.y() + down, thickness, 22);
            available.adjust(thickness, 0, 0, 0);
            break;
        default:
            icon = QRect(geometry.x() + geometry.width() - thickness, geometry.y() + down, thickness, 22);
            available.adjust(0, 0, -thickness, 0);
        }
        const QRect frame(panelOrigin(panel, iconAt(icon), {{geometry, keepsOff ? available : geometry}}, {}), panel);
        const std::array gaps = {frame.top() - (icon.bottom() + 1), icon.top() - (frame.bottom() + 1),
                                 frame.left() - (icon.right() + 1), icon.left() - (frame.right() + 1)};
        QCOMPARE(gaps[edge], kGap);
    }
}

QTEST_APPLESS_MAIN(TestPanelGeometry)
#include "TestPanelGeometry.moc"
