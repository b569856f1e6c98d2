#include "app/Translations.h"

#include "controls/Sheet.h"
#include "controls/Switch.h"
#include "fakes/FakeSystemSettings.h"
#include "fakes/FakeUserDefaults.h"
#include "menubar/MenuBarManager.h"
#include "routing/RulesStore.h"
#include "settings/BundlePicker.h"
#include "settings/Detectors.h"
#include "settings/MatchTypeName.h"
#include "settings/RuleEditor.h"
#include "settings/RuleEditorView.h"
#include "settings/RuleList.h"
#include "settings/SettingsView.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QStyleOptionButton>
#include <QStyleOptionComboBox>
#include <QTest>
#include <QTranslator>
#include <QWindow>

using namespace vantorel;

/// The windows in other languages: every text is translated and has room.
class TestTranslations : public QObject {
    Q_OBJECT

    struct Window {
        FakeUserDefaults defaults;
        RulesStore store{defaults, std::chrono::milliseconds(0)};
        Detectors detectors;
        FakeSystemSettings system;
        SettingsView* view = nullptr;
        MenuBarManager manager;

        explicit Window(const QString& language, const QList<Rule>& rules = {}, bool showsTips = true)
            : manager({
                .makeSettingsView =
                    [this, language] {
                        installTranslation({language});
                        return view = new SettingsView(store, detectors.browsers, detectors.apps, system);
                    },
                .bringToFront = [](QWindow&) {},
            }) {
            detectors.setBrowsers({{.id = "org.example.Blue", .name = "Blue"}});
            detectors.setApps({{.id = "org.example.Mail", .name = "Mail"}});
            store.setRules(rules);
            store.setShowTipsEnabled(showsTips);
            system.setDefaultBrowser(true);
            manager.openSettings();
        }
        QWidget& window() const { return *view->window(); }
        void resize(const QSize& size) const {
            window().resize(size);
            settle();
        }
        void settle() const {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
            QCoreApplication::processEvents();
        }
        void openEditor() const {
            view->findChild<RuleList*>()->edit(0);
            settle();
        }
        RuleEditorView& editor() const { return *view->findChild<RuleEditorView*>(); }
    };

    static QList<Rule> someRules() {
        return {{.name = "Work",
                 .pattern = "example.com",
                 .browserBundleID = "org.example.Blue",
                 .sourceAppBundleID = "org.example.Mail"}};
    }

    /// Whatever can be read in a window, or heard.
    static QStringList textsOf(const QWidget& window) {
        QStringList texts = {window.windowTitle()};
        for (const auto* const widget : window.findChildren<QWidget*>()) {
            texts << widget->toolTip() << widget->accessibleName() << widget->accessibleDescription();
            if (const auto* const label = qobject_cast<const QLabel*>(widget))
                texts << label->text();
            if (const auto* const button = qobject_cast<const QAbstractButton*>(widget))
                texts << button->text();
            if (const auto* const line = qobject_cast<const QLineEdit*>(widget))
                texts << line->placeholderText();
            if (const auto* const picker = qobject_cast<const QComboBox*>(widget))
                texts << picker->itemText(0);
        }
        texts.removeDuplicates();
        texts.removeAll(QString());
        return texts;
    }

    static QStringList textsIn(const QString& language) {
        QStringList texts;
        {
            const Window window(language);
            texts += textsOf(window.window());
        }
        Window window(language, someRules());
        window.openEditor();
        const auto edit = [&window](auto change) {
            auto& editor = *window.editor().findChild<RuleEditor*>();
            change(editor);
            return textsOf(window.window());
        };
        for (const Rule::MatchType type : Rule::allCases)
            texts += edit([type](RuleEditor& editor) { editor.setMatchType(type); });
        texts += edit([](RuleEditor& editor) { editor.setPattern("("); });
        texts += edit([](RuleEditor& editor) { editor.setPattern({}); });
        texts += edit([](RuleEditor& editor) { editor.setSourceAppBundleID({}); });
        auto* const rule = QAccessible::queryAccessibleInterface(window.view->findChild<RuleList*>())->child(0);
        for (const QString& action : rule->actionInterface()->actionNames())
            texts += rule->actionInterface()->localizedActionName(action);
        texts += rule->text(QAccessible::Description);
        texts.removeDuplicates();
        return texts;
    }

    static QString nameOf(const QWidget& widget) {
        const auto* const label = qobject_cast<const QLabel*>(&widget);
        const auto* const button = qobject_cast<const QAbstractButton*>(&widget);
        const auto* const picker = qobject_cast<const QComboBox*>(&widget);
        const QString text = label ? label->text()
            : button               ? button->text()
            : picker               ? picker->currentText()
                                   : QString();
        return QString("%1 \"%2\"").arg(widget.metaObject()->className(), text);
    }

