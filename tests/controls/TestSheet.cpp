#include "controls/Sheet.h"

#include "controls/FittingScrollArea.h"

#include <QAccessible>
#include <QLineEdit>
#include <QPushButton>
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
        content = new QWidget;
        content->setFixedSize(300, height);
        content->setWindowTitle("Edit");
        auto* const column = new QVBoxLayout(content);
        for (auto* field : {&first, &second, &third})
            column->addWidget(*field = new QLineEdit);
        return new Sheet(content, this);
    }

    QPushButton* behind = new QPushButton("behind");
    QWidget* content = nullptr;
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
        const QWidget* const card = window.content;
        QCOMPARE(card->size(), QSize(300, 200));
        QVERIFY(window.rect().contains(card->geometry()));
    }

    void content_that_can_shrink_does_so_in_a_window_that_is_too_small() {
        Window window;
        auto* const tall = new QWidget;
        tall->setFixedSize(300, 900);
        auto* const column = new QVBoxLayout(tall);
        auto *const top = new QLineEdit, *const bottom = new QLineEdit;
        column->addWidget(top);
        column->addStretch();
        column->addWidget(bottom);
        auto* const area = new FittingScrollArea(tall);
        QCOMPARE(area->sizeHint(), QSize(300, 900));
        const Sheet* const sheet = new Sheet(area, &window);
        QVERIFY(sheet->rect().contains(area->geometry()));
        QVERIFY(area->verticalScrollBar()->maximum() > 0);
        // What has the focus is in view.
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
        QVERIFY(bottom->hasFocus());
        QCOMPARE(area->verticalScrollBar()->value(), area->verticalScrollBar()->maximum());
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
