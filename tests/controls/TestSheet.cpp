#include "controls/Sheet.h"

#include <QAccessible>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QVBoxLayout>

using namespace vantorel;

namespace {

struct Window : QWidget {
    Window() {
        auto* const column = new QVBoxLayout(this);
        column->addWidget(behind);
        resize(500, 400);
        show();
        behind->setFocus();
    }

    Sheet* present(int height = 200) {
        auto* const content = new QWidget;
        content->setFixedSize(300, height);
        content->setWindowTitle("Edit");
        auto* const column = new QVBoxLayout(content);
        for (auto* field : {&first, &second, &third})
            column->addWidget(*field = new QLineEdit);
        return new Sheet(content, this);
    }

    QPushButton* behind = new QPushButton("behind");
    QLineEdit *first = nullptr, *second = nullptr, *third = nullptr;
};

} // namespace

class TestSheet : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void covers_its_window_and_follows_its_size() {
        Window window;
        const Sheet* const sheet = window.present();
        QCOMPARE(sheet->geometry(), window.rect());
        window.resize(700, 600);
        QCOMPARE(sheet->geometry(), window.rect());
        const auto* const card = sheet->findChild<QScrollArea*>();
        QCOMPARE(card->size(), QSize(300, 200));
        QVERIFY(window.rect().contains(card->geometry()));
    }

    void content_scrolls_in_a_window_that_is_too_small() {
        Window window;
        const Sheet* const sheet = window.present(900);
        const auto* const card = sheet->findChild<QScrollArea*>();
        QVERIFY(window.rect().contains(card->geometry()));
        QVERIFY(card->verticalScrollBar()->maximum() > 0);
    }

    void keyboard_stays_within() {
        Window window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        window.present();
        QVERIFY(window.first->hasFocus());
        for (auto* const expected : {window.second, window.third, window.first, window.second}) {
            QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
            QVERIFY(expected->hasFocus());
        }
        for (auto* const expected : {window.first, window.third, window.second}) {
            QTest::keyClick(window.focusWidget(), Qt::Key_Backtab);
            QVERIFY(expected->hasFocus());
        }
    }

    void neither_escape_nor_a_press_beside_it_closes_it() {
        Window window;
        const QPointer<Sheet> sheet = window.present();
        QTest::keyClick(window.first, Qt::Key_Escape);
        QTest::keyClick(window.first, Qt::Key_Return);
        QTest::mouseClick(sheet, Qt::LeftButton, {}, QPoint(3, 3));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(sheet && sheet->isVisible());
    }

    void dismissing_gives_the_focus_back() {
        Window window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        window.behind->setFocus();
        const QPointer<Sheet> sheet = window.present();
        QVERIFY(!window.behind->hasFocus());
        sheet->dismiss();
        QVERIFY(window.behind->hasFocus());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!sheet);
    }

    void window_may_go_while_the_sheet_is_shown() {
        QPointer<Sheet> sheet;
        {
            Window window;
            sheet = window.present();
        }
        QVERIFY(!sheet);
    }

    void assistive_technology_sees_a_dialogue() {
        Window window;
        auto* const seen = QAccessible::queryAccessibleInterface(window.present());
        QCOMPARE(seen->role(), QAccessible::Dialog);
        QCOMPARE(seen->text(QAccessible::Name), QString("Edit"));
        QVERIFY(seen->state().modal);
    }
};

QTEST_MAIN(TestSheet)
#include "TestSheet.moc"