    /// Empty when the widget's text has room.
    static QString whatIsCut(const QWidget& widget) {
        const auto tooNarrow = [&widget](int needed, int given) {
            return needed <= given ? QString()
                                   : QString("%1: needs %2, has %3").arg(nameOf(widget)).arg(needed).arg(given);
        };
        if (const auto* const label = qobject_cast<const QLabel*>(&widget)) {
            if (!label->wordWrap())
                return tooNarrow(label->fontMetrics().horizontalAdvance(label->text()), label->contentsRect().width());
            const QRect space = label->contentsRect();
            const QRect needed =
                label->fontMetrics().boundingRect(QRect(0, 0, space.width(), 10'000), Qt::TextWordWrap, label->text());
            if (needed.height() > space.height())
                return QString("%1: needs a height of %2, has %3")
                    .arg(nameOf(widget))
                    .arg(needed.height())
                    .arg(space.height());
            return tooNarrow(needed.width(), space.width());
        }
        if (const auto* const button = qobject_cast<const QAbstractButton*>(&widget);
            button && !button->text().isEmpty())
            return tooNarrow(qobject_cast<const Switch*>(button) ? button->sizeHint().width()
                                                                 : button->minimumSizeHint().width(),
                             button->width());
        if (const auto* const line = qobject_cast<const QLineEdit*>(&widget))
            return tooNarrow(line->fontMetrics().horizontalAdvance(line->placeholderText()), line->width() - 8);
        // In a narrow window a picker may abbreviate what it shows.
        if (const auto* const picker = qobject_cast<const QComboBox*>(&widget);
            picker && picker->width() == picker->maximumWidth()) {
            QStyleOptionComboBox option;
            option.initFrom(picker);
            const QRect space =
                picker->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, picker);
            return tooNarrow(picker->fontMetrics().horizontalAdvance(picker->itemText(0)), space.width());
        }
        return {};
    }

    /// What does not fit in a window, as text for a failed test.
    static QStringList faultsOf(const QWidget& area) {
        QStringList faults;
        for (const auto* const widget : area.findChildren<QWidget*>()) {
            if (!widget->isVisible())
                continue;
            faults += whatIsCut(*widget);
            const auto* const parent = widget->parentWidget();
            const bool scrolls = qobject_cast<const QAbstractScrollArea*>(parent->parentWidget());
            if (widget->layout() || !nameOf(*widget).endsWith("\"\"")) {
                const bool sticksOut =
                    scrolls ? widget->width() > parent->width() : !parent->rect().contains(widget->geometry());
                if (sticksOut)
                    faults += QString("%1 sticks out of its parent: is %2 wide, has %3")
                                  .arg(nameOf(*widget))
                                  .arg(widget->width())
                                  .arg(parent->width());
            }
            for (const auto* const other : parent->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
                if (other > widget && parent->layout() && other->isVisible() && !qobject_cast<const Sheet*>(other)
                    && !qobject_cast<const Sheet*>(widget) && other->geometry().intersects(widget->geometry()))
                    faults += nameOf(*widget) + " overlaps " + nameOf(*other);
            }
        }
        faults.removeAll(QString());
        return faults;
    }

private Q_SLOTS:
    void initTestCase() { QAccessible::setActive(true); }

    // A translator leaves the program with its object.
    void cleanup() {
        qDeleteAll(qApp->findChildren<QTranslator*>());
        QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    }

    void language_is_the_first_that_the_program_speaks_data() {
        QTest::addColumn<QStringList>("languages");
        QTest::addColumn<QString>("expected");
        QTest::newRow("none wanted") << QStringList() << "";
        QTest::newRow("a language") << QStringList{"de"} << "de";
        QTest::newRow("a country") << QStringList{"de-AT"} << "de";
        QTest::newRow("as an environment writes it") << QStringList{"ja_JP"} << "ja";
        QTest::newRow("a script") << QStringList{"ar-Arab-EG"} << "ar";
        QTest::newRow("not the first") << QStringList{"tlh", "he-IL", "ja-JP"} << "ja";
        QTest::newRow("English needs none") << QStringList{"en-GB", "de"} << "";
        QTest::newRow("C is English") << QStringList{"C"} << "";
        QTest::newRow("one that Qt does not know") << QStringList{"C", "ja-JP"} << "ja";
        QTest::newRow("none spoken") << QStringList{"he-IL", "he"} << "";
        QTest::newRow("longer than a language") << QStringList{"deu_X"} << "";
    }
    void language_is_the_first_that_the_program_speaks() {
        QFETCH(QStringList, languages);
        QTEST(translationFor(languages).value_or(QString()), "expected");
    }

    void only_the_wanted_translation_is_loaded() {
        installTranslation({"en"});
        QCOMPARE(qApp->findChildren<QTranslator*>().size(), 0);
        installTranslation({"de-AT", "ja"});
        QVERIFY(!qApp->findChildren<QTranslator*>().isEmpty());
        for (const auto* const translator : qApp->findChildren<QTranslator*>())
            QVERIFY(translator->language().startsWith("de"));
    }

    void language_that_is_not_spoken_changes_neither_texts_nor_direction() {
        const Window window("he");
        QCOMPARE(window.window().windowTitle(), QString("Vantorel — Settings"));
        QCOMPARE(window.view->layoutDirection(), Qt::LeftToRight);
    }

    void each_text_is_translated_data() {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("same");
        QTest::newRow("de") << "de" << QStringList{"Domain", "Regex", "Name:"};
        QTest::newRow("ja") << "ja" << QStringList();
        QTest::newRow("ar") << "ar" << QStringList();
    }
    void each_text_is_translated() {
        QFETCH(QString, language);
        QFETCH(QStringList, same);
        const QStringList english = textsIn("en");
        QVERIFY(english.size() > 50);
        const QStringList translated = textsIn(language);
        same << "1"
             << "2"
             << "3" // the tips
             << "Work"
             << "example.com"
             << "Blue"
             << "Mail"; // what the user has called so
        QStringList left;
        for (const QString& text : translated) {
            if (english.contains(text) && !same.contains(text))
                left.append(text);
        }
        QCOMPARE(left.join("; "), QString());
        QVERIFY(translated.size() > 50);
    }

    void stored_names_of_match_types_stay_english() {
        installTranslation({"de"});
        QCOMPARE(matchTypeName(Rule::MatchType::prefix), QString("Beginnt mit"));
        QCOMPARE(Rule::rawValue(Rule::MatchType::prefix), QString("Starts With"));
    }

    void actions_of_a_rule_are_called_alike_in_every_language() {
        Window window("de", someRules());
        auto* const rule = QAccessible::queryAccessibleInterface(window.view->findChild<RuleList*>())->child(0);
        auto* const actions = rule->actionInterface();
        QVERIFY(actions->actionNames().contains("Edit"));
        QCOMPARE(actions->localizedActionName("Edit"), QString("Bearbeiten"));
        actions->doAction("Edit");
        QVERIFY(window.view->findChild<RuleEditorView*>());
    }

    void texts_have_room_data() {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QSize>("size");
        for (const char* const language : {"en", "de", "ja", "ar"}) {
            for (const QSize size : {QSize(620, 500), QSize(520, 400)})
                QTest::addRow("%s at %d", language, size.width()) << language << size;
        }
    }
    void texts_have_room() {
        QFETCH(QString, language);
        QFETCH(QSize, size);
        {
            const Window window(language);
            window.resize(size);
            QCOMPARE(window.window().size(), size);
            QTRY_COMPARE(faultsOf(window.window()).join("; "), QString());
        }
        {
            const Window window(language, {}, false);
            window.resize(size);
            QTRY_COMPARE(faultsOf(window.window()).join("; "), QString());
        }
        Window window(language, someRules());
        window.resize(size);
        QTRY_COMPARE(faultsOf(window.window()).join("; "), QString());
        window.openEditor();
        for (const Rule::MatchType type : Rule::allCases) {
            window.editor().findChild<RuleEditor*>()->setMatchType(type);
            window.settle();
            QTRY_COMPARE(faultsOf(window.editor()).join("; "), QString());
        }
    }

    void arabic_is_mirrored() {
        const Window window("ar", someRules());
        window.resize({620, 500});
        QCOMPARE(window.view->layoutDirection(), Qt::RightToLeft);
        const auto middleOf = [&window](const QWidget& widget) {
            return widget.mapTo(&window.window(), widget.rect().center()).x();
        };
        auto* const ruleSwitch = window.view->findChild<RuleList*>()->findChild<Switch*>();
        QVERIFY(ruleSwitch);
        QVERIFY(middleOf(*ruleSwitch) > 500);
        QVERIFY(middleOf(*window.view->findChild<BundlePicker*>()) > 310);
    }
};

QTEST_MAIN(TestTranslations)
#include "TestTranslations.moc"
