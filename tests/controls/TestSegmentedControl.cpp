#include "controls/SegmentedControl.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QSignalSpy>
#include <QTest>

using namespace vantorel;

class TestSegmentedControl : public QObject {
    Q_OBJECT

    static QList<QAbstractButton*> segmentsOf(SegmentedControl& control) {
        return control.findChildren<QAbstractButton*>();
    }

private Q_SLOTS:
    void first_choice_holds_at_first() {
        SegmentedControl control({"a", "b", "c"});
        QCOMPARE(control.currentIndex(), 0);
    }

    void click_chooses_one_and_announces_it_once() {
        SegmentedControl control({"a", "b", "c"});
        control.resize(control.sizeHint());
        control.show();
        QSignalSpy chosen(&control, &SegmentedControl::chosen);
        QTest::mouseClick(segmentsOf(control)[2], Qt::LeftButton);
        QCOMPARE(control.currentIndex(), 2);
        QCOMPARE(chosen, QList<QVariantList>{{2}});
        QTest::mouseClick(segmentsOf(control)[2], Qt::LeftButton);
        QCOMPARE(chosen.size(), 1);
        int checked = 0;
        for (const auto* segment : segmentsOf(control))
            checked += segment->isChecked() ? 1 : 0;
        QCOMPARE(checked, 1);
    }

    void arrow_keys_choose() {
        SegmentedControl control({"a", "b", "c"});
        control.show();
        QVERIFY(QTest::qWaitForWindowActive(&control));
        segmentsOf(control)[0]->setFocus();
        QSignalSpy chosen(&control, &SegmentedControl::chosen);
        QTest::keyClick(segmentsOf(control)[0], Qt::Key_Right);
        QCOMPARE(control.currentIndex(), 1);
        QCOMPARE(chosen.size(), 1);
    }

    void code_that_sets_it_announces_nothing() {
        SegmentedControl control({"a", "b"});
        QSignalSpy chosen(&control, &SegmentedControl::chosen);
        control.setCurrentIndex(1);
        QCOMPARE(control.currentIndex(), 1);
        control.setCurrentIndex(7);
        control.setCurrentIndex(-1);
        QCOMPARE(control.currentIndex(), 1);
        QVERIFY(chosen.isEmpty());
    }

    void assistive_technology_sees_radio_buttons() {
        SegmentedControl control({"Contains", "Regex"});
        control.setCurrentIndex(1);
        auto* const segment = QAccessible::queryAccessibleInterface(segmentsOf(control)[1]);
        QCOMPARE(segment->role(), QAccessible::RadioButton);
        QCOMPARE(segment->text(QAccessible::Name), QString("Regex"));
        QVERIFY(segment->state().checked);
    }
};

QTEST_MAIN(TestSegmentedControl)
#include "TestSegmentedControl.moc"
