#include "menubar/MenuBarView.h"

#include "app/Translations.h"
#include "controls/Buttons.h"
#include "controls/Theme.h"
#include "fakes/FakeUserDefaults.h"
#include "interception/InterceptDebugStore.h"
#include "routing/RulesStore.h"
#include "settings/Detectors.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QTranslator>

using namespace vantorel;
using theme::Tone;

namespace {

constexpr auto kNoRules = "No rules — open Settings to add one.";

// Counts how often a widget is painted.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

QList<Rule> rulesOf(int count, bool isEnabled = true) {
    QList<Rule> rules;
    for (int i = 1; i <= count; ++i)
        rules.append(
            {.name = QString("Rule %1").arg(i), .browserBundleID = "org.example.Blue", .isEnabled = isEnabled});
    return rules;
}

QColor over(const QColor& color, qreal opacity) {
    return theme::mixed(QApplication::palette().color(QPalette::Window), color, opacity);
}

bool isNear(const QColor& a, const QColor& b) {
    return std::abs(a.red() - b.red()) <= 2 && std::abs(a.green() - b.green()) <= 2
        && std::abs(a.blue() - b.blue()) <= 2;
}

} // namespace

/// The content of the panel as the user and assistive technology meet it: found by what stands on it.
class TestMenuBarView : public QObject {
    Q_OBJECT

    struct Panel {
        FakeUserDefaults defaults;
        RulesStore store{defaults};
        Detectors detectors;
        InterceptDebugStore debugStore;
        int settingsOpened = 0;
        int quits = 0;
        std::unique_ptr<MenuBarView> view;

        explicit Panel(const QList<Rule>& rules = {}) {
            store.setRules(rules);
            make();
        }
        void make() {
            view = std::make_unique<MenuBarView>(
                store, detectors.browsers, detectors.apps, debugStore,
                MenuBarView::Commands{.openSettings = [this] { ++settingsOpened; }, .quit = [this] { ++quits; }});
        }
        void showDebug(const std::optional<InterceptDebugEvent>& event = {}) {
            store.setDebugModeEnabled(true);
            if (event)
                debugStore.setLastEvent(*event);
            make();
        }

        // Whatever can be read, from top to bottom, apart from the rules.
        QStringList texts() const {
            QList<QLabel*> labels = view->findChildren<QLabel*>();
            labels.removeIf([this](const QLabel* label) { return !label->isVisibleTo(view.get()); });
            std::sort(labels.begin(), labels.end(), [](auto* a, auto* b) { return a->y() < b->y(); });
            QStringList texts;
            for (const QLabel* const label : labels)
                texts.append(label->text());
            return texts;
        }
        QLabel* label(const QString& start) const {
            for (auto* const candidate : view->findChildren<QLabel*>()) {
                if (candidate->isVisibleTo(view.get()) && candidate->text().startsWith(start))
                    return candidate;
            }
            return nullptr;
        }
        RowButton* command(const QString& text) const {
            for (auto* const candidate : view->findChildren<RowButton*>()) {
                if (candidate->text() == text)
                    return candidate;
            }
            return nullptr;
        }
        QList<QAccessibleInterface*> children(QAccessible::Role role, QAccessibleInterface* of = nullptr) const {
            auto* const parent = of ? of : QAccessible::queryAccessibleInterface(view.get());
            QList<QAccessibleInterface*> found;
            for (int i = 0; i < parent->childCount(); ++i) {
                if (parent->child(i)->role() == role && !parent->child(i)->state().invisible)
                    found.append(parent->child(i));
            }
            return found;
        }
        QList<QAccessibleInterface*> rows() const {
            view->show();
            const auto lists = children(QAccessible::List);
            return lists.isEmpty() ? QList<QAccessibleInterface*>() : children(QAccessible::ListItem, lists.first());
        }
        QStringList titles() const {
            QStringList titles;
            for (const auto* const row : rows())
                titles.append(row->text(QAccessible::Name));
            return titles;
        }
        QStringList descriptions() const {
            QStringList descriptions;
            for (const auto* const row : rows())
                descriptions.append(row->text(QAccessible::Description));
            return descriptions;
        }
        QWidget* rowWidget(int index) const { return qobject_cast<QWidget*>(rows().at(index)->object()); }
        QWidget* dot() const {
            view->show();
            return qobject_cast<QWidget*>(children(QAccessible::Graphic).first()->object());
        }
        QColor dotColor() const { return dot()->grab().toImage().pixelColor(4, 4); }
        // Of the dot of a row, where that does not stand mirrored.
        QColor rowDotColor(int index) const {
            QWidget* const row = rowWidget(index);
            return view->grab().toImage().pixelColor(row->mapTo(view.get(), QPoint(15, row->height() / 2)));
        }
        bool fits() const {
            for (const auto* const child : view->findChildren<QWidget*>()) {
                if (child->isVisibleTo(view.get()) && !child->parentWidget()->rect().contains(child->geometry()))
                    return false;
            }
            return true;
        }
    };

