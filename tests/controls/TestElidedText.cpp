#include "controls/ElidedText.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QTest>

using namespace vantorel;

class TestElidedText : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void text_that_fits_stays_whole() {
        const Elided shown = elided("one two", QApplication::font(), 500, 2);
        QCOMPARE(shown.lines, QStringList{"one two"});
        QVERIFY(!shown.isElided);
        QVERIFY(elided("", QApplication::font(), 500, 2).lines.isEmpty());
        QVERIFY(elided(" \n ", QApplication::font(), 500, 2).lines.isEmpty());
    }

    void lines_break_between_words() {
        const QFont font = QApplication::font();
        const qreal width = QFontMetricsF(font).horizontalAdvance("first line") + 2;
        const Elided shown = elided("first line second", font, width, 2);
        QCOMPARE(shown.lines, QStringList({"first line ", "second"}));
        QVERIFY(!shown.isElided);
        QCOMPARE(shown.joined(), QString("first line second"));
    }

    void last_line_ends_in_an_ellipsis_where_the_text_goes_on() {
        const QFont font = QApplication::font();
        for (const int lines : {1, 2, 3}) {
            const Elided shown = elided(QString("word ").repeated(200), font, 150, lines);
            QCOMPARE(shown.lines.size(), lines);
            QVERIFY(shown.isElided);
            QVERIFY(shown.lines.last().endsWith(u'…'));
            for (const QString& line : shown.lines)
                QVERIFY(QFontMetricsF(font).horizontalAdvance(line.trimmed()) <= 150);
        }
    }

    void word_that_is_too_long_is_broken() {
        const Elided shown = elided(QString("x").repeated(60), QApplication::font(), 100, 2);
        QCOMPARE(shown.lines.size(), 2);
        QVERIFY(shown.lines.first().size() > 5);
    }

    void text_that_takes_no_room_still_tells_that_it_goes_on() {
        const Elided shown = elided("a" + QString(QChar(0x0301)).repeated(5000), QApplication::font(), 100, 2);
        QVERIFY(shown.isElided);
        QVERIFY(shown.lines.last().endsWith(u'…'));
    }

    void pair_of_halves_is_not_cut() {
        for (const char* const start : {"", "a"}) {
            const Elided shown =
                elided(QString(start) + QString::fromUtf8("🎬").repeated(5000), QApplication::font(), 1e6, 1);
            QVERIFY(shown.isElided);
            QVERIFY(shown.lines.first().isValidUtf16());
        }
    }

    void tool_tip_is_text_of_bearable_size() {
        const QString tip = toolTipFor("<img src=x> & " + QString("y").repeated(100'000));
        QVERIFY(tip.contains("&lt;img src=x&gt; &amp;"));
        QVERIFY(Qt::mightBeRichText(tip));
        QVERIFY(tip.count("<br>") <= 15);
        QVERIFY(tip.size() < 5000);
    }
};

QTEST_MAIN(TestElidedText)
#include "TestElidedText.moc"
