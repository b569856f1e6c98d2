#include "routing/RuleJson.h"

#include <QTest>

using namespace vantorel;

class TestRuleJson : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rule_defaults();
    void rule_equalityComparesAllFields();
    void matchType_rawValues();
    void encode_goldenBytes();
    void encode_escapes();
    void roundTrip_keepsEverything();
    void decode_absentAndEmptySourceDiffer();
    void decode_accepts_data();
    void decode_accepts();
    void decode_refuses_data();
    void decode_refuses();
    void decode_lowerCaseId_isWrittenInUpperCase();
    void decode_hugeInput_isReadOrRefused();
    void decode_cutAnywhere_isRefused();
};

namespace {

const char* const kId = "01234567-89AB-CDEF-0123-456789ABCDEF";

QByteArray element(QByteArray change = {}, const QByteArray& to = {}) {
    QByteArray json = R"({"id":"01234567-89AB-CDEF-0123-456789ABCDEF","name":"n","pattern":"p","matchType":"Domain",)"
                      R"("browserBundleID":"b","isEnabled":true,"sourceAppBundleID":"s"})";
    if (!change.isEmpty()) {
        Q_ASSERT(json.contains(change));
        json.replace(change, to);
    }
    return json;
}

} // namespace

void TestRuleJson::rule_defaults() {
    const Rule rule;
    QCOMPARE(rule.id.version(), QUuid::Random);
    QVERIFY(rule.isEnabled);
    QVERIFY(!rule.sourceAppBundleID);
    QVERIFY(Rule().id != rule.id);
}

void TestRuleJson::rule_equalityComparesAllFields() {
    const Rule rule{.name = "n", .pattern = "p", .browserBundleID = "b", .sourceAppBundleID = "s"};
    QCOMPARE(Rule(rule), rule);
    const auto differs = [&rule](auto change) {
        Rule other = rule;
        change(other);
        return !(other == rule);
    };
    QVERIFY(differs([](Rule& r) { r.id = QUuid::createUuid(); }));
    QVERIFY(differs([](Rule& r) { r.name = "N"; }));
    QVERIFY(differs([](Rule& r) { r.pattern = "p "; }));
    QVERIFY(differs([](Rule& r) { r.matchType = Rule::MatchType::regex; }));
    QVERIFY(differs([](Rule& r) { r.browserBundleID.clear(); }));
    QVERIFY(differs([](Rule& r) { r.isEnabled = false; }));
    QVERIFY(differs([](Rule& r) { r.sourceAppBundleID.reset(); }));
    QVERIFY(differs([](Rule& r) { r.sourceAppBundleID = ""; }));
}

void TestRuleJson::matchType_rawValues() {
    QStringList values;
    for (const auto type : Rule::allCases) {
        values.append(Rule::rawValue(type));
        QCOMPARE(Rule::matchTypeFromRawValue(Rule::rawValue(type)), std::optional(type));
    }
    QCOMPARE(values, (QStringList{"Contains", "Domain", "Starts With", "Regex"}));
    for (const char16_t* const other : {u"contains", u"prefix", u"StartsWith", u"Starts with", u"", u" Regex"})
        QVERIFY(!Rule::matchTypeFromRawValue(other));
}

void TestRuleJson::encode_goldenBytes() {
    const QUuid id(kId);
    const QList<Rule> rules = {
        {.id = id,
         .name = "Wörk",
         .pattern = "a,b\nc",
         .matchType = Rule::MatchType::prefix,
         .browserBundleID = "org.x"},
        {.id = id,
         .name = "",
         .pattern = "",
         .matchType = Rule::MatchType::contains,
         .browserBundleID = "",
         .isEnabled = false,
         .sourceAppBundleID = ""},
    };
    QCOMPARE(encodeRules(rules),
             QByteArray(R"([{"id":"01234567-89AB-CDEF-0123-456789ABCDEF","name":"Wörk","pattern":"a,b\nc",)"
                        R"("matchType":"Starts With","browserBundleID":"org.x","isEnabled":true},)"
                        R"({"id":"01234567-89AB-CDEF-0123-456789ABCDEF","name":"","pattern":"",)"
                        R"("matchType":"Contains","browserBundleID":"","isEnabled":false,"sourceAppBundleID":""}])"));
    QCOMPARE(encodeRules({}), QByteArray("[]"));
}