    static QColor toneOf(Tone tone) { return theme::color(tone, QApplication::palette()); }

private Q_SLOTS:
    void initTestCase() { QAccessible::setActive(true); }

    // -- header -------------------------------------------------------------------------------------------------------

    void header_names_program_and_maker() {
        const Panel panel;
        QCOMPARE(panel.texts().mid(0, 2), QStringList({"Vantorel", "by Qorbex"}));
        QVERIFY(panel.label("Vantorel")->font().weight() >= QFont::DemiBold);
        QVERIFY(panel.label("by ")->y() == panel.label("Vantorel")->geometry().bottom() + 1 + 1);
    }

    void dot_tells_whether_rules_are_active_data() {
        QTest::addColumn<QList<Rule>>("rules");
        QTest::addColumn<bool>("active");
        QTest::newRow("no rules") << QList<Rule>() << false;
        QTest::newRow("all disabled") << rulesOf(3, false) << false;
        QTest::newRow("all enabled") << rulesOf(2) << true;
        QTest::newRow("the ninth alone") << rulesOf(8, false) + rulesOf(1) << true;
    }
    void dot_tells_whether_rules_are_active() {
        QFETCH(QList<Rule>, rules);
        QFETCH(bool, active);
        const Panel panel(rules);
        QCOMPARE(panel.view->activeCount() > 0, active);
        QCOMPARE(panel.dotColor(), toneOf(active ? Tone::green : Tone::orange));
        QCOMPARE(panel.dot()->accessibleName(), QString(active ? "Rules are active" : "No active rules"));
        QCOMPARE(panel.dot()->toolTip(), panel.dot()->accessibleName());
        QCOMPARE(panel.dot()->size(), QSize(8, 8));
        QCOMPARE(panel.dot()->geometry().right() + 1, 290 - 12);
    }

    // -- rules --------------------------------------------------------------------------------------------------------

    void without_rules_there_is_a_hint() {
        const Panel panel;
        QCOMPARE(panel.texts().last(), QString(kNoRules));
        QVERIFY(panel.rows().isEmpty());
    }

