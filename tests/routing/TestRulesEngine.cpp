#include "routing/RulesEngine.h"

#include "fakes/FakeUserDefaults.h"
#include "interception/InterceptDebugStore.h"
#include "routing/Link.h"
#include "routing/RulesStore.h"

#include <QTest>

#include <memory>

using namespace vantorel;

class TestRulesEngine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void route_noRulesNoFallback_opensNothingAndTells();
    void route_noRules_takesTheFallback();
    void route_matchingRule_wins();
    void route_upperRule_wins();
    void route_disabledRule_isSkipped();
    void route_ownIdentifier_isRecordedAndDropped();
    void route_ownIdentifierAsFallback_isRecordedAndDropped();
    void route_emptyBrowser_isUsedAsItIs();
    void route_recordsBeforeItOpensOrTells();
    void route_rulesChangedByTheLaunch_doNotAffectTheWalk();
    void sourceApplication_data();
    void sourceApplication();
    void pattern_data();
    void pattern();
    void pattern_withTurkishLocale();
    void regex_invalidValue_isTriedAgainAtEachLink();
    void regex_hostileValue_countsAsNoMatch_andTheNextRuleWins();

private:
    void route(const QByteArray& url, const QStringList& sourceAppIDs = {});

    std::unique_ptr<FakeUserDefaults> m_defaults;
    std::unique_ptr<RulesStore> m_store;
    std::unique_ptr<InterceptDebugStore> m_debugStore;
    std::unique_ptr<RulesEngine> m_engine;
    QStringList m_log; // what happened, in order
};

namespace {

const char* const kOwn = "com.qorbex.Vantorel";

Rule rule(const QString& browser, const QString& pattern = {}, Rule::MatchType matchType = Rule::MatchType::contains,
          std::optional<QString> source = {}) {
    return {.pattern = pattern, .matchType = matchType, .browserBundleID = browser, .sourceAppBundleID = source};
}

} // namespace

void TestRulesEngine::init() {
    m_log.clear();
    m_defaults = std::make_unique<FakeUserDefaults>();
    m_store = std::make_unique<RulesStore>(*m_defaults);
    m_debugStore = std::make_unique<InterceptDebugStore>();
    m_engine = std::make_unique<RulesEngine>(
        *m_store, *m_debugStore,
        [this](const Link& url, const QString& id) { m_log.append("open " + url.absoluteString() + " in " + id); },
        kOwn, LetterCase::standard);
    connect(m_debugStore.get(), &InterceptDebugStore::changed,
            [this] { m_log.append("record " + m_debugStore->lastEvent()->decision); });
    connect(m_engine.get(), &RulesEngine::noFallbackConfigured,
            [this](const Link& url) { m_log.append("no fallback for " + url.absoluteString()); });
}

void TestRulesEngine::route(const QByteArray& url, const QStringList& sourceAppIDs) {
    const auto link = Link::parse(url);
    QVERIFY(link);
    m_engine->route(*link, sourceAppIDs);
}

void TestRulesEngine::route_noRulesNoFallback_opensNothingAndTells() {
    route("https://x.test/", {"a", "b"});
    QCOMPARE(m_log, (QStringList{"record No match and no fallback", "no fallback for https://x.test/"}));
    const InterceptDebugEvent expected{
        .url = "https://x.test/", .sourceAppIDs = {"a", "b"}, .decision = "No match and no fallback"};
    QCOMPARE(m_debugStore->lastEvent(), std::optional(expected));
}

void TestRulesEngine::route_noRules_takesTheFallback() {
    m_store->setFallbackBrowserID("com.apple.Safari");
    route("https://x.test/");
    QCOMPARE(m_log, (QStringList{"record Fallback -> com.apple.Safari", "open https://x.test/ in com.apple.Safari"}));
}

void TestRulesEngine::route_matchingRule_wins() {
    m_store->setFallbackBrowserID("fallback");
    m_store->setRules({rule("one", "nothing"), rule("two", "x.test")});
    route("https://x.test/");
    QCOMPARE(m_log, (QStringList{"record Matched rule -> two", "open https://x.test/ in two"}));
}

