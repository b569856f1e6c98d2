#include "settings/RuleList.h"

#include "fakes/FakeUserDefaults.h"
#include "routing/RulesStore.h"
#include "settings/Detectors.h"
#include "settings/RuleListModel.h"
#include "settings/RuleRow.h"

#include <QAccessible>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace vantorel;

namespace {

QList<Rule> someRules(int count) {
    QList<Rule> rules;
    for (int i = 0; i < count; ++i)
        rules.append({.name = QString("rule %1").arg(i), .pattern = "a", .browserBundleID = "org.example.Browser"});
    return rules;
}

} // namespace

/// The list with a window around it that keeps the two markers, as the settings do.
class TestRuleList : public QObject {
    Q_OBJECT

    struct Window {
        FakeUserDefaults defaults;
        RulesStore store{defaults, std::chrono::milliseconds(0)};
        Detectors detectors;
        std::unique_ptr<RuleListModel> model;
        std::optional<QUuid> dragged;
        int moves = 0; // that were asked for
        std::unique_ptr<RuleList> list;

        explicit Window(int count) {
            store.setRules(someRules(count));
            model = std::make_unique<RuleListModel>(store, detectors.browsers, detectors.apps);
            list = std::make_unique<RuleList>(*model, [this](const QUuid& target) {
                return RuleDropDelegate{target, dragged, store.rules(), [this](const QUuid& from, const QUuid& to) {
                                            ++moves;
                                            model->moveRule(from, to);
                                        }};
            });
            QObject::connect(list.get(), &RuleList::selectionRequested, list.get(), &RuleList::setSelectedRuleID);
            list->resize(500, 320);
            list->show();
            (void)QTest::qWaitForWindowActive(list.get());
        }

        QList<RuleRow*> rows() const {
            QList<RuleRow*> visible;
            for (auto* const row : list->viewport()->findChildren<RuleRow*>()) {
                if (row->isVisible())
                    visible.append(row);
            }
            std::sort(visible.begin(), visible.end(), [](auto* a, auto* b) { return a->y() < b->y(); });
            return visible;
        }
        QStringList names() const {
            QStringList result;
            for (const Rule& rule : store.rules())
                result.append(rule.name);
            return result;
        }
        void startDrag(int row) {
            dragged = store.rules()[row].id;
            list->setDraggedRuleID(dragged);
        }
        // What the toolkit tells a widget while something is dragged over it; whether it was taken.
        bool dragTo(const QPoint& position) {
            QMimeData data;
            data.setText("text");
            QDragEnterEvent enter(position, Qt::MoveAction, &data, Qt::LeftButton, {});
            QCoreApplication::sendEvent(list->viewport(), &enter);
            QDragMoveEvent move(position, Qt::MoveAction, &data, Qt::LeftButton, {});
            move.ignore();
            QCoreApplication::sendEvent(list->viewport(), &move);
            return move.isAccepted();
        }
        bool dragTo(int row) { return dragTo(list->rowRect(row).center()); }
        bool drop(const QPoint& position) {
            QMimeData data;
            data.setText("text");
            QDropEvent event(position, Qt::MoveAction, &data, Qt::LeftButton, {});
            event.ignore();
            QCoreApplication::sendEvent(list->viewport(), &event);
            return event.isAccepted();
        }
    };

private Q_SLOTS:
    void only_visible_rows_have_widgets() {
        Window window(1000);
        const auto shown = window.rows().size();
        QVERIFY2(shown >= 4 && shown <= 12, qPrintable(QString::number(shown)));
        for (int value = 0; value <= window.list->verticalScrollBar()->maximum(); value += 517)
            window.list->verticalScrollBar()->setValue(value);
        window.list->verticalScrollBar()->setValue(window.list->verticalScrollBar()->maximum());
        QVERIFY(window.list->viewport()->findChildren<RuleRow*>().size() <= 16);
        QCOMPARE(window.rows().last()->rule().name, QString("rule 999"));
        QVERIFY(window.list->viewport()->rect().contains(window.rows().last()->geometry()));
    }

    void rows_show_what_scrolls_into_view() {
        Window window(100);
        window.list->verticalScrollBar()->setValue(window.list->rowRect(40).top());
        for (auto* const row : window.rows())
            QCOMPARE(row->geometry(), window.list->rowRect(window.model->rowOf(row->rule().id)));
        QVERIFY(window.model->rowOf(window.rows().first()->rule().id) >= 39);
    }