void TestRuleJson::encode_escapes() {
    const Rule rule{.id = QUuid(kId),
                    .name = QStringLiteral("\"\\/\b\f\n\r\t\x01\x1F\x7F\u2028"),
                    .pattern = QString(QChar(0xD800))};
    const QByteArray json = encodeRules({rule});
    QVERIFY2(json.contains(R"("name":"\"\\/\b\f\n\r\t\u0001\u001f)"
                           "\x7F\xE2\x80\xA8"
                           R"(","pattern":"\ud800")"),
             json.constData());
    QCOMPARE(decodeRules(json), std::optional(QList<Rule>{rule}));
}

void TestRuleJson::roundTrip_keepsEverything() {
    QList<Rule> rules;
    for (int c = 0; c < 0x10000; c += 7) {
        rules.append({.name = QString(QChar(c)),
                      .pattern = QString(QChar(c)) + QStringLiteral("😀"),
                      .matchType = Rule::allCases[static_cast<std::size_t>(c % 4)],
                      .browserBundleID = QString::number(c),
                      .isEnabled = c % 2 == 0,
                      .sourceAppBundleID = c % 3 == 0 ? std::nullopt : std::optional(QString(c % 3 - 1, u'x'))});
    }
    rules.append({.name = QStringLiteral("\ufeff"), .pattern = QStringLiteral("\ufeffa\ufeff")});
    const QByteArray json = encodeRules(rules);
    QCOMPARE(decodeRules(json), std::optional(rules));
    QCOMPARE(encodeRules(*decodeRules(json)), json);
}

void TestRuleJson::decode_absentAndEmptySourceDiffer() {
    const auto rules = decodeRules('[' + element(R"(,"sourceAppBundleID":"s")") + ','
                                   + element(R"("sourceAppBundleID":"s")", R"("sourceAppBundleID":"")") + ','
                                   + element(R"("sourceAppBundleID":"s")", R"("sourceAppBundleID":null)") + ']');
    QVERIFY(rules);
    QCOMPARE(rules->at(0).sourceAppBundleID, std::nullopt);
    QCOMPARE(rules->at(1).sourceAppBundleID, std::optional(QString("")));
    QCOMPARE(rules->at(2).sourceAppBundleID, std::nullopt);
    QVERIFY(!(rules->at(0) == rules->at(1)));
}

void TestRuleJson::decode_accepts_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<int>("count");
    QTest::newRow("empty list") << QByteArray("[]") << 0;
    QTest::newRow("white space") << QByteArray(" [ \n " + element() + "\t,\r\n" + element() + " ] ") << 2;
    QTest::newRow("unknown key") << QByteArray('[' + element("\"name\"", R"("future":{"a":[1]},"name")") + ']') << 1;
    QTest::newRow("other key order") << QByteArray(
        R"([{"isEnabled":false,"browserBundleID":"","matchType":"Regex","pattern":"","name":"",)"
        R"("id":"00000000-0000-0000-0000-000000000000"}])")
                                     << 1;
    QTest::newRow("escapes") << QByteArray('[' + element("\"n\"", R"("A\/\n\u0041\\\"\b\f\r\t")") + ']') << 1;
    QTest::newRow("byte order mark") << QByteArray("\xEF\xBB\xBF[" + element() + ']') << 1;
}

void TestRuleJson::decode_accepts() {
    QFETCH(QByteArray, json);
    const auto rules = decodeRules(json);
    QVERIFY(rules);
    QTEST(static_cast<int>(rules->size()), "count");
}

