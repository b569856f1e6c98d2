#include "settings/RuleEditor.h"

#include "fakes/FakeUserDefaults.h"
#include "routing/IcuRegex.h"
#include "routing/PatternList.h"
#include "routing/RulesStore.h"

#include <QSignalSpy>
#include <QTest>

using namespace vantorel;

using Caption = RuleEditor::Caption;
using MatchType = Rule::MatchType;

Q_DECLARE_METATYPE(Rule::MatchType)

class TestRuleEditor : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void newRule_startsFromTheInitialValues();
    void prefill_takesTheRule_andValidatesNothing();
    void titles_data();
    void titles();
    void placeholder_data();
    void placeholder();
    void placeholder_forRegex_compilesAndMatches();
    void caption_data();
    void caption();
    void sourceAppCaption_onlyWithAnApplication();
    void isSaveDisabled_data();
    void isSaveDisabled();
    void validateRegex_data();
    void validateRegex();
    void validateRegex_valueWithPlaceholders_isNamedAsItIs();
    void matchType_clearsTheError_andValidatesNothing();
    void sameValueAgain_isNoChange();
    void everyChange_isAnnounced();
    void longError_isShortenedInTheCaptionAlone();
    void manyExpressions_areValidatedInTurns();
    void manyExpressions_firstErrorInTheTextIsReported();
    void turnsLeft_endWithTheText_data();
    void turnsLeft_endWithTheText();
    void hugeText_isValidated();
    void hostileExpression_isDecidedOn_data();
    void hostileExpression_isDecidedOn();
    void save_newRule_isAppendedEnabled();
    void save_editedRule_isReplaced();
    void save_deletedRule_changesNothing();
    void save_storesTextsAsTyped();

private:
    std::unique_ptr<FakeUserDefaults> defaults;
    std::unique_ptr<RulesStore> store;
    std::unique_ptr<RuleEditor> editor; // for a new rule
};

void TestRuleEditor::init() {
    defaults = std::make_unique<FakeUserDefaults>();
    store = std::make_unique<RulesStore>(*defaults);
    editor = std::make_unique<RuleEditor>(*store, std::nullopt);
    editor->prefill();
}

void TestRuleEditor::cleanup() {
    editor.reset();
    store.reset();
    defaults.reset();
}

void TestRuleEditor::newRule_startsFromTheInitialValues() {
    QVERIFY(!editor->isEditing());
    QCOMPARE(editor->name(), QString(""));
    QCOMPARE(editor->pattern(), QString(""));
    QCOMPARE(editor->matchType(), MatchType::contains);
    QCOMPARE(editor->browserBundleID(), QString(""));
    QVERIFY(editor->isEnabled());
    QCOMPARE(editor->sourceAppBundleID(), QString(""));
    QVERIFY(!editor->regexError());
    QVERIFY(editor->isSaveDisabled());
}

void TestRuleEditor::prefill_takesTheRule_andValidatesNothing() {
    const Rule rule{.name = "N",
                    .pattern = "(",
                    .matchType = MatchType::regex,
                    .browserBundleID = "b",
                    .isEnabled = false,
                    .sourceAppBundleID = "s"};
    RuleEditor edited(*store, rule);
    QCOMPARE(edited.pattern(), QString(""));
    QSignalSpy spy(&edited, &RuleEditor::changed);
    edited.prefill();
    QCOMPARE(spy.size(), 1);
    QVERIFY(edited.isEditing());
    QCOMPARE(edited.name(), QString("N"));
    QCOMPARE(edited.pattern(), QString("("));
    QCOMPARE(edited.matchType(), MatchType::regex);
    QCOMPARE(edited.browserBundleID(), QString("b"));
    QVERIFY(!edited.isEnabled());
    QCOMPARE(edited.sourceAppBundleID(), QString("s"));
    QVERIFY(!edited.regexError());
    QVERIFY(!edited.isSaveDisabled());
    edited.setPattern("(a");
    QVERIFY(edited.regexError());
}

void TestRuleEditor::titles_data() {
    QTest::addColumn<bool>("editing");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("saveTitle");
    QTest::newRow("new") << false << "Add Rule"
                         << "Add Rule";
    QTest::newRow("edited") << true << "Edit Rule"
                            << "Save Changes";
}

void TestRuleEditor::titles() {
    QFETCH(bool, editing);
    const RuleEditor any(*store, editing ? std::optional(Rule()) : std::nullopt);
    QTEST(any.title(), "title");
    QTEST(any.saveTitle(), "saveTitle");
}

