#include "settings/SettingsView.h"

#include "controls/Sheet.h"
#include "controls/Switch.h"
#include "fakes/FakeSystemSettings.h"
#include "fakes/FakeUserDefaults.h"
#include "routing/RulesStore.h"
#include "settings/AppPicker.h"
#include "settings/BrowserPicker.h"
#include "settings/Detectors.h"
#include "settings/RuleEditorView.h"
#include "settings/RuleList.h"
#include "settings/RuleListModel.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

using namespace vantorel;

/// The settings as the user meets them: found by what stands on them.
class TestSettingsView : public QObject {
    Q_OBJECT

    struct Window {
        FakeUserDefaults defaults;
        RulesStore store{defaults, std::chrono::milliseconds(0)};
        Detectors detectors;
        FakeSystemSettings system;
        std::unique_ptr<SettingsView> view;

        explicit Window(const QList<Rule>& rules = {}) {
            detectors.setBrowsers(
                {{.id = "org.example.Blue", .name = "Blue"}, {.id = "org.example.Red", .name = "Red"}});
            detectors.setApps({{.id = "org.example.Mail", .name = "Mail"}});
            store.setRules(rules);
            open();
        }
        void open() {
            view = std::make_unique<SettingsView>(store, detectors.browsers, detectors.apps, system);
            view->resize(620, 500);
            view->show();
            (void)QTest::qWaitForWindowActive(view.get());
        }

        QAbstractButton* button(const QString& text, QWidget* within = nullptr) const {
            for (auto* const candidate : (within ? within : view.get())->findChildren<QAbstractButton*>()) {
                if ((candidate->text() == text || candidate->toolTip() == text) && candidate->isVisible())
                    return candidate;
            }
            return nullptr;
        }
        QLabel* label(const QString& text, QWidget* within = nullptr) const {
            for (auto* const candidate : (within ? within : view.get())->findChildren<QLabel*>()) {
                if (candidate->text() == text && candidate->isVisible())
                    return candidate;
            }
            return nullptr;
        }
        RuleList& list() const { return *view->findChild<RuleList*>(); }
        BrowserPicker& fallback() const {
            for (auto* const picker : view->findChildren<BrowserPicker*>()) {
                if (!editor() || !editor()->isAncestorOf(picker))
                    return *picker;
            }
            qFatal("no fallback picker");
        }
        RuleEditorView* editor() const {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return view->findChild<RuleEditorView*>();
        }
        template <typename Field> Field& field() const { return *editor()->findChild<Field*>(); }
        // As the user does it: the entry with that text.
        static void pick(QComboBox& picker, const QString& name) {
            picker.setCurrentIndex(picker.findText(name));
            Q_EMIT picker.activated(picker.currentIndex());
        }
        bool isSaved() {
            const bool saved = QTest::qWaitFor([this] { return defaults.writes() > 0; }, 5000);
            defaults.log.clear();
            return saved;
        }
    };

    static Rule ruleNamed(const QString& name) {
        return {.name = name, .pattern = "example.com", .browserBundleID = "org.example.Blue"};
    }

private Q_SLOTS:
    void empty_state_offers_the_same_sheet_as_plus() {
        Window window;
        QVERIFY(window.label("No routing rules yet"));
        QVERIFY(!window.list().isVisible());
        window.button("Add Your First Rule")->click();
        QVERIFY(window.editor());
        QVERIFY(window.label("Add Rule", window.editor()));
        window.button("Cancel", window.editor())->click();
        QVERIFY(!window.editor());
        window.button("Add rule")->click();
        QVERIFY(window.label("Add Rule", window.editor()));
        QVERIFY(window.store.rules().isEmpty());
    }

    void no_control_has_the_focus_at_first() {
        QWidget host;
        Window window; // which owns the view, and so has to go first
        auto* const layout = new QVBoxLayout(&host);
        layout->addWidget(window.view.get());
        host.show();
        QVERIFY(QTest::qWaitForWindowActive(&host));
        QCOMPARE(host.focusWidget(), window.view.get());
        QTest::keyClick(&host, Qt::Key_Tab);
        QCOMPARE(host.focusWidget(), window.button("Set as Default Browser"));
    }