void TestRuleJson::decode_refuses_data() {
    QTest::addColumn<QByteArray>("json");
    const auto row = [](const char* name, const QByteArray& json) { QTest::newRow(name) << json; };
    const auto changed = [&row](const char* name, const char* from, const char* to) {
        row(name, '[' + element() + ',' + element(from, to) + ']');
    };
    row("no text", "");
    row("no JSON", "hello");
    row("object", element());
    row("null", "null");
    row("string", "\"x\"");
    row("number in the list", "[1]");
    row("null in the list", "[null]");
    row("list in the list", "[[]]");
    row("trailing text", "[]x");
    row("trailing comma", '[' + element() + ",]");
    row("not UTF-8", "[\"\xFF\"]");
    row("NUL", QByteArray("[]\0", 3));
    changed("escape that JSON does not have", "\"n\"", R"("\q")");
    changed("escaped quote that JSON does not have", "\"n\"", R"("\'")");
    changed("line feed in a string", "\"n\"", "\"a\nb\"");
    changed("control character in a string", "\"n\"", "\"\x1f\"");
    changed("escape that JSON does not have, in an unknown key", "\"name\"", R"("\x41":1,"name")");
    for (const char* const key : {"id", "name", "pattern", "matchType", "browserBundleID", "isEnabled"}) {
        row(qPrintable(QString("no ") + key), '[' + element(QByteArray("\"") + key, QByteArray("\"x") + key) + ']');
        row(qPrintable(QString("letter case of ") + key),
            '[' + element(QByteArray("\"") + key + '"', '"' + QByteArray(key).toUpper() + '"') + ']');
    }
    changed("null name", "\"n\"", "null");
    changed("number as pattern", "\"p\"", "1");
    changed("boolean as browser", "\"b\"", "true");
    changed("number as isEnabled", "true", "1");
    changed("string as isEnabled", "true", "\"true\"");
    changed("null as isEnabled", "true", "null");
    changed("number as source", "\"s\"", "1");
    changed("list as source", "\"s\"", "[]");
    changed("match type in lower case", "Domain", "domain");
    changed("case name as match type", "Domain", "prefix");
    changed("number as match type", "\"Domain\"", "1");
    changed("number as id", "\"01234567-89AB-CDEF-0123-456789ABCDEF\"", "1");
    changed("id in braces", "01234567-89AB-CDEF-0123-456789ABCDEF", "{01234567-89AB-CDEF-0123-456789ABCDEF}");
    changed("id without hyphens", "01234567-89AB-CDEF-0123-456789ABCDEF", "0123456789ABCDEF0123456789ABCDEF");
    changed("id too short", "456789ABCDEF", "456789ABCDE");
    changed("id too long", "456789ABCDEF", "456789ABCDEF0");
    changed("id with another letter", "456789ABCDEF", "456789ABCDEG");
    changed("id with misplaced hyphen", "01234567-89AB", "012345678-9AB");
    changed("empty id", "01234567-89AB-CDEF-0123-456789ABCDEF", "");
    row("deep", QByteArray(100'000, '['));
    row("deep and closed", QByteArray(5'000, '[') + QByteArray(5'000, ']'));
    row("deep in an unknown key",
        '[' + element("\"name\"", "\"x\":" + QByteArray(5'000, '[') + QByteArray(5'000, ']') + ",\"name\"") + ']');
}

void TestRuleJson::decode_refuses() {
    QFETCH(QByteArray, json);
    QVERIFY(!decodeRules(json));
}

void TestRuleJson::decode_lowerCaseId_isWrittenInUpperCase() {
    const auto rules = decodeRules('[' + element(kId, QByteArray(kId).toLower()) + ']');
    QVERIFY(rules);
    QCOMPARE(rules->constFirst().id, QUuid(kId));
    QVERIFY(encodeRules(*rules).contains(kId));
}

void TestRuleJson::decode_hugeInput_isReadOrRefused() {
    const qsizetype size = 64 << 20;
    const auto longName = decodeRules('[' + element("\"n\"", '"' + QByteArray(size, 'n') + '"') + ']');
    QVERIFY(longName);
    QCOMPARE(longName->constFirst().name.size(), size);

    QByteArray many("[");
    while (many.size() < size)
        many += element() + ',';
    many.back() = ']';
    const auto rules = decodeRules(many);
    QVERIFY(rules);
    QCOMPARE(rules->size(), many.size() / (element().size() + 1));

    QVERIFY(!decodeRules(QByteArray(size, '[')));
    QVERIFY(!decodeRules(QByteArray(size, ' ')));
    QVERIFY(!decodeRules('"' + QByteArray(size, '\\')));
}

void TestRuleJson::decode_cutAnywhere_isRefused() {
    const QByteArray json = '[' + element() + ',' + element() + ']';
    for (qsizetype size = 0; size < json.size(); ++size)
        QVERIFY2(!decodeRules(json.left(size)), json.left(size).constData());
}

QTEST_GUILESS_MAIN(TestRuleJson)
#include "TestRuleJson.moc"
