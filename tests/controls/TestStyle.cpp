#include "controls/Buttons.h"
#include "controls/Style.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QScrollBar>
#include <QStyleFactory>
#include <QStyleOptionSlider>
#include <QTest>
#include <QTimer>

using namespace vantorel;

class TestStyle : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QApplication::setStyle(new Style); }

    void stands_in_for_the_toolkits_own_style_only() {
        QVERIFY(!Style::isWanted()); // it is in effect already
        QApplication::setStyle(QStyleFactory::create("Windows"));
        QVERIFY(!Style::isWanted());
        QApplication::setStyle(QStyleFactory::create("Fusion"));
        QVERIFY(Style::isWanted());
        QApplication::setStyle(new Style);
    }

    void controls_beside_each_other_are_of_one_height() {
        QPushButton button("button");
        QComboBox combo;
        combo.addItem("entry");
        QLineEdit line;
        QCOMPARE(button.sizeHint().height(), combo.sizeHint().height());
        QCOMPARE(button.sizeHint().height(), line.sizeHint().height());
    }

    void each_state_of_a_button_looks_different() {
        QPushButton button("button");
        button.resize(button.sizeHint());
        const QImage plain = button.grab().toImage();
        button.setDown(true);
        const QImage down = button.grab().toImage();
        button.setDown(false);
        button.setEnabled(false);
        const QImage disabled = button.grab().toImage();
        QVERIFY(plain != down && plain != disabled && down != disabled);
    }

    void prominent_button_has_the_accent_and_keeps_to_it() {
        ProminentButton button("button");
        QCOMPARE(button.palette().color(QPalette::Button), QApplication::palette().color(QPalette::Highlight));
        const QPalette before = QApplication::palette();
        QPalette other = before;
        other.setColor(QPalette::Highlight, QColor(200, 20, 120));
        QApplication::setPalette(other);
        QCoreApplication::processEvents();
        QCOMPARE(button.palette().color(QPalette::Button), QColor(200, 20, 120));
        QApplication::setPalette(before);
    }

    void texts_that_a_theme_leaves_unreadable_are_mended() {
        QPalette dark(Qt::white, Qt::black, Qt::black, Qt::black, Qt::black, Qt::white, Qt::black);
        dark.setColor(QPalette::ButtonText, Qt::white);
        dark.setColor(QPalette::PlaceholderText, QColor(0, 0, 0, 128));
        dark.setColor(QPalette::Disabled, QPalette::ButtonText, Qt::black);
        Style().polish(dark);
        QVERIFY(dark.color(QPalette::PlaceholderText).lightnessF() > 0.4F);
        QVERIFY(dark.color(QPalette::Disabled, QPalette::ButtonText).lightnessF() > 0.4F);

        QPalette light(Qt::black, Qt::white, Qt::white, Qt::gray, Qt::gray, Qt::black, Qt::white);
        light.setColor(QPalette::PlaceholderText, QColor(0, 0, 0, 128));
        light.setColor(QPalette::Disabled, QPalette::WindowText, QColor(120, 120, 120));
        Style().polish(light);
        QCOMPARE(light.color(QPalette::PlaceholderText), QColor(0, 0, 0, 128));
        QCOMPARE(light.color(QPalette::Disabled, QPalette::WindowText), QColor(120, 120, 120));
    }

    void icon_button_is_named_by_its_help() {
        const IconButton button(Symbol::plus, "Add rule");
        QCOMPARE(button.toolTip(), QString("Add rule"));
        QCOMPARE(button.accessibleName(), QString("Add rule"));
        QVERIFY(button.focusPolicy() & Qt::TabFocus);
    }

    void scroll_bars_handle_covers_the_way_in_proportion() {
        QScrollBar bar(Qt::Vertical);
        bar.resize(10, 400);
        bar.setRange(0, 300);
        bar.setPageStep(100);
        QStyleOptionSlider option;
        option.initFrom(&bar);
        option.orientation = Qt::Vertical;
        option.minimum = 0;
        option.maximum = 300;
        option.pageStep = 100;
        const auto handle = [&](int position) {
            option.sliderPosition = position;
            return QApplication::style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider,
                                                         &bar);
        };
        QCOMPARE(handle(0), QRect(0, 0, 10, 100));
        QCOMPARE(handle(300), QRect(0, 300, 10, 100));
        // A very long document still leaves something to grasp.
        option.maximum = 1'000'000;
        QVERIFY(handle(0).height() >= 20);
    }
};

// The toolkit tells of its changes only while its loop runs.
int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    TestStyle test;
    QTimer::singleShot(0, &application, [&] { QCoreApplication::exit(QTest::qExec(&test, argc, argv)); });
    return QApplication::exec();
}

#include "TestStyle.moc"