    void nothing_lies_over_its_neighbour_in_a_small_window() {
        const QFont before = QApplication::font();
        QFont large = before;
        large.setPixelSize(17);
        QApplication::setFont(large);
        {
            Window window({ruleNamed("a")});
            window.view->resize(520, 400);
            QCoreApplication::processEvents();
            QCOMPARE(window.view->size(), QSize(520, 400));
            QVERIFY(window.fallback().geometry().right() < window.button("Tips")->geometry().left());
            QVERIFY(window.list().height() >= 100);
        }
        QApplication::setFont(before);
    }

    void list_takes_the_place_of_the_empty_state_and_back() {
        Window window;
        window.store.add(ruleNamed("a"));
        QVERIFY(window.list().isVisible() && !window.label("No routing rules yet"));
        window.store.setRules({});
        QVERIFY(!window.list().isVisible() && window.label("No routing rules yet"));
    }

    void minus_is_there_for_a_selected_rule_only() {
        Window window({ruleNamed("a"), ruleNamed("b"), ruleNamed("c")});
        auto* const minus = window.button("Delete selected rule");
        QVERIFY(!minus->isEnabled());
        window.list().select(1);
        QVERIFY(minus->isEnabled());
        minus->click();
        QCOMPARE(window.store.rules().size(), 2);
        QCOMPARE(window.store.rules()[1].name, QString("c"));
        QVERIFY(!minus->isEnabled());
        QCOMPARE(window.list().selectedRow(), -1);
        QVERIFY(window.isSaved());
    }

    void deleting_what_is_gone_changes_nothing() {
        Window window({ruleNamed("a"), ruleNamed("b")});
        window.list().select(1);
        const Rule kept = window.store.rules()[0];
        window.store.setRules({kept});
        window.button("Delete selected rule")->click();
        QCOMPARE(window.store.rules(), QList<Rule>{kept});
    }

    void delete_key_deletes_as_minus_does() {
        Window window({ruleNamed("a"), ruleNamed("b")});
        window.list().select(0);
        window.list().setFocus();
        QTest::keyClick(&window.list(), Qt::Key_Delete);
        QCOMPARE(window.store.rules().size(), 1);
        QCOMPARE(window.store.rules()[0].name, QString("b"));
    }

    void tips_and_hide_are_one_setting() {
        Window window;
        auto* const tips = window.button("Tips");
        QVERIFY(tips->isChecked() && window.label("Getting Started"));
        window.button("Hide")->click();
        QVERIFY(!tips->isChecked() && !window.label("Getting Started"));
        QVERIFY(!window.store.showTipsEnabled());
        QVERIFY(window.isSaved());
        tips->click();
        QVERIFY(window.label("Getting Started") && window.store.showTipsEnabled());
        QVERIFY(window.isSaved());
    }

    void tips_teach_three_steps() {
        Window window;
        for (const char* text : {"Vantorel sits in front of your browsers and routes each link using the rules below.",
                                 "1", "2", "3", "Set it as default", "Choose a fallback", "Add your rules",
                                 "Use the button above so Vantorel receives links first.",
                                 "Pick the browser used when a link does not match any rule.",
                                 "Create site or app-based rules to open links in the right browser."})
            QVERIFY2(window.label(text), text);
    }

    void debug_mode_is_a_setting() {
        Window window;
        auto* const debug = window.button("Debug Mode");
        QCOMPARE(debug->toolTip(), QString("Show the last intercept debug panel in the menu popover."));
        QVERIFY(!debug->isChecked());
        debug->click();
        QVERIFY(window.store.debugModeEnabled());
        QVERIFY(window.isSaved());
        window.store.setDebugModeEnabled(false);
        QVERIFY(!debug->isChecked());
    }

    void fallback_is_chosen_and_follows() {
        Window window;
        QCOMPARE(window.fallback().itemText(0), QString("Choose fallback browser…"));
        Window::pick(window.fallback(), "Red");
        QCOMPARE(window.store.fallbackBrowserID(), QString("org.example.Red"));
        QVERIFY(window.isSaved());
        window.store.setFallbackBrowserID("org.example.Blue");
        QCOMPARE(window.fallback().currentText(), QString("Blue"));
        Window::pick(window.fallback(), "Choose fallback browser…");
        QCOMPARE(window.store.fallbackBrowserID(), QString(""));
    }