void TestRuleEditor::placeholder_data() {
    QTest::addColumn<MatchType>("type");
    for (const MatchType type : Rule::allCases)
        QTest::newRow(Rule::rawValue(type).toLatin1().constData()) << type;
}

void TestRuleEditor::placeholder() {
    QFETCH(MatchType, type);
    editor->setMatchType(type);
    const QString alone = editor->patternPlaceholder();
    QVERIFY(alone.startsWith("e.g.  "));
    const QString examples = alone.mid(6);
    const auto values = splitPatterns(examples);
    QCOMPARE(values.size(), 2);
    QCOMPARE(values[0].toString() + ", " + values[1].toString(), examples);

    editor->setSourceAppBundleID("app");
    QCOMPARE(editor->patternPlaceholder(), alone + QString::fromUtf8(" — or leave empty to match all URLs"));
    editor->setSourceAppBundleID("");
    QCOMPARE(editor->patternPlaceholder(), alone);
}

void TestRuleEditor::placeholder_forRegex_compilesAndMatches() {
    editor->setMatchType(MatchType::regex);
    const QString text = editor->patternPlaceholder().mid(6);
    const auto values = splitPatterns(text);
    const char* const links[] = {"https://any.example.com/thing", "https://accounts.google.com/o/oauth2"};
    for (int i = 0; i < 2; ++i) {
        auto result = IcuRegex::compile(values[i], IcuRegex::CaseSensitivity::insensitive);
        auto* const regex = std::get_if<IcuRegex>(&result);
        QVERIFY(regex);
        QVERIFY(regex->isFoundIn(QString(links[i])));
        QVERIFY(!regex->isFoundIn(QString(links[1 - i])));
        QVERIFY(!regex->isFoundIn(u"https://accountsXgoogle.com/ https://exampleXcom/"));
    }
}

void TestRuleEditor::caption_data() {
    QTest::addColumn<MatchType>("type");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("app");
    QTest::addColumn<Caption::Kind>("kind");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << MatchType::contains << ""
                             << "" << Caption::Kind::none << "";
    QTest::newRow("application alone") << MatchType::regex << ""
                                       << "app" << Caption::Kind::help
                                       << "Leave empty to match all URLs from this app.";
    QTest::newRow("contains") << MatchType::contains << "("
                              << "" << Caption::Kind::help
                              << "Matches if the full URL contains any listed value (case-insensitive). Separate "
                                 "values with commas or new lines.";
    QTest::newRow("domain") << MatchType::domain << "a"
                            << "app" << Caption::Kind::help
                            << "Matches if the hostname exactly equals any listed value. Separate values with commas "
                               "or new lines.";
    QTest::newRow("prefix") << MatchType::prefix << " "
                            << "" << Caption::Kind::help
                            << "Matches if the full URL starts with any listed value. Separate values with commas or "
                               "new lines.";
    QTest::newRow("regex") << MatchType::regex << "a"
                           << "app" << Caption::Kind::help
                           << "Matches if the full URL matches any listed regular expression. Separate values with "
                              "commas or new lines.";
    QTest::newRow("error") << MatchType::regex << "a, ("
                           << "app" << Caption::Kind::error << "Invalid regex '(': Incorrectly nested parentheses";
}

void TestRuleEditor::caption() {
    QFETCH(MatchType, type);
    QFETCH(QString, pattern);
    QFETCH(QString, app);
    QFETCH(Caption::Kind, kind);
    QFETCH(QString, text);
    editor->setMatchType(type);
    editor->setPattern(pattern);
    editor->setSourceAppBundleID(app);
    QCOMPARE(editor->caption(), (Caption{kind, text}));
}

void TestRuleEditor::sourceAppCaption_onlyWithAnApplication() {
    QCOMPARE(editor->sourceAppCaption(), QString(""));
    editor->setSourceAppBundleID("app");
    QCOMPARE(editor->sourceAppCaption(), QString("Rule only fires when a URL is opened by this app."));
}

void TestRuleEditor::isSaveDisabled_data() {
    QTest::addColumn<QString>("browser");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("app");
    QTest::addColumn<bool>("disabled");
    QTest::newRow("nothing") << ""
                             << ""
                             << "" << true;
    QTest::newRow("browser alone") << "b"
                                   << ""
                                   << "" << true;
    QTest::newRow("without browser") << ""
                                     << "p"
                                     << "a" << true;
    QTest::newRow("pattern") << "b"
                             << "p"
                             << "" << false;
    QTest::newRow("application") << "b"
                                 << ""
                                 << "a" << false;
    QTest::newRow("both") << "b"
                          << "p"
                          << "a" << false;
    QTest::newRow("pattern without values") << "b"
                                            << " ,\n ,, "
                                            << "" << false;
    QTest::newRow("browser of white space") << " "
                                            << " "
                                            << "" << false;
    QTest::newRow("invalid") << "b"
                             << "("
                             << "a" << true;
}