    void click_selects_and_click_beside_rows_selects_nothing() {
        Window window(3);
        QSignalSpy requested(window.list.get(), &RuleList::selectionRequested);
        QTest::mouseClick(window.rows()[1], Qt::LeftButton);
        QCOMPARE(window.list->selectedRow(), 1);
        QVERIFY(window.rows()[1]->isSelected() && !window.rows()[0]->isSelected());
        QTest::mouseClick(window.list->viewport(), Qt::LeftButton, {}, QPoint(250, 310));
        QCOMPARE(window.list->selectedRow(), -1);
        QCOMPARE(requested.size(), 2);
    }

    void double_click_edits() {
        Window window(3);
        QSignalSpy edited(window.list.get(), &RuleList::editRequested);
        QTest::mouseDClick(window.rows()[2], Qt::LeftButton);
        QCOMPARE(edited.size(), 1);
        QCOMPARE(edited[0][0].value<vantorel::Rule>().name, QString("rule 2"));
    }

    void switch_of_a_row_switches_its_rule_alone() {
        Window window(3);
        QTest::mouseClick(window.rows()[1]->findChild<QAbstractButton*>(), Qt::LeftButton);
        QCOMPARE(window.store.rules()[1].isEnabled, false);
        QVERIFY(window.store.rules()[0].isEnabled && window.store.rules()[2].isEnabled);
        QCOMPARE(window.list->selectedRow(), -1);
    }

    void keys_select() {
        Window window(30);
        const auto press = [&](Qt::Key key) {
            QTest::keyClick(window.list.get(), key);
            return window.list->selectedRow();
        };
        QCOMPARE(press(Qt::Key_Down), 0);
        QCOMPARE(press(Qt::Key_Down), 1);
        QCOMPARE(press(Qt::Key_Up), 0);
        QCOMPARE(press(Qt::Key_Up), 0);
        QCOMPARE(press(Qt::Key_End), 29);
        QVERIFY(window.list->viewport()->rect().contains(window.list->rowRect(29)));
        QCOMPARE(press(Qt::Key_Down), 29);
        const int page = 29 - press(Qt::Key_PageUp);
        QVERIFY(page > 1);
        QCOMPARE(press(Qt::Key_Home), 0);
        QCOMPARE(press(Qt::Key_PageDown), page);
        QVERIFY(window.list->viewport()->rect().contains(window.list->rowRect(page)));
    }

    void keys_act_on_the_selected_row() {
        Window window(4);
        QSignalSpy edited(window.list.get(), &RuleList::editRequested);
        QSignalSpy deleted(window.list.get(), &RuleList::deletionRequested);
        for (const Qt::Key key : {Qt::Key_Delete, Qt::Key_Return, Qt::Key_Space})
            QTest::keyClick(window.list.get(), key);
        QVERIFY(edited.isEmpty() && deleted.isEmpty()); // nothing is selected yet
        window.list->select(1);
        QTest::keyClick(window.list.get(), Qt::Key_Return);
        QCOMPARE(edited.size(), 1);
        QTest::keyClick(window.list.get(), Qt::Key_Delete);
        QCOMPARE(deleted.size(), 1);
        QTest::keyClick(window.list.get(), Qt::Key_Space);
        QCOMPARE(window.store.rules()[1].isEnabled, false);
        QTest::keyClick(window.list.get(), Qt::Key_Down, Qt::AltModifier);
        QCOMPARE(window.names(), QStringList({"rule 0", "rule 2", "rule 1", "rule 3"}));
        QCOMPARE(window.list->selectedRow(), 2);
        QTest::keyClick(window.list.get(), Qt::Key_Up, Qt::AltModifier);
        QTest::keyClick(window.list.get(), Qt::Key_Up, Qt::AltModifier);
        QTest::keyClick(window.list.get(), Qt::Key_Up, Qt::AltModifier);
        QCOMPARE(window.names(), QStringList({"rule 1", "rule 0", "rule 2", "rule 3"}));
    }