    void fallback_that_is_not_installed_stays() {
        Window window;
        window.store.setFallbackBrowserID("org.example.Gone");
        QCOMPARE(window.fallback().currentIndex(), -1);
        window.detectors.setBrowsers({{.id = "org.example.Gone", .name = "Gone"}});
        QCOMPARE(window.fallback().currentText(), QString("Gone"));
        window.detectors.setBrowsers({});
        QCOMPARE(window.store.fallbackBrowserID(), QString("org.example.Gone"));
    }

    void default_browser_button_asks_the_desktop() {
        Window window;
        window.button("Set as Default Browser")->click();
        QCOMPARE(window.system.opened, 1);
    }

    void mark_shows_whether_we_are_the_default() {
        Window window;
        const auto isMarked = [&] {
            const auto all = window.view->findChildren<QWidget*>();
            return std::any_of(all.begin(), all.end(), [](const QWidget* widget) {
                return widget->accessibleName() == "Vantorel is the default browser." && widget->isVisible();
            });
        };
        QVERIFY(!isMarked());
        window.system.setDefaultBrowser(true);
        QVERIFY(isMarked());
        window.system.setDefaultBrowser(false);
        QVERIFY(!isMarked());
    }

    void new_rule_is_added_at_the_end() {
        Window window({ruleNamed("first")});
        window.button("Add rule")->click();
        auto* const save = window.button("Add Rule", window.editor());
        QVERIFY(save && !save->isEnabled());
        window.field<QLineEdit>().setFocus();
        QTest::keyClicks(&window.field<QLineEdit>(), " Work ");
        window.field<QPlainTextEdit>().setFocus();
        QTest::keyClicks(&window.field<QPlainTextEdit>(), "a.example, b.example");
        QVERIFY(!save->isEnabled());
        Window::pick(window.field<BrowserPicker>(), "Red");
        QVERIFY(save->isEnabled());
        window.button("Domain", window.editor())->click();
        save->click();
        QVERIFY(!window.editor());
        QCOMPARE(window.store.rules().size(), 2);
        const Rule added = window.store.rules()[1];
        QCOMPARE(added.name, QString(" Work "));
        QCOMPARE(added.pattern, QString("a.example, b.example"));
        QCOMPARE(added.matchType, Rule::MatchType::domain);
        QCOMPARE(added.browserBundleID, QString("org.example.Red"));
        QCOMPARE(added.sourceAppBundleID, std::nullopt);
        QVERIFY(added.isEnabled);
    }

    void rule_of_an_application_needs_no_pattern() {
        Window window;
        window.button("Add rule")->click();
        Window::pick(window.field<BrowserPicker>(), "Blue");
        Window::pick(window.field<AppPicker>(), "Mail");
        QVERIFY(window.label("Rule only fires when a URL is opened by this app.", window.editor()));
        QVERIFY(window.label("Leave empty to match all URLs from this app.", window.editor()));
        QVERIFY(window.button("Add Rule", window.editor())->isEnabled());
        QTest::keyClick(window.view->focusWidget(), Qt::Key_Return, Qt::ControlModifier);
        QTRY_VERIFY(!window.editor());
        QCOMPARE(window.store.rules()[0].sourceAppBundleID, QString("org.example.Mail"));
        QCOMPARE(window.store.rules()[0].pattern, QString());
    }

    void editing_shows_and_keeps_what_was_not_touched() {
        Rule rule{.name = "name",
                  .pattern = QString("a\r\nb\u00a0c,  d\u2028e"),
                  .matchType = Rule::MatchType::prefix,
                  .browserBundleID = "org.example.Gone",
                  .isEnabled = false,
                  .sourceAppBundleID = "org.example.Mail"};
        Window window({rule});
        window.list().edit(0);
        QVERIFY(window.label("Edit Rule", window.editor()));
        QCOMPARE(window.field<QLineEdit>().text(), QString("name"));
        QCOMPARE(window.field<BrowserPicker>().currentIndex(), -1);
        QVERIFY(window.button("Starts With", window.editor())->isChecked());
        window.field<QLineEdit>().setFocus();
        QTest::keyClicks(&window.field<QLineEdit>(), "!");
        window.button("Save Changes", window.editor())->click();
        rule.name = window.store.rules()[0].name;
        QVERIFY(rule.name != "name");
        QCOMPARE(window.store.rules()[0], rule);
    }