    void first_eight_rules_are_shown_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("more");
        QTest::newRow("1") << 1 << QString();
        QTest::newRow("8") << 8 << QString();
        QTest::newRow("9") << 9 << "+ 1 more in Settings";
        QTest::newRow("1008") << 1008 << "+ 1000 more in Settings";
        QTest::newRow("12,008") << 12'008 << "+ 12000 more in Settings";
    }
    void first_eight_rules_are_shown() {
        QFETCH(int, count);
        QFETCH(QString, more);
        QList<Rule> rules = rulesOf(count);
        rules[0].isEnabled = false; // counts as well
        const Panel panel(rules);
        QStringList expected;
        for (int i = 1; i <= std::min(count, 8); ++i)
            expected.append(QString("Rule %1").arg(i));
        QCOMPARE(panel.titles(), expected);
        QCOMPARE(panel.texts().mid(2), more.isEmpty() ? QStringList() : QStringList{more});
    }

    void rule_is_called_by_what_it_has_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("title");
        QTest::newRow("name") << "Work"
                              << "example.com"
                              << "Work";
        QTest::newRow("pattern") << ""
                                 << "example.com"
                                 << "example.com";
        QTest::newRow("neither") << ""
                                 << ""
                                 << "App Rule";
        QTest::newRow("lines are one") << ""
                                       << "a.example\nb.example,\r\n  c.example"
                                       << "a.example b.example, c.example";
        QTest::newRow("markup is text") << "<b>Work</b> & play"
                                        << ""
                                        << "<b>Work</b> & play";
    }
    void rule_is_called_by_what_it_has() {
        QFETCH(QString, name);
        QFETCH(QString, pattern);
        const Panel panel({{.name = name, .pattern = pattern, .sourceAppBundleID = "org.example.Mail"}});
        QTEST(panel.titles().first(), "title");
    }

    void row_says_where_links_go() {
        Panel panel({{.name = "a", .browserBundleID = "org.example.Blue"},
                     {.name = "b", .browserBundleID = "com.vendor.app", .sourceAppBundleID = "org.example.Mail"},
                     {.name = "c", .browserBundleID = "org.example.Blue", .isEnabled = false, .sourceAppBundleID = ""},
                     {.name = "d", .browserBundleID = "", .isEnabled = false, .sourceAppBundleID = "com.vendor.Chat"}});
        panel.detectors.setBrowsers({{.id = "org.example.Blue", .name = "Blue Browser"}});
        panel.detectors.setApps({{.id = "org.example.Mail", .name = "Mail %1"}});
        panel.make();
        QCOMPARE(panel.descriptions(),
                 QStringList({"→ Blue Browser", "Mail %1 → app", "→ Blue Browser (disabled)", "Chat →  (disabled)"}));
    }

    void name_is_that_of_what_is_installed_else_the_last_piece_data() {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("name");
        QTest::newRow("installed") << "org.example.Blue"
                                   << "Sky";
        QTest::newRow("another letter case") << "org.example.blue"
                                             << "blue";
        QTest::newRow("not installed") << "com.vendor.Browser"
                                       << "Browser";
        QTest::newRow("short") << "org.x"
                               << "x";
        QTest::newRow("no dot") << "firefox"
                                << "firefox";
        QTest::newRow("dots at the end") << "com.vendor.."
                                         << "vendor";
        QTest::newRow("dots alone") << "..."
                                    << "...";
        QTest::newRow("empty") << ""
                               << "";
    }
    void name_is_that_of_what_is_installed_else_the_last_piece() {
        QFETCH(QString, id);
        Panel panel;
        panel.detectors.setBrowsers({{.id = "org.example.Blue", .name = "Sky"}});
        QTEST(panel.view->browserName(id), "name");
        panel.detectors.setApps({{.id = "org.example.Blue", .name = "Sky"}});
        QTEST(panel.view->shortAppName(id), "name");
    }

    void browsers_and_applications_are_told_apart() {
        Panel panel;
        panel.detectors.setBrowsers({{.id = "org.example.A", .name = "Browser"}});
        panel.detectors.setApps({{.id = "org.example.A", .name = "Application"}});
        QCOMPARE(panel.view->browserName("org.example.A"), QString("Browser"));
        QCOMPARE(panel.view->shortAppName("org.example.A"), QString("Application"));
    }

    void disabled_rule_is_dimmed() {
        QList<Rule> rules = rulesOf(2);
        rules[1].isEnabled = false;
        rules[1].name = rules[0].name;
        const Panel panel(rules);
        QVERIFY(isNear(panel.rowDotColor(0), toneOf(Tone::green)));
        QVERIFY(isNear(panel.rowDotColor(1), over(toneOf(Tone::gray), 0.5 * 0.4)));
        // The darkest pixel of a title is the ink of its letters.
        const auto darkest = [&panel](int index) {
            const QWidget* const row = panel.rowWidget(index);
            const QImage image =
                panel.view->grab(QRect(row->mapTo(panel.view.get(), QPoint(26, 0)), QSize(200, row->height() / 2)))
                    .toImage();
            int found = 255;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x)
                    found = std::min(found, qGray(image.pixel(x, y)));
            }
            return found;
        };
        const int window = qGray(QApplication::palette().color(QPalette::Window).rgb());
        const double share = double(window - darkest(1)) / (window - darkest(0));
        QVERIFY2(std::abs(share - 0.4) < 0.03, qPrintable(QString::number(share)));
    }

    void rows_do_nothing_when_they_are_clicked() {
        const Panel panel(rulesOf(2));
        const QList<Rule> before = panel.store.rules();
        QTest::mouseClick(panel.rowWidget(0), Qt::LeftButton);
        QTest::mouseDClick(panel.rowWidget(0), Qt::LeftButton);
        QCOMPARE(panel.store.rules(), before);
        QCOMPARE(panel.settingsOpened + panel.quits, 0);
        QCOMPARE(panel.rowWidget(0)->focusPolicy(), Qt::NoFocus);
    }

    // -- debug mode ---------------------------------------------------------------------------------------------------

    void last_link_is_shown_in_debug_mode_only() {
        Panel panel(rulesOf(1));
        const QStringList header{"Vantorel", "by Qorbex"};
        panel.debugStore.setLastEvent({.url = "https://example.com/", .sourceAppIDs = {}, .decision = "decision"});
        panel.make();
        QCOMPARE(panel.texts(), header);
        panel.store.setDebugModeEnabled(true);
        panel.make();
        QCOMPARE(panel.texts(),
                 header + QStringList({"Last Intercept", "https://example.com/", "Source: unknown", "decision"}));
    }

    void without_a_link_debug_mode_says_so() {
        Panel panel;
        panel.showDebug();
        QCOMPARE(panel.texts().mid(2), QStringList({"Last Intercept", "No URLs intercepted yet.", kNoRules}));
    }

    void sources_are_listed_data() {
        QTest::addColumn<QStringList>("ids");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << QStringList() << "Source: unknown";
        QTest::newRow("one") << QStringList{"org.a"} << "Source: org.a";
        QTest::newRow("two") << QStringList{"org.a", "com.b.C"} << "Source: org.a, com.b.C";
        QTest::newRow("placeholders are text") << QStringList{"%1", "%2"} << "Source: %1, %2";
    }
    void sources_are_listed() {
        QFETCH(QStringList, ids);
        Panel panel;
        panel.showDebug(InterceptDebugEvent{.url = "u:", .sourceAppIDs = ids, .decision = "d"});
        QTEST(panel.texts().at(4), "text");
    }

    void what_does_not_fit_is_elided_and_told_whole() {
        Panel panel;
        const QString url = "https://example.com/" + QString("x").repeated(10'000);
        const QString decision = QString("No rule matched <b>at all</b> ").repeated(100).trimmed();
        QStringList ids;
        for (int i = 0; i < 50; ++i)
            ids.append(QString("org.example.Application%1").arg(i));
        panel.showDebug(InterceptDebugEvent{.url = url, .sourceAppIDs = ids, .decision = decision});
        const QLabel* const shownURL = panel.label("https://");
        const QLabel* const shownSource = panel.label("Source: ");
        const QLabel* const shownDecision = panel.label("No rule matched");
        for (const QLabel* const label : {shownURL, shownSource, shownDecision}) {
            QVERIFY(label->text().endsWith(u'…'));
            QCOMPARE(label->text().count(u'\n'), label == shownURL ? 0 : 1);
            for (const QString& line : label->text().split(u'\n'))
                QVERIFY(label->fontMetrics().horizontalAdvance(line) <= 290 - 2 * 12);
            QVERIFY(label->height() >= label->sizeHint().height());
            QVERIFY(!label->toolTip().isEmpty());
            auto* const heard = QAccessible::queryAccessibleInterface(const_cast<QLabel*>(label));
            QCOMPARE(heard->role(), QAccessible::StaticText);
            QVERIFY(heard->text(QAccessible::Name).size() < 200);
        }
        QCOMPARE(shownURL->accessibleDescription(), url);
        QCOMPARE(shownSource->accessibleDescription(), "Source: " + ids.join(", "));
        QVERIFY(shownDecision->toolTip().contains("&lt;b&gt;"));
        QVERIFY(shownURL->toolTip().size() < 4000); // a tip as large as the screen can be read by nobody
        panel.view->show();
        QVERIFY(panel.fits());
    }

    void what_fits_is_not_told_twice() {
        Panel panel;
        panel.showDebug(InterceptDebugEvent{.url = "https://example.com/", .sourceAppIDs = {}, .decision = "d"});
        QVERIFY(panel.label("https://")->toolTip().isEmpty());
        QVERIFY(panel.label("https://")->accessibleDescription().isEmpty());
    }

    // -- while it is open ---------------------------------------------------------------------------------------------

    void follows_each_of_its_objects() {
        Panel panel(rulesOf(1));
        panel.view->show();
        panel.store.setDebugModeEnabled(true);
        QTRY_VERIFY(panel.texts().contains("No URLs intercepted yet."));
        panel.debugStore.setLastEvent({.url = "https://one.example/", .sourceAppIDs = {"org.a"}, .decision = "first"});
        QTRY_VERIFY(panel.texts().contains("first"));
        panel.debugStore.setLastEvent({.url = "https://two.example/", .sourceAppIDs = {}, .decision = "second"});
        QTRY_COMPARE(panel.texts().mid(3), QStringList({"https://two.example/", "Source: unknown", "second"}));
        panel.store.setDebugModeEnabled(false);
        QTRY_COMPARE(panel.texts().size(), 2);

        panel.detectors.setBrowsers({{.id = "org.example.Blue", .name = "Sky"}});
        QTRY_COMPARE(panel.descriptions(), QStringList{"→ Sky"});
        Rule rule = panel.store.rules().first();
        rule.sourceAppBundleID = "org.example.Mail";
        panel.store.update(rule);
        QTRY_COMPARE(panel.descriptions(), QStringList{"Mail → Sky"});
        panel.detectors.setApps({{.id = "org.example.Mail", .name = "Letters"}});
        QTRY_COMPARE(panel.descriptions(), QStringList{"Letters → Sky"});
        rule.isEnabled = false;
        panel.store.update(rule);
        QTRY_COMPARE(panel.dot()->accessibleName(), QString("No active rules"));
        QCOMPARE(panel.descriptions(), QStringList{"Letters → Sky (disabled)"});
        panel.store.setRules(rulesOf(12));
        QTRY_COMPARE(panel.titles().size(), 8);
        QVERIFY(panel.texts().contains("+ 4 more in Settings"));
        panel.store.setRules(rulesOf(3));
        QTRY_COMPARE(panel.titles().size(), 3);
        QCOMPARE(panel.texts().size(), 2);
        panel.store.setRules({});
        QTRY_COMPARE(panel.texts().last(), QString(kNoRules));
        QVERIFY(panel.rows().isEmpty());
    }

    void many_changes_at_once_are_one() {
        Panel panel;
        QWidget host;
        panel.view->setParent(&host);
        host.show();
        QSignalSpy resized(panel.view.get(), &MenuBarView::fittingSizeChanged);
        for (int i = 1; i <= 5; ++i) {
            panel.store.setRules(rulesOf(i));
            panel.store.setDebugModeEnabled(true);
            panel.debugStore.setLastEvent({.url = QString("u:%1").arg(i), .sourceAppIDs = {}, .decision = "d"});
        }
        QCOMPARE(resized.size(), 0);
        QTRY_COMPARE(panel.titles().size(), 5);
        QCoreApplication::processEvents();
        QCOMPARE(resized.size(), 1);
        QVERIFY(panel.texts().contains("u:5"));
        panel.view->setParent(nullptr);
    }

    void what_stays_the_same_is_not_painted_again() {
        Panel panel(rulesOf(4));
        panel.view->show();
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        QCoreApplication::processEvents();
        PaintCounter same(panel.rowWidget(0)), other(panel.rowWidget(1)), command(panel.command("Settings"));
        Rule rule = panel.store.rules().at(1);
        rule.name = "Renamed";
        panel.store.update(rule);
        QTRY_COMPARE(other.count, 1);
        QCOMPARE(same.count, 0);
        QCOMPARE(command.count, 0);
        QCOMPARE(panel.titles().at(1), QString("Renamed"));
    }

    void follows_colours_and_font() {
        Panel panel(rulesOf(1));
        panel.view->show();
        const QPalette light = QApplication::palette();
        const QFont before = QApplication::font();
        const int height = panel.view->sizeHint().height();
        QPalette dark(Qt::white, QColor(0x2b2b2b));
        dark.setColor(QPalette::WindowText, Qt::white);
        QApplication::setPalette(dark);
        QTRY_COMPARE(panel.dotColor(), theme::color(Tone::green, dark));
        QCOMPARE(panel.view->grab().toImage().pixelColor(1, 1), QColor(0x2b2b2b));
        QApplication::setPalette(light);
        QFont larger = before;
        larger.setPointSizeF(before.pointSizeF() * 2);
        QApplication::setFont(larger);
        QTRY_VERIFY(panel.view->sizeHint().height() > height + 50);
        panel.view->resize(panel.view->sizeHint());
        QVERIFY(panel.fits());
        QApplication::setFont(before);
        QTRY_COMPARE(panel.view->sizeHint().height(), height);
    }

    // -- commands -----------------------------------------------------------------------------------------------------

    void commands_are_buttons_on_whole_rows() {
        const Panel panel(rulesOf(1));
        panel.view->show();
        const auto buttons = panel.children(QAccessible::Button);
        QCOMPARE(buttons.size(), 2);
        QCOMPARE(buttons[0]->text(QAccessible::Name), QString("Settings"));
        QCOMPARE(buttons[1]->text(QAccessible::Name), QString("Quit Vantorel"));
        for (const char* const text : {"Settings", "Quit Vantorel"}) {
            RowButton* const command = panel.command(text);
            QCOMPARE(command->width(), 290);
            QTest::mouseClick(command, Qt::LeftButton, {}, QPoint(0, 0));
            QTest::mouseClick(command, Qt::LeftButton, {}, QPoint(289, command->height() - 1));
        }
        QCOMPARE(panel.settingsOpened, 2);
        QCOMPARE(panel.quits, 2);
    }

    void commands_are_pressed_by_keys() {
        const Panel panel(rulesOf(1));
        panel.view->show();
        QVERIFY(QTest::qWaitForWindowActive(panel.view.get()));
        RowButton *const settings = panel.command("Settings"), *const quit = panel.command("Quit Vantorel");
        QVERIFY(!settings->hasFocus() && !quit->hasFocus());
        const auto press = [&panel](Qt::Key key) { QTest::keyClick(panel.view->focusWidget(), key); };
        press(Qt::Key_Tab);
        QVERIFY(settings->hasFocus());
        for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter})
            press(key);
        QCOMPARE(panel.settingsOpened, 3);
        press(Qt::Key_Tab);
        QVERIFY(quit->hasFocus());
        for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter})
            press(key);
        QCOMPARE(panel.quits, 3);
        QCOMPARE(panel.settingsOpened, 3);
        press(Qt::Key_Up);
        QVERIFY(settings->hasFocus());
        press(Qt::Key_Tab);
        press(Qt::Key_Tab);
        QVERIFY(!quit->hasFocus());
    }

    void each_state_of_a_command_looks_different() {
        const Panel panel;
        panel.view->show();
        QVERIFY(QTest::qWaitForWindowActive(panel.view.get()));
        RowButton* const command = panel.command("Settings");
        QList<QImage> seen = {command->grab().toImage()};
        command->setAttribute(Qt::WA_UnderMouse);
        seen.append(command->grab().toImage());
        command->setDown(true);
        seen.append(command->grab().toImage());
        command->setDown(false);
        command->setAttribute(Qt::WA_UnderMouse, false);
        command->setFocus();
        seen.append(command->grab().toImage());
        for (qsizetype i = 0; i < seen.size(); ++i)
            QCOMPARE(seen.indexOf(seen[i]), i);
    }

    // -- where it stands ----------------------------------------------------------------------------------------------

    void size_fits_before_it_is_shown_data() {
        QTest::addColumn<int>("rules");
        QTest::addColumn<bool>("debug");
        for (const int rules : {0, 1, 8, 9}) {
            for (const bool debug : {false, true})
                QTest::addRow("%d, %s", rules, debug ? "debug" : "plain") << rules << debug;
        }
    }
    void size_fits_before_it_is_shown() {
        QFETCH(int, rules);
        QFETCH(bool, debug);
        Panel panel(rulesOf(rules));
        if (debug)
            panel.showDebug(InterceptDebugEvent{
                .url = "https://example.com/", .sourceAppIDs = {}, .decision = QString("decision ").repeated(20)});
        const QSize size = panel.view->sizeHint();
        QCOMPARE(size.width(), 290);
        QCOMPARE(panel.view->minimumSizeHint(), size);
        QCOMPARE(panel.view->size(), size);
        QSignalSpy resized(panel.view.get(), &MenuBarView::fittingSizeChanged);
        panel.view->show();
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        QCOMPARE(panel.view->sizeHint(), size);
        QVERIFY(resized.isEmpty());
        QVERIFY(panel.fits());
        // Four pixels below the last command, and above the padding of the header.
        QCOMPARE(panel.command("Quit Vantorel")->geometry().bottom() + 1 + 4, size.height());
        QCOMPARE(panel.label("Vantorel")->y(), 4 + 8);
        // No part lies on another one.
        const auto parts = panel.view->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
        for (const auto* const a : parts) {
            for (const auto* const b : parts)
                QVERIFY(a == b || a->isHidden() || b->isHidden() || !a->geometry().intersects(b->geometry()));
        }
    }

    void paddings_are_those_of_the_rows() {
        const Panel panel(rulesOf(9));
        const QWidget* const list = panel.rowWidget(0)->parentWidget();
        const int divider = panel.label("by ")->geometry().bottom() + 1 + 8;
        QCOMPARE(list->y(), divider + 1);
        const QFont body = QApplication::font();
        QFont title = theme::font(theme::Type::footnote, body);
        title.setWeight(QFont::Medium);
        const int row =
            5 + QFontMetrics(title).height() + 2 + QFontMetrics(theme::font(theme::Type::caption2, body)).height() + 5;
        QCOMPARE(list->geometry(), QRect(0, divider + 1, 290, 8 * row));
        const QLabel* const more = panel.label("+ 1");
        QCOMPARE(more->x(), 12);
        QCOMPARE(more->y(), list->geometry().bottom() + 1 + 4);
        QCOMPARE(panel.command("Settings")->y(), more->geometry().bottom() + 1 + 4 + 1);
        QCOMPARE(panel.command("Settings")->height(), std::max(16, QFontMetrics(body).height()) + 14);

        const Panel empty;
        const QLabel* const hint = empty.label("No rules");
        QCOMPARE(hint->y(), divider + 1 + 10);
        QCOMPARE(empty.command("Settings")->y(), hint->geometry().bottom() + 1 + 10 + 1);
    }

    void type_is_of_the_wanted_sizes_where_the_font_is_the_usual_one() {
        QFont usual = QApplication::font();
        usual.setPixelSize(40); // in which no rounding hides anything
        QCOMPARE(theme::font(theme::Type::footnote, usual).pixelSize(), 36);
        QCOMPARE(theme::font(theme::Type::caption2, usual).pixelSize(), 33);
    }

    void commands_stay_at_the_lower_edge_of_a_panel_that_is_higher() {
        const Panel panel;
        panel.view->show();
        panel.view->resize(290, panel.view->sizeHint().height() + 40);
        QCoreApplication::processEvents();
        QCOMPARE(panel.command("Quit Vantorel")->geometry().bottom() + 1 + 4, panel.view->height());
        QVERIFY(panel.fits());
        QVERIFY(panel.view->sizeHint().height() < panel.view->height());
    }

    void parent_is_asked_to_lay_out_anew() {
        class Host : public QWidget {
        public:
            int requests = 0;

        protected:
            bool event(QEvent* event) override {
                requests += event->type() == QEvent::LayoutRequest ? 1 : 0;
                return QWidget::event(event);
            }
        };
        Panel panel;
        Host host;
        panel.view->setParent(&host);
        panel.view->show();
        host.show();
        QCoreApplication::processEvents();
        host.requests = 0;
        panel.store.setRules(rulesOf(2));
        QTRY_VERIFY(host.requests > 0);
        panel.view->setParent(nullptr);
    }

    void long_names_stay_within_the_row() {
        const QString longName = QString("Name ").repeated(2000);
        Panel panel({{.name = longName, .browserBundleID = longName, .sourceAppBundleID = longName},
                     {.name = QString::fromUtf8("👩‍👩‍👧‍👦").repeated(500),
                      .browserBundleID = "org.example.Blue"},
                     {.name = QString::fromUtf8("روابط العمل").repeated(300), .browserBundleID = "x"},
                     {.name = "short", .browserBundleID = "org.example.Blue"}});
        panel.view->show();
        const QImage image = panel.view->grab().toImage();
        const QColor window = QApplication::palette().color(QPalette::Window);
        for (int index = 0; index < 4; ++index) {
            QWidget* const row = panel.rowWidget(index);
            const QPoint corner = row->mapTo(panel.view.get(), QPoint(0, 0));
            // No ink in the padding on either side; a letter may hang over by a pixel or two.
            for (int y = 0; y < row->height(); ++y) {
                for (int x = 0; x < 10; ++x) {
                    for (const int place : {x, 289 - x})
                        QVERIFY2(image.pixelColor(corner + QPoint(place, y)) == window,
                                 qPrintable(QString("row %1: ink at %2, %3").arg(index).arg(place).arg(y)));
                }
            }
            QCOMPARE(row->toolTip().isEmpty(), index == 3);
        }
    }

    void mirrored_where_text_runs_from_right_to_left() {
        Panel panel(rulesOf(1));
        panel.view->setLayoutDirection(Qt::RightToLeft);
        panel.view->show();
        QCOMPARE(panel.dot()->x(), 12);
        QWidget* const row = panel.rowWidget(0);
        const QImage image = panel.view->grab().toImage();
        const QPoint corner = row->mapTo(panel.view.get(), QPoint(0, row->height() / 2));
        QVERIFY(isNear(image.pixelColor(corner + QPoint(290 - 1 - 15, 0)), toneOf(Tone::green)));
        QVERIFY(panel.label("Vantorel")->geometry().right() > 240);
        QVERIFY(panel.fits());
        panel.view->setLayoutDirection(Qt::LeftToRight);
        QCOMPARE(panel.dot()->geometry().right() + 1, 290 - 12);
    }

    void texts_have_room_in_every_language_data() {
        QTest::addColumn<QString>("language");
        for (const char* const language : {"en", "de", "ja", "ar"})
            QTest::newRow(language) << language;
    }
    void texts_have_room_in_every_language() {
        QFETCH(QString, language);
        const auto textsOf = [](Panel& panel) {
            QStringList texts = panel.texts().mid(1) + panel.titles() + panel.descriptions();
            for (const auto* const command : panel.view->findChildren<RowButton*>())
                texts.append(command->text());
            return texts << panel.dot()->toolTip() << panel.rowWidget(0)->parentWidget()->accessibleName();
        };
        const auto makePanels = [&](bool inEnglish) {
            installTranslation({inEnglish ? "en" : language});
            Panel none, some({{.browserBundleID = "b", .isEnabled = false, .sourceAppBundleID = "a"}});
            some.store.setRules(some.store.rules() + rulesOf(10));
            none.showDebug();
            some.showDebug(InterceptDebugEvent{.url = "u", .sourceAppIDs = {}, .decision = "d"});
            QStringList texts = none.texts().mid(1) + textsOf(some);
            some.debugStore.setLastEvent({.url = "u", .sourceAppIDs = {"s"}, .decision = "d"});
            some.make();
            texts += some.texts().mid(1);
            for (const Panel* const panel : {&none, &some}) {
                for (const auto* const label : panel->view->findChildren<QLabel*>()) {
                    if (label->isVisibleTo(panel->view.get()))
                        [&] { QVERIFY2(label->sizeHint().width() <= label->width(), qPrintable(label->text())); }();
                }
                for (const auto* const command : panel->view->findChildren<RowButton*>())
                    [&] { QVERIFY2(command->sizeHint().width() <= 290, qPrintable(command->text())); }();
            }
            return texts;
        };
        const QStringList english = makePanels(true), translated = makePanels(false);
        qDeleteAll(qApp->findChildren<QTranslator*>());
        QGuiApplication::setLayoutDirection(Qt::LeftToRight);
        QCOMPARE(translated.size(), english.size());
        for (qsizetype i = 0; i < english.size(); ++i) {
            const bool isOwn = english[i].startsWith("Rule ") || QStringList({"u", "d"}).contains(english[i])
                || QRegularExpression("^→").match(english[i]).hasMatch(); // names, and an arrow
            QVERIFY2(language == "en" || isOwn || english[i] != translated[i], qPrintable(english[i]));
        }
    }

    // -- what it leaves alone -----------------------------------------------------------------------------------------

    void nothing_is_stored() {
        Panel panel(rulesOf(9));
        panel.defaults.log.clear();
        panel.showDebug(InterceptDebugEvent{.url = "u:", .sourceAppIDs = {}, .decision = "d"});
        panel.view->show();
        panel.command("Settings")->click();
        panel.command("Quit Vantorel")->click();
        QCoreApplication::processEvents();
        panel.view.reset();
        QVERIFY(panel.defaults.log.isEmpty());
    }

    void objects_may_change_after_it_has_gone() {
        Panel panel(rulesOf(1));
        panel.store.setRules(rulesOf(2));
        panel.view.reset();
        panel.store.setRules(rulesOf(3));
        QCoreApplication::processEvents();
    }
};

// The toolkit tells of its changes only while its loop runs.
int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    TestMenuBarView test;
    QTimer::singleShot(0, &application, [&] { QCoreApplication::exit(QTest::qExec(&test, argc, argv)); });
    return QApplication::exec();
}

#include "TestMenuBarView.moc"
