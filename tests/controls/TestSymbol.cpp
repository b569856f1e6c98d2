#include "controls/Symbol.h"

#include <QImage>
#include <QPainter>
#include <QTest>

using namespace vantorel;

class TestSymbol : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void every_symbol_draws_in_the_colour_that_is_asked_for() {
        for (int i = 0; i <= static_cast<int>(Symbol::power); ++i) {
            const QImage image = symbolPixmap(static_cast<Symbol>(i), 32, QColor(10, 200, 30), 1).toImage();
            int covered = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    const QColor pixel = image.pixelColor(x, y);
                    if (pixel.alpha() < 255)
                        continue;
                    ++covered;
                    QCOMPARE(pixel, QColor(10, 200, 30));
                }
            }
            // None is empty, and none is a filled square.
            QVERIFY2(covered > 20 && covered < 32 * 32 * 3 / 4,
                     qPrintable(QString("symbol %1: %2").arg(i).arg(covered)));
        }
    }

    void symbols_are_all_different() {
        QList<QImage> seen;
        for (int i = 0; i <= static_cast<int>(Symbol::power); ++i) {
            const QImage image = symbolPixmap(static_cast<Symbol>(i), 32, Qt::black, 1).toImage();
            QVERIFY(!seen.contains(image));
            seen.append(image);
        }
    }

    void picture_has_the_pixels_of_its_scale() {
        const QPixmap pixmap = symbolPixmap(Symbol::plus, 16, Qt::black, 2);
        QCOMPARE(pixmap.size(), QSize(32, 32));
        QCOMPARE(pixmap.deviceIndependentSize(), QSizeF(16, 16));
    }

    void nothing_is_drawn_where_there_is_no_room() {
        QImage image(8, 8, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        const QImage before = image;
        QPainter painter(&image);
        paintSymbol(painter, QRectF(0, 0, 0, 8), Symbol::plus, Qt::black);
        painter.end();
        QCOMPARE(image, before);
    }
};

QTEST_MAIN(TestSymbol)
#include "TestSymbol.moc"