    void dragged_rule_takes_the_place_of_each_row_it_enters() {
        Window window(4);
        window.startDrag(0);
        QVERIFY(window.dragTo(0)); // over itself: taken, and nothing moves
        QCOMPARE(window.names().first(), QString("rule 0"));
        QVERIFY(window.dragTo(2));
        QCOMPARE(window.names(), QStringList({"rule 1", "rule 2", "rule 0", "rule 3"}));
        QVERIFY(window.dragTo(3));
        QCOMPARE(window.names(), QStringList({"rule 1", "rule 2", "rule 3", "rule 0"}));
        QVERIFY(window.dragTo(1));
        QCOMPARE(window.names(), QStringList({"rule 1", "rule 0", "rule 2", "rule 3"}));
        QVERIFY(window.drop(window.list->rowRect(1).center()));
        QVERIFY(!window.dragged);
    }

    void pointer_that_stays_on_a_row_moves_nothing_again() {
        Window window(3);
        window.dragged = QUuid::createUuid(); // deleted meanwhile: it never comes to be under the pointer
        window.dragTo(window.list->rowRect(2).center());
        window.dragTo(window.list->rowRect(2).center() + QPoint(5, 3));
        QCOMPARE(window.moves, 1);
        window.dragTo(1);
        window.dragTo(2);
        QCOMPARE(window.moves, 3);
    }

    void marker_stays_when_a_drag_ends_beside_the_rows() {
        Window window(2);
        window.startDrag(0);
        QVERIFY(!window.dragTo(QPoint(250, 310)));
        QVERIFY(!window.drop(QPoint(250, 310)));
        QVERIFY(window.dragged);
        QVERIFY(window.rows()[0]->isDragging());
    }

    void text_from_elsewhere_is_refused() {
        Window window(3);
        QVERIFY(!window.dragTo(1));
        QVERIFY(!window.drop(window.list->rowRect(1).center()));
        QCOMPARE(window.names(), QStringList({"rule 0", "rule 1", "rule 2"}));
    }

    void list_scrolls_while_a_drag_is_near_its_edge() {
        Window window(50);
        window.startDrag(0);
        window.dragTo(QPoint(250, window.list->viewport()->height() - 5));
        QTRY_VERIFY(window.list->verticalScrollBar()->value() > 200);
        // The rule comes along.
        QVERIFY(window.model->rowOf(*window.dragged) > 5);
        window.dragTo(QPoint(250, 5));
        QTRY_COMPARE(window.list->verticalScrollBar()->value(), 0);
        QTRY_COMPARE(window.model->rowOf(*window.dragged), 0);
        window.dragTo(QPoint(250, 150));
        const int value = window.list->verticalScrollBar()->value();
        QTest::qWait(100);
        QCOMPARE(window.list->verticalScrollBar()->value(), value);
    }

    void a_row_keeps_its_widget_when_its_rule_moves() {
        Window window(4);
        auto* const first = window.rows()[0];
        window.model->moveRule(window.store.rules()[0].id, window.store.rules()[2].id);
        QCOMPARE(first->rule().name, QString("rule 0"));
        QTRY_COMPARE(first->geometry(), window.list->rowRect(2));
    }

    void rows_follow_every_change_of_the_store() {
        Window window(20);
        auto rules = window.store.rules();
        rules.remove(3, 2);
        rules.insert(1, {.name = "new"});
        rules[0].name = "renamed";
        std::reverse(rules.begin() + 5, rules.end());
        window.store.setRules(rules);
        QTest::qWait(250); // rows are where they belong once they have come to rest
        for (auto* const row : window.rows()) {
            const int place = window.model->rowOf(row->rule().id);
            QCOMPARE(row->rule(), rules[place]);
            QCOMPARE(row->geometry(), window.list->rowRect(place));
        }
        window.store.setRules({});
        QVERIFY(window.rows().isEmpty());
    }

    void row_that_was_added_comes_into_view() {
        Window window(30);
        window.store.add({.name = "added"});
        QVERIFY(window.list->viewport()->rect().contains(window.list->rowRect(30)));
    }

    void larger_font_makes_higher_rows() {
        Window window(3);
        const int before = window.rows()[0]->height();
        QFont larger = window.list->font();
        larger.setPointSizeF(larger.pointSizeF() * 2);
        window.list->setFont(larger);
        QVERIFY(window.rows()[0]->height() > before * 3 / 2);
        QCOMPARE(window.rows()[1]->geometry(), window.list->rowRect(1));
    }

