#include "controls/Switch.h"

#include <QAccessible>
#include <QSignalSpy>
#include <QTest>

using namespace vantorel;

class TestSwitch : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void press_anywhere_on_it_switches() {
        Switch control("Tips");
        control.resize(control.sizeHint());
        control.show();
        QSignalSpy clicked(&control, &Switch::clicked);
        QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(2, control.height() / 2));
        QVERIFY(control.isChecked());
        QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(control.width() - 3, control.height() / 2));
        QVERIFY(!control.isChecked());
        QCOMPARE(clicked.size(), 2);
    }

    void space_switches() {
        Switch control;
        control.show();
        QTest::keyClick(&control, Qt::Key_Space);
        QVERIFY(control.isChecked());
    }

    void nothing_moves_when_it_is_disabled() {
        Switch control;
        control.setEnabled(false);
        control.show();
        QTest::mouseClick(&control, Qt::LeftButton);
        QVERIFY(!control.isChecked());
    }

    void code_that_sets_it_announces_no_click() {
        Switch control;
        QSignalSpy clicked(&control, &Switch::clicked);
        control.setChecked(true);
        control.setCheckedAtOnce(false);
        QVERIFY(clicked.isEmpty());
    }

    void assistive_technology_sees_a_check_box() {
        Switch control("Tips");
        auto* const seen = QAccessible::queryAccessibleInterface(&control);
        QCOMPARE(seen->role(), QAccessible::CheckBox);
        QCOMPARE(seen->text(QAccessible::Name), QString("Tips"));
        QVERIFY(seen->state().checkable);
        QVERIFY(!seen->state().checked);
        seen->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QVERIFY(seen->state().checked);
        control.setEnabled(false);
        QVERIFY(seen->state().disabled);
    }

    void knob_is_where_the_state_is() {
        Switch control;
        control.resize(control.sizeHint());
        const QImage off = control.grab().toImage();
        control.setCheckedAtOnce(true);
        const QImage on = control.grab().toImage();
        // White to the left when off, white to the right when on; mirrored in a right-to-left layout.
        const auto isKnob = [](const QImage& image, int x) {
            return image.pixelColor(x, image.height() / 2) == QColor(Qt::white);
        };
        const int left = 13, right = control.width() - 14;
        QVERIFY(isKnob(off, left) && !isKnob(off, right));
        QVERIFY(!isKnob(on, left) && isKnob(on, right));
        control.setLayoutDirection(Qt::RightToLeft);
        const QImage mirrored = control.grab().toImage();
        QVERIFY(isKnob(mirrored, left) && !isKnob(mirrored, right));
    }

    void states_look_different() {
        Switch control;
        control.resize(control.sizeHint());
        control.setCheckedAtOnce(true);
        const QImage plain = control.grab().toImage();
        control.setDown(true);
        QVERIFY(control.grab().toImage() != plain);
        control.setDown(false);
        control.setOpacity(0.5);
        QVERIFY(control.grab().toImage() != plain);
        control.setOpacity(1);
        control.setEnabled(false);
        QVERIFY(control.grab().toImage() != plain);
    }
};

QTEST_MAIN(TestSwitch)
#include "TestSwitch.moc"