void TestRuleEditor::isSaveDisabled() {
    QFETCH(QString, browser);
    QFETCH(QString, pattern);
    QFETCH(QString, app);
    editor->setMatchType(MatchType::regex);
    editor->setBrowserBundleID(browser);
    editor->setPattern(pattern);
    editor->setSourceAppBundleID(app);
    QTEST(editor->isSaveDisabled(), "disabled");
}

void TestRuleEditor::validateRegex_data() {
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("value"); // the one that is named
    QTest::addColumn<QString>("why");
    QTest::newRow("empty") << ""
                           << ""
                           << "";
    QTest::newRow("no values") << " ,\n,\t"
                               << ""
                               << "";
    QTest::newRow("valid") << "a+, ^b$\n[[a-c][x-z]]"
                           << ""
                           << "";
    QTest::newRow("second value") << "a, ( ,b"
                                  << "("
                                  << "Incorrectly nested parentheses";
    QTest::newRow("first of two") << "a[\n("
                                  << "a["
                                  << "Missing closing bracket";
    QTest::newRow("first of two again") << "(, a["
                                        << "("
                                        << "Incorrectly nested parentheses";
    QTest::newRow("comma in braces") << "a{1,2}"
                                     << "a{1"
                                     << "Error in {min,max} interval";
    QTest::newRow("twice") << "(, ("
                           << "("
                           << "Incorrectly nested parentheses";
    QTest::newRow("line separator") << QString::fromUtf16(u"a\u2028*") << "*"
                                    << "Syntax error";
    QTest::newRow("null character") << (QString("a,(") + QChar(0)) << (QString("(") + QChar(0))
                                    << "Incorrectly nested parentheses";
}

void TestRuleEditor::validateRegex() {
    QFETCH(QString, pattern);
    QFETCH(QString, value);
    QFETCH(QString, why);
    editor->setMatchType(MatchType::regex);
    editor->setPattern(pattern);
    const auto expected =
        why.isEmpty() ? std::nullopt : std::optional(QString("Invalid regex '" + value + "': " + why));
    QCOMPARE(editor->regexError().value_or("none"), expected.value_or("none"));
    QVERIFY(!editor->isValidating());
    editor->validateRegex();
    QCOMPARE(editor->regexError().value_or("none"), expected.value_or("none"));
    editor->setPattern("");
    QVERIFY(!editor->regexError());
}

void TestRuleEditor::validateRegex_valueWithPlaceholders_isNamedAsItIs() {
    editor->setMatchType(MatchType::regex);
    editor->setPattern("(%2%1%L1");
    QCOMPARE(*editor->regexError(), QString("Invalid regex '(%2%1%L1': Incorrectly nested parentheses"));
}

void TestRuleEditor::matchType_clearsTheError_andValidatesNothing() {
    editor->setPattern("(");
    QVERIFY(!editor->regexError());
    editor->setMatchType(MatchType::regex);
    QVERIFY(!editor->regexError());
    editor->setPattern("((");
    QVERIFY(editor->regexError());
    editor->setMatchType(MatchType::regex); // no change
    QVERIFY(editor->regexError());
    editor->setMatchType(MatchType::domain);
    QVERIFY(!editor->regexError());
    editor->setMatchType(MatchType::regex);
    QVERIFY(!editor->regexError());
    editor->setPattern("(");
    QVERIFY(editor->regexError());
    editor->setMatchType(MatchType::prefix);
    editor->validateRegex();
    QVERIFY(!editor->regexError());
}

void TestRuleEditor::sameValueAgain_isNoChange() {
    const Rule rule{
        .name = "n", .pattern = "(", .matchType = MatchType::regex, .browserBundleID = "b", .sourceAppBundleID = "s"};
    RuleEditor edited(*store, rule);
    edited.prefill();
    QSignalSpy spy(&edited, &RuleEditor::changed);
    edited.setName("n");
    edited.setPattern("(");
    edited.setMatchType(MatchType::regex);
    edited.setBrowserBundleID("b");
    edited.setIsEnabled(true);
    edited.setSourceAppBundleID("s");
    QVERIFY(!edited.regexError());
    QCOMPARE(spy.size(), 0);
}