    void spaces_are_stored_as_typed() {
        Window window({ruleNamed("a")});
        window.list().edit(0);
        auto& pattern = window.field<QPlainTextEdit>();
        pattern.selectAll();
        QTest::keyClick(&pattern, Qt::Key_Delete);
        pattern.insertPlainText(QString("x\u00a0y"));
        QTest::keyClick(&pattern, Qt::Key_Return);
        pattern.insertPlainText(" z ");
        window.button("Save Changes", window.editor())->click();
        QCOMPARE(window.store.rules()[0].pattern, QString("x\u00a0y\n z "));
    }

    void bad_expression_is_told_and_cannot_be_saved() {
        Window window({ruleNamed("a")});
        window.list().edit(0);
        window.button("Regex", window.editor())->click();
        auto& pattern = window.field<QPlainTextEdit>();
        pattern.setPlainText("ok.*, (");
        QLabel* error = nullptr;
        for (auto* const label : window.editor()->findChildren<QLabel*>()) {
            if (label->text().startsWith("Invalid regex '(': "))
                error = label;
        }
        QVERIFY(error && error->isVisible());
        auto* const save = window.button("Save Changes", window.editor());
        QVERIFY(!save->isEnabled());
        QTest::keyClick(&pattern, Qt::Key_Return, Qt::ControlModifier);
        QVERIFY(window.editor());
        QCOMPARE(window.store.rules()[0].pattern, QString("example.com"));
        // Another match type takes the error away, and coming back does not bring it.
        window.button("Contains", window.editor())->click();
        QVERIFY(save->isEnabled());
        window.button("Regex", window.editor())->click();
        QVERIFY(save->isEnabled());
    }

    void cancel_and_its_keys_leave_the_store_alone() {
        Window window({ruleNamed("a")});
        const QList<Rule> before = window.store.rules();
        window.list().edit(0);
        window.field<QLineEdit>().setText("changed");
        Q_EMIT window.field<QLineEdit>().textEdited("changed");
        QTest::keyClick(&window.field<QLineEdit>(), Qt::Key_Escape);
        QTest::keyClick(&window.field<QLineEdit>(), Qt::Key_Return);
        QVERIFY(window.editor());
        QTest::keyClick(&window.field<QLineEdit>(), Qt::Key_Escape, Qt::ControlModifier);
        QTRY_VERIFY(!window.editor());
        QCOMPARE(window.store.rules(), before);
    }

    void rule_that_is_deleted_while_it_is_edited_is_not_brought_back() {
        Window window({ruleNamed("a"), ruleNamed("b")});
        window.list().edit(0);
        window.store.setRules({window.store.rules()[1]});
        window.button("Save Changes", window.editor())->click();
        QVERIFY(!window.editor());
        QCOMPARE(window.store.rules().size(), 1);
    }

    void only_one_sheet_at_a_time() {
        Window window({ruleNamed("a")});
        window.list().edit(0);
        window.list().edit(0);
        window.button("Add rule")->click();
        QCOMPARE(window.view->findChildren<RuleEditorView*>().size(), 1);
    }

    void view_starts_without_selection_and_sheet() {
        Window window({ruleNamed("a")});
        window.list().select(0);
        window.list().edit(0);
        window.open();
        QCOMPARE(window.list().selectedRow(), -1);
        QVERIFY(!window.editor());
        QVERIFY(!window.button("Delete selected rule")->isEnabled());
    }

    void keyboard_reaches_everything_in_order() {
        Window window({ruleNamed("a")});
        QStringList order;
        for (int i = 0; i < 20; ++i) {
            QTest::keyClick(window.view->focusWidget() ? window.view->focusWidget() : window.view.get(), Qt::Key_Tab);
            const QWidget* const widget = window.view->focusWidget();
            const auto* const asButton = qobject_cast<const QAbstractButton*>(widget);
            const QString name = asButton ? (asButton->text().isEmpty() ? asButton->toolTip() : asButton->text())
                                          : QString(widget->metaObject()->className()).section("::", -1);
            if (!order.isEmpty() && name == order.first())
                break;
            order.append(name);
        }
        QCOMPARE(order,
                 QStringList({"Set as Default Browser", "Hide", "RuleList", "BrowserPicker", "Tips", "Debug Mode",
                              "Add rule"}));
    }
};

QTEST_MAIN(TestSettingsView)
#include "TestSettingsView.moc"