void TestRulesEngine::route_upperRule_wins() {
    m_store->setRules({rule("one"), rule("two", "x.test")});
    route("https://x.test/");
    QCOMPARE(m_log.constFirst(), QString("record Matched rule -> one"));
    QCOMPARE(m_log.size(), 2);
}

void TestRulesEngine::route_disabledRule_isSkipped() {
    Rule disabled = rule("one");
    disabled.isEnabled = false;
    m_store->setRules({disabled, rule("two")});
    route("https://x.test/");
    QCOMPARE(m_log.constFirst(), QString("record Matched rule -> two"));
}

void TestRulesEngine::route_ownIdentifier_isRecordedAndDropped() {
    m_store->setFallbackBrowserID("fallback");
    m_store->setRules({rule(kOwn)});
    route("https://x.test/");
    QCOMPARE(m_log, (QStringList{QString("record Matched rule -> ") + kOwn}));
}

void TestRulesEngine::route_ownIdentifierAsFallback_isRecordedAndDropped() {
    m_store->setFallbackBrowserID(kOwn);
    route("https://x.test/");
    QCOMPARE(m_log, (QStringList{QString("record Fallback -> ") + kOwn}));
}

void TestRulesEngine::route_emptyBrowser_isUsedAsItIs() {
    m_store->setFallbackBrowserID("fallback");
    m_store->setRules({rule("")});
    route("https://x.test/");
    QCOMPARE(m_log, (QStringList{"record Matched rule -> ", "open https://x.test/ in "}));
}

void TestRulesEngine::route_recordsBeforeItOpensOrTells() {
    route("https://x.test/");
    m_store->setFallbackBrowserID("f");
    route("https://x.test/");
    m_store->setRules({rule("r")});
    route("https://x.test/");
    QCOMPARE(m_log.size(), 6);
    for (qsizetype i = 0; i < m_log.size(); i += 2)
        QVERIFY2(m_log[i].startsWith("record ") && !m_log[i + 1].startsWith("record "), qPrintable(m_log.join('\n')));
}

void TestRulesEngine::route_rulesChangedByTheLaunch_doNotAffectTheWalk() {
    RulesEngine engine(
        *m_store, *m_debugStore,
        [this](const Link&, const QString& id) {
            m_store->setRules({});
            m_log.append("open in " + id);
        },
        kOwn, LetterCase::standard);
    m_store->setRules({rule("browser-with-a-long-identifier")});
    engine.route(*Link::parse("https://x.test/"), {});
    QCOMPARE(m_log.constLast(), QString("open in browser-with-a-long-identifier"));
}

void TestRulesEngine::sourceApplication_data() {
    QTest::addColumn<QString>("condition");
    QTest::addColumn<QStringList>("sources");
    QTest::addColumn<bool>("matches");
    QTest::newRow("no condition, no source") << QString() << QStringList() << true;
    QTest::newRow("empty condition") << "" << QStringList() << true;
    QTest::newRow("first") << "A" << QStringList{"A", "B"} << true;
    QTest::newRow("last") << "B" << QStringList{"A", "B"} << true;
    QTest::newRow("another") << "C" << QStringList{"A", "B"} << false;
    QTest::newRow("letter case") << "org.App" << QStringList{"org.app"} << false;
    QTest::newRow("part of it") << "org" << QStringList{"org.app"} << false;
    QTest::newRow("no source known") << "A" << QStringList() << false;
}

void TestRulesEngine::sourceApplication() {
    QFETCH(QString, condition);
    QFETCH(QStringList, sources);
    m_store->setRules(
        {rule("b", {}, Rule::MatchType::contains, condition.isNull() ? std::nullopt : std::optional(condition))});
    route("https://x.test/", sources);
    QTEST(m_log.constFirst() == "record Matched rule -> b", "matches");
}

