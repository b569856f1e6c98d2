#include "controls/Text.h"
#include "controls/Theme.h"

#include <QApplication>
#include <QTest>
#include <QTimer>

#include <cmath>

using namespace vantorel;

namespace {

// Relative luminance and contrast as WCAG 2 defines them.
double luminance(const QColor& color) {
    const auto linear = [](double value) {
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& a, const QColor& b) {
    const double x = luminance(a), y = luminance(b);
    return (std::max(x, y) + 0.05) / (std::min(x, y) + 0.05);
}

QPalette paletteOf(const QColor& window, const QColor& base, const QColor& text) {
    QPalette palette(window, window);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::WindowText, text);
    return palette;
}

} // namespace

class TestTheme : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void texts_are_readable_data() {
        QTest::addColumn<QPalette>("palette");
        QTest::newRow("light") << paletteOf(QColor(0xf4f4f6), Qt::white, QColor(0x1c1c1e));
        QTest::newRow("grey") << paletteOf(QColor(0xefefef), Qt::white, Qt::black);
        QTest::newRow("dark") << paletteOf(QColor(0x2b2b2d), QColor(0x1f1f21), QColor(0xf0f0f0));
        QTest::newRow("high contrast") << paletteOf(Qt::white, Qt::white, Qt::black);
        QTest::newRow("high contrast, dark") << paletteOf(Qt::black, Qt::black, Qt::white);
    }
    void texts_are_readable() {
        QFETCH(QPalette, palette);
        using theme::Tone;
        for (const Tone tone : {Tone::primary, Tone::secondary, Tone::tertiary, Tone::blue, Tone::purple, Tone::red}) {
            for (const auto ground : {QPalette::Window, QPalette::Base}) {
                const double reached = contrast(theme::color(tone, palette), palette.color(ground));
                QVERIFY2(reached >= 4.5, qPrintable(QString("tone %1: %2").arg(static_cast<int>(tone)).arg(reached)));
            }
        }
    }

    void marks_are_seen_data() { texts_are_readable_data(); }
    void marks_are_seen() {
        QFETCH(QPalette, palette);
        using theme::Tone;
        for (const Tone tone : {Tone::green, Tone::orange, Tone::gray}) {
            for (const auto ground : {QPalette::Window, QPalette::Base}) {
                const double reached = contrast(theme::color(tone, palette), palette.color(ground));
                QVERIFY2(reached >= 3, qPrintable(QString("tone %1: %2").arg(static_cast<int>(tone)).arg(reached)));
            }
        }
    }

    void lines_are_firm_where_all_contrast_is_wanted() {
        using theme::Tone;
        for (const auto& [window, text] : {std::pair(Qt::white, Qt::black), std::pair(Qt::black, Qt::white)}) {
            const QPalette strong = paletteOf(window, window, text);
            QVERIFY(theme::isHighContrast(strong));
            const QColor line = theme::color(Tone::outline, strong);
            const QColor seen = theme::mixed(window, QColor(line.rgb()), line.alphaF());
            QVERIFY(contrast(seen, window) >= 3);
        }
        QVERIFY(!theme::isHighContrast(paletteOf(QColor(0xefefef), Qt::white, Qt::black)));
    }

    void dark_is_told_from_light() {
        QVERIFY(!theme::isDark(paletteOf(Qt::white, Qt::white, Qt::black)));
        QVERIFY(theme::isDark(paletteOf(Qt::black, Qt::black, Qt::white)));
    }

    void types_follow_the_body_font() {
        QFont body = QApplication::font();
        body.setPointSizeF(20);
        QVERIFY(theme::font(theme::Type::caption, body).pointSizeF() < 20);
        QVERIFY(theme::font(theme::Type::headline, body).pointSizeF() > 20);
        QCOMPARE(theme::font(theme::Type::body, body), body);
        QVERIFY(theme::font(theme::Type::monospacedCaption, body).pointSizeF() < 20);
        body.setPixelSize(30);
        QVERIFY(theme::font(theme::Type::caption, body).pixelSize() < 30);
        QVERIFY(theme::font(theme::Type::monospacedCaption, body).pixelSize() < 30);
    }

    void text_follows_the_palette_while_it_is_shown() {
        const QPalette before = QApplication::palette();
        QApplication::setPalette(paletteOf(Qt::white, Qt::white, Qt::black));
        Text text("text", theme::Type::caption, theme::Tone::purple);
        const QColor light = text.palette().color(QPalette::WindowText);
        QApplication::setPalette(paletteOf(Qt::black, Qt::black, Qt::white));
        QCoreApplication::processEvents();
        QVERIFY(text.palette().color(QPalette::WindowText) != light);
        QCOMPARE(text.palette().color(QPalette::WindowText),
                 theme::color(theme::Tone::purple, QApplication::palette()));
        QApplication::setPalette(before);
    }

    void text_follows_the_font_while_it_is_shown() {
        const QFont before = QApplication::font();
        Text text("text", theme::Type::headline);
        QFont larger = before;
        larger.setPointSizeF(before.pointSizeF() * 2);
        QApplication::setFont(larger);
        QCoreApplication::processEvents();
        QCOMPARE(text.font().pointSizeF(), theme::font(theme::Type::headline, larger).pointSizeF());
        QApplication::setFont(before);
    }

    void text_shows_markup_as_it_is() {
        const Text text("<b>a</b> & b", theme::Type::body);
        QCOMPARE(text.textFormat(), Qt::PlainText);
    }
};

// The toolkit tells of its changes only while its loop runs.
int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    TestTheme test;
    QTimer::singleShot(0, &application, [&] { QCoreApplication::exit(QTest::qExec(&test, argc, argv)); });
    return QApplication::exec();
}

#include "TestTheme.moc"