void TestRuleEditor::everyChange_isAnnounced() {
    QSignalSpy spy(editor.get(), &RuleEditor::changed);
    editor->setName("n");
    QCOMPARE(spy.size(), 1);
    editor->setPattern("p");
    QCOMPARE(spy.size(), 2);
    editor->setMatchType(MatchType::regex);
    QCOMPARE(spy.size(), 3);
    editor->setBrowserBundleID("b");
    QCOMPARE(spy.size(), 4);
    editor->setIsEnabled(false);
    QCOMPARE(spy.size(), 5);
    editor->setSourceAppBundleID("s");
    QCOMPARE(spy.size(), 6);
}

void TestRuleEditor::longError_isShortenedInTheCaptionAlone() {
    const QString value = "(" + QString(100'000, 'a') + "z";
    editor->setMatchType(MatchType::regex);
    editor->setPattern(value);
    QCOMPARE(*editor->regexError(), "Invalid regex '" + value + "': Incorrectly nested parentheses");
    const QString shown = editor->caption().text;
    QCOMPARE(shown.size(), RuleEditor::kLongestCaption);
    QVERIFY(shown.startsWith("Invalid regex '(aaa"));
    QVERIFY(shown.endsWith("aaz': Incorrectly nested parentheses"));
    QVERIFY(shown.contains(u'…'));
}

// A turn without any time still compiles one expression, so that the work ends.
void TestRuleEditor::manyExpressions_areValidatedInTurns() {
    RuleEditor slow(*store, std::nullopt, std::chrono::milliseconds(0));
    slow.setBrowserBundleID("b");
    slow.setMatchType(MatchType::regex);
    slow.setPattern("a,b,a,c");
    QVERIFY(slow.isValidating());
    QVERIFY(slow.isSaveDisabled());
    QCOMPARE(slow.caption().kind, Caption::Kind::help);
    QSignalSpy spy(&slow, &RuleEditor::changed);
    QTRY_VERIFY(!slow.isValidating());
    QCOMPARE(spy.size(), 1);
    QVERIFY(!slow.regexError());
    QVERIFY(!slow.isSaveDisabled());

    slow.setPattern("a,b,c,d"); // one new value: one compilation
    QVERIFY(!slow.isValidating());
    slow.setPattern("b,d,c");
    QVERIFY(!slow.isValidating());
    slow.setPattern("b");
    slow.setPattern("b,c,d"); // not kept once they had left the text
    QVERIFY(slow.isValidating());
    QTRY_VERIFY(!slow.isValidating());
    slow.setPattern("x,(,b,c,d");
    QVERIFY(slow.isValidating());
    QVERIFY(!slow.regexError());
    QTRY_VERIFY(!slow.isValidating());
    QVERIFY(slow.regexError());
    slow.setPattern("(,x,b,c,d"); // nothing new
    QVERIFY(!slow.isValidating());
    QVERIFY(slow.regexError());
}

void TestRuleEditor::manyExpressions_firstErrorInTheTextIsReported() {
    RuleEditor slow(*store, std::nullopt, std::chrono::milliseconds(0));
    slow.setMatchType(MatchType::regex);
    slow.setPattern("[");
    QVERIFY(slow.regexError()->contains("'['"));
    slow.setPattern("a,b,(,["); // what is known of the last one must wait
    QVERIFY(slow.isValidating());
    QVERIFY(!slow.regexError());
    QTRY_VERIFY(!slow.isValidating());
    QVERIFY(slow.regexError()->contains("'('"));
}

void TestRuleEditor::turnsLeft_endWithTheText_data() {
    QTest::addColumn<bool>("clear"); // else choose another match type
    QTest::newRow("text cleared") << true;
    QTest::newRow("match type chosen") << false;
}

void TestRuleEditor::turnsLeft_endWithTheText() {
    QFETCH(bool, clear);
    RuleEditor slow(*store, std::nullopt, std::chrono::milliseconds(0));
    slow.setMatchType(MatchType::regex);
    slow.setPattern("a,b,(");
    QVERIFY(slow.isValidating());
    if (clear)
        slow.setPattern("");
    else
        slow.setMatchType(MatchType::contains);
    QVERIFY(!slow.isValidating());
    QSignalSpy spy(&slow, &RuleEditor::changed);
    QTest::qWait(20);
    QCOMPARE(spy.size(), 0);
    QVERIFY(!slow.regexError());
}

void TestRuleEditor::hugeText_isValidated() {
    QString text;
    for (int i = 0; text.size() < 1'000'000; ++i)
        text += QString("^https://host%1\\.example\\.com/,").arg(i);
    editor->setMatchType(MatchType::regex);
    editor->setPattern(text);
    QTRY_VERIFY_WITH_TIMEOUT(!editor->isValidating(), 60'000);
    QVERIFY(!editor->regexError());
    editor->setPattern(text + "(");
    QTRY_VERIFY(editor->regexError());
    editor->setPattern(text + "()");
    QTRY_VERIFY(!editor->isValidating());
    QVERIFY(!editor->regexError());
}

void TestRuleEditor::hostileExpression_isDecidedOn_data() {
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("isValid");
    const auto nested = [](const char* open, const char* close, int depth) {
        return QString(open).repeated(depth) + "a" + QString(close).repeated(depth);
    };
    QTest::newRow("alternatives") << QString("host\\.example|").repeated(10'000) + "z" << true;
    QTest::newRow("plain megabyte") << QString(1'000'000, 'a') << true;
    QTest::newRow("nested counts") << nested("(", "){1000}", 30) << true;
    QTest::newRow("deep") << nested("(", ")", 500'000) << false;
    QTest::newRow("open parentheses") << QString(1'000'000, '(') << false;
    QTest::newRow("open brackets") << QString(1'000'000, '[') << false;
    QTest::newRow("counted groups") << QString("(?:ab){11}").repeated(100'000) << false;
    QTest::newRow("repetitions") << QString("a*").repeated(500'000) << false;
    QTest::newRow("look-behinds") << QString("(?<=a)").repeated(166'000) << false;
    QTest::newRow("properties") << QString("[^\\p{L}]").repeated(125'000) << false;
    QTest::newRow("properties in any letter case") << "(?i)" + QString("[\\W]").repeated(200'000) << false;
}

void TestRuleEditor::hostileExpression_isDecidedOn() {
    QFETCH(QString, value);
    editor->setMatchType(MatchType::regex);
    editor->setPattern(value);
    QTEST(!editor->regexError().has_value(), "isValid");
}

void TestRuleEditor::save_newRule_isAppendedEnabled() {
    store->setRules({{.name = "first"}});
    editor->setName("N");
    editor->setPattern("p");
    editor->setMatchType(MatchType::prefix);
    editor->setBrowserBundleID("b");
    editor->setIsEnabled(false);
    editor->save();
    QCOMPARE(store->rules().size(), 2);
    const Rule rule = store->rules()[1];
    QCOMPARE(
        rule,
        (Rule{.id = rule.id, .name = "N", .pattern = "p", .matchType = MatchType::prefix, .browserBundleID = "b"}));
    QVERIFY(!rule.id.isNull());
    QVERIFY(rule.id != store->rules()[0].id);
    QTRY_VERIFY(defaults->writes() > 0);
}

void TestRuleEditor::save_editedRule_isReplaced() {
    const Rule old{.name = "N", .pattern = "p", .browserBundleID = "b", .isEnabled = false, .sourceAppBundleID = "s"};
    store->setRules({{.name = "first"}, old, {.name = "last"}});
    RuleEditor edited(*store, old);
    edited.prefill();
    edited.save();
    QCOMPARE(store->rules()[1], old);
    edited.setName("");
    edited.setPattern("q");
    edited.setMatchType(MatchType::regex);
    edited.setBrowserBundleID("c");
    edited.setSourceAppBundleID("");
    edited.save();
    QCOMPARE(store->rules()[1],
             (Rule{.id = old.id,
                   .name = "",
                   .pattern = "q",
                   .matchType = MatchType::regex,
                   .browserBundleID = "c",
                   .isEnabled = false,
                   .sourceAppBundleID = std::nullopt}));
    QCOMPARE(store->rules().size(), 3);
    edited.setIsEnabled(true);
    edited.setSourceAppBundleID("t");
    edited.save();
    QVERIFY(store->rules()[1].isEnabled);
    QCOMPARE(store->rules()[1].sourceAppBundleID, std::optional<QString>("t"));
}

void TestRuleEditor::save_deletedRule_changesNothing() {
    store->setRules({{.name = "first"}});
    const auto before = store->rules();
    RuleEditor edited(*store, Rule{.name = "gone"});
    edited.prefill();
    edited.save();
    QCOMPARE(store->rules(), before);
}

void TestRuleEditor::save_storesTextsAsTyped() {
    editor->setName("  Name ");
    editor->setPattern(" A, b\r\n,,C ");
    editor->setBrowserBundleID("b");
    editor->save();
    QCOMPARE(store->rules()[0].name, QString("  Name "));
    QCOMPARE(store->rules()[0].pattern, QString(" A, b\r\n,,C "));
}

QTEST_GUILESS_MAIN(TestRuleEditor)
#include "TestRuleEditor.moc"