    void right_to_left_mirrors_a_row() {
        Window window(1);
        const auto* const row = window.rows()[0];
        const auto* const control = row->findChild<QAbstractButton*>();
        QVERIFY(control->x() < row->width() / 2 && row->handle().x() > row->width() / 2);
        window.list->setLayoutDirection(Qt::RightToLeft);
        QVERIFY(control->x() > row->width() / 2 && row->handle().x() < row->width() / 2);
    }

    void disabled_and_dragged_rows_are_dimmed() {
        Window window(1);
        auto* const row = window.rows()[0];
        const auto darkest = [row] {
            const QImage image = row->grab().toImage();
            int least = 255;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 60; x < 200; ++x)
                    least = std::min(least, qGray(image.pixel(x, y)));
            }
            return least;
        };
        const int plain = darkest();
        window.startDrag(0);
        const int dragged = darkest();
        window.list->setDraggedRuleID(std::nullopt);
        window.model->setEnabled(0, false);
        const int disabled = darkest();
        QVERIFY2(plain < dragged && dragged < disabled,
                 qPrintable(QString("%1 %2 %3").arg(plain).arg(dragged).arg(disabled)));
    }

    void assistive_technology_sees_every_rule() {
        Window window(200);
        auto* const seen = QAccessible::queryAccessibleInterface(window.list.get());
        QCOMPARE(seen->role(), QAccessible::List);
        QCOMPARE(seen->childCount(), 200);
        auto* const last = seen->child(199);
        QCOMPARE(last->role(), QAccessible::ListItem);
        QCOMPARE(last->text(QAccessible::Name), QString("rule 199"));
        QVERIFY(last->state().offscreen && !seen->child(0)->state().offscreen);
        QCOMPARE(seen->indexOfChild(last), 199);
        QCOMPARE(last->parent(), seen);
        QCOMPARE(last->child(0)->role(), QAccessible::CheckBox);
        QVERIFY(last->child(0)->state().checked);
        QVERIFY(!seen->child(200));
        QVERIFY(!seen->child(-1));
    }

    void assistive_technology_can_do_everything() {
        Window window(3);
        QSignalSpy edited(window.list.get(), &RuleList::editRequested);
        QSignalSpy deleted(window.list.get(), &RuleList::deletionRequested);
        auto* const seen = QAccessible::queryAccessibleInterface(window.list.get());
        auto* const second = seen->child(1);
        second->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(window.list->selectedRow(), 1);
        QVERIFY(second->state().selected);
        second->child(0)->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QCOMPARE(window.store.rules()[1].isEnabled, false);
        QVERIFY(!second->child(0)->state().checked);
        second->actionInterface()->doAction("Edit");
        QCOMPARE(edited.size(), 1);
        second->actionInterface()->doAction("Move Up");
        QCOMPARE(window.names(), QStringList({"rule 1", "rule 0", "rule 2"}));
        // The item has gone along with its rule.
        QCOMPARE(seen->indexOfChild(second), 0);
        QCOMPARE(seen->child(0), second);
        second->actionInterface()->doAction("Move Down");
        QCOMPARE(window.names(), QStringList({"rule 0", "rule 1", "rule 2"}));
        seen->child(2)->actionInterface()->doAction("Delete");
        QCOMPARE(deleted.size(), 1);
        QCOMPARE(window.list->selectedRow(), 2);
    }

    void assistive_technology_loses_what_was_deleted_only() {
        Window window(4);
        auto* const seen = QAccessible::queryAccessibleInterface(window.list.get());
        for (int i = 0; i < 4; ++i)
            QVERIFY(seen->child(i));
        window.model->removeRule(window.store.rules()[1].id);
        QCOMPARE(seen->childCount(), 3);
        QStringList names;
        for (int i = 0; i < seen->childCount(); ++i)
            names.append(seen->child(i)->text(QAccessible::Name));
        QCOMPARE(names, QStringList({"rule 0", "rule 2", "rule 3"}));
        window.store.add({.name = "new"});
        QCOMPARE(seen->child(3)->text(QAccessible::Name), QString("new"));
        auto rules = window.store.rules();
        std::reverse(rules.begin(), rules.end());
        window.store.setRules(rules);
        names.clear();
        for (int i = 0; i < seen->childCount(); ++i)
            names.append(seen->child(i)->text(QAccessible::Name));
        QCOMPARE(names, QStringList({"new", "rule 3", "rule 2", "rule 0"}));
    }
};

QTEST_MAIN(TestRuleList)
#include "TestRuleList.moc"