void TestRulesEngine::pattern_data() {
    QTest::addColumn<QString>("matchType");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QByteArray>("url");
    QTest::addColumn<bool>("matches");
    const auto row = [](const QByteArray& name, const QString& type, const QString& pattern, const char* url,
                        bool matches) {
        QTest::newRow(name.constData()) << type << pattern << QByteArray(url) << matches;
    };
    for (const auto type : Rule::allCases) {
        const QString name = Rule::rawValue(type);
        row(QByteArray(name.toLatin1() + ": empty pattern"), name, "", "https://x.test/", true);
        row(QByteArray(name.toLatin1() + ": only separators"), name, " ,\n , \t", "https://x.test/", true);
        row(QByteArray(name.toLatin1() + ": empty pattern without host"), name, "", "mailto:a@b", true);
        row(QByteArray(name.toLatin1() + ": no value matches"), name, "nothing, nowhere", "https://x.test/", false);
    }
    row("contains", "Contains", "X.TEST/a", "https://x.test/abc", true);
    row("contains: second value", "Contains", "nothing, x.test", "https://x.test/", true);
    row("contains: third value on its own line", "Contains", "nothing,\n\n x.test \n", "https://x.test/", true);
    row("contains: the scheme", "Contains", "https://", "https://x.test/", true);
    row("domain", "Domain", "Example.Com", "https://example.com/a", true);
    row("domain: parent", "Domain", "example.com", "https://www.example.com/", false);
    row("domain: second value", "Domain", "a.test,example.com", "https://example.com:80/", true);
    row("domain: no host", "Domain", "example.com", "mailto:a@example.com", false);
    row("prefix", "Starts With", "HTTPS://X", "https://x.test/", true);
    row("prefix: not at the start", "Starts With", "x.test", "https://x.test/", false);
    row("regex: anywhere, any case", "Regex", "X\\.T.ST", "https://x.test/", true);
    row("regex: invalid value, then one that matches", "Regex", "(, x\\.test", "https://x.test/", true);
    row("regex: only an invalid value", "Regex", "(", "https://x.test/", false);
    row("regex: the comma separates", "Regex", "a{1,2}", "https://aa.test/", false);
}

void TestRulesEngine::pattern() {
    QFETCH(QString, matchType);
    QFETCH(QString, pattern);
    QFETCH(QByteArray, url);
    m_store->setRules({rule("b", pattern, *Rule::matchTypeFromRawValue(matchType))});
    route(url);
    QTEST(m_log.constFirst() == "record Matched rule -> b", "matches");
}

void TestRulesEngine::pattern_withTurkishLocale() {
    RulesEngine engine(
        *m_store, *m_debugStore, [](const Link&, const QString&) {}, kOwn, LetterCase::turkic);
    const auto decision = [&](const char* pattern, Rule::MatchType type) {
        m_store->setRules({rule("b", pattern, type)});
        engine.route(*Link::parse("https://INFO.test/TITLE"), {});
        return m_debugStore->lastEvent()->decision;
    };
    const QString matched = "Matched rule -> b";
    const QString none = "No match and no fallback";
    QCOMPARE(decision("title", Rule::MatchType::contains), none);
    QCOMPARE(decision("TITLE", Rule::MatchType::contains), matched);
    QCOMPARE(decision("info.test", Rule::MatchType::domain), matched);
    QCOMPARE(decision("https://info.test/title", Rule::MatchType::prefix), matched);
    QCOMPARE(decision("title", Rule::MatchType::regex), matched);
}

void TestRulesEngine::regex_invalidValue_isTriedAgainAtEachLink() {
    m_store->setRules({rule("b", "(, x", Rule::MatchType::regex)});
    for (int i = 0; i < 3; ++i)
        route("https://x.test/");
    QCOMPARE(m_log.count("record Matched rule -> b"), 3);
}

void TestRulesEngine::regex_hostileValue_countsAsNoMatch_andTheNextRuleWins() {
    m_store->setRules({rule("hostile", "(a+)+$", Rule::MatchType::regex), rule("next")});
    route("https://x.test/" + QByteArray(5000, 'a') + '!');
    QCOMPARE(m_log.constFirst(), QString("record Matched rule -> next"));
}

QTEST_GUILESS_MAIN(TestRulesEngine)
#include "TestRulesEngine.moc"
