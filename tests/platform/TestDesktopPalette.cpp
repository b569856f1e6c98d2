#include "platform/freedesktop/DesktopPalette.h"

#include <QGuiApplication>
#include <QTest>

#include <algorithm>
#include <cmath>

using namespace vantorel;

class TestDesktopPalette : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void isQtsOwn_knowsWhatQtTakesWithoutATheme();
    void texts_canBeRead_data();
    void texts_canBeRead();
    void accent_marksWhatIsChosen_readably();
    void dark_isDark();
};

namespace {

double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
    const double first = luminance(one) + 0.05;
    const double second = luminance(other) + 0.05;
    return std::max(first / second, second / first);
}

} // namespace

void TestDesktopPalette::isQtsOwn_knowsWhatQtTakesWithoutATheme() {
    QVERIFY(isQtsOwn(QGuiApplication::palette()));
    QVERIFY(!isQtsOwn(lightPalette()));
    QVERIFY(!isQtsOwn(darkPalette()));
}

void TestDesktopPalette::texts_canBeRead_data() {
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("light") << lightPalette();
    QTest::newRow("dark") << darkPalette();
}

void TestDesktopPalette::texts_canBeRead() {
    QFETCH(QPalette, palette);
    const QList<std::pair<QPalette::ColorRole, QList<QPalette::ColorRole>>> pairs = {
        {QPalette::WindowText, {QPalette::Window}},
        {QPalette::Text, {QPalette::Base, QPalette::AlternateBase, QPalette::Window}},
        {QPalette::ButtonText, {QPalette::Button}},
        {QPalette::ToolTipText, {QPalette::ToolTipBase}},
        {QPalette::PlaceholderText, {QPalette::Base, QPalette::AlternateBase, QPalette::Window}},
        {QPalette::HighlightedText, {QPalette::Highlight}},
        {QPalette::Link, {QPalette::Base, QPalette::Window}},
        {QPalette::LinkVisited, {QPalette::Base, QPalette::Window}},
    };
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        for (const auto& [text, backgrounds] : pairs) {
            for (const auto background : backgrounds) {
                const double found = contrast(palette.color(group, text), palette.color(group, background));
                QVERIFY2(found >= 4.5, qPrintable(QString("%1 on %2: %3").arg(text).arg(background).arg(found)));
            }
        }
    }
}

void TestDesktopPalette::accent_marksWhatIsChosen_readably() {
    for (const char* const name : {"#3584e4", "#e01b24", "#f6d32d", "#000000", "#ffffff", "#2ec27e", "#9141ac"}) {
        for (const QPalette& palette : {lightPalette(QColor(name)), darkPalette(QColor(name))}) {
            QCOMPARE(palette.color(QPalette::Highlight), QColor(name));
            QVERIFY(contrast(palette.color(QPalette::Highlight), palette.color(QPalette::HighlightedText)) >= 4.5);
        }
    }
}

void TestDesktopPalette::dark_isDark() {
    QVERIFY(luminance(darkPalette().color(QPalette::Window)) < 0.05);
    QVERIFY(luminance(lightPalette().color(QPalette::Window)) > 0.8);
}

QTEST_MAIN(TestDesktopPalette)
#include "TestDesktopPalette.moc"
