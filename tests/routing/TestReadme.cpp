#include "fakes/FakeUserDefaults.h"
#include "interception/InterceptDebugStore.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"

#include <QFile>
#include <QTest>

#include <algorithm>

using namespace vantorel;

// The examples of rules in README.md are run as they stand there.
class TestReadme : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tables_haveEachMatchType();
    void oneRule_data();
    void oneRule();
    void severalRules_data();
    void severalRules();
};

namespace {

using Table = QList<QStringList>;

const char* const kOneRule = "| match | pattern | link | taken | because |";
const char* const kRules = "| | match | pattern | from app | opens in |";
const char* const kLinks = "| link | may come from | opens in | because |";

// The text of a cell without the marks around what is code; "(empty)" stands for an empty text.
QString plain(QString cell) {
    cell = cell.trimmed().remove('`');
    return cell == "(empty)" ? QString() : cell;
}

// The rows below this header.
Table tableUnder(const QString& header) {
    QFile file(README);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n');
    Table rows;
    for (qsizetype i = lines.indexOf(header) + 2; i > 1 && i < lines.size() && lines[i].startsWith('|'); ++i) {
        QStringList cells = lines[i].split('|').mid(1);
        std::transform(cells.begin(), cells.end(), cells.begin(), plain);
        rows.append(cells);
    }
    return rows;
}

// Where a link goes by these rules: the id of the browser, empty for nowhere.
QString opensIn(const QList<Rule>& rules, const QString& fallback, const QString& link, const QStringList& sources) {
    FakeUserDefaults defaults;
    RulesStore store(defaults);
    store.setRules(rules);
    store.setFallbackBrowserID(fallback);
    InterceptDebugStore debugStore;
    QString opened;
    RulesEngine engine(
        store, debugStore, [&opened](const Link&, const QString& id) { opened = id; }, "com.qorbex.Vantorel",
        LetterCase::standard);
    engine.route(Link::parse(link.toUtf8()).value(), sources);
    return opened;
}

Rule::MatchType matchType(const QString& name) {
    return Rule::matchTypeFromRawValue(name).value();
}

} // namespace

void TestReadme::tables_haveEachMatchType() {
    const Table rows = tableUnder(kOneRule);
    for (const auto type : Rule::allCases) {
        const auto isOfType = [type](const QStringList& cells) { return cells[0] == Rule::rawValue(type); };
        QVERIFY2(std::any_of(rows.begin(), rows.end(), isOfType), qPrintable(Rule::rawValue(type)));
    }
    QVERIFY(!tableUnder(kRules).isEmpty());
    QVERIFY(!tableUnder(kLinks).isEmpty());
}

void TestReadme::oneRule_data() {
    QTest::addColumn<QStringList>("cells");
    for (const QStringList& cells : tableUnder(kOneRule))
        QTest::addRow("%s", qPrintable(cells.mid(0, 3).join(' '))) << cells;
}

void TestReadme::oneRule() {
    QFETCH(QStringList, cells);
    const Rule rule{.pattern = cells[1], .matchType = matchType(cells[0]), .browserBundleID = "browser"};
    QCOMPARE(opensIn({rule}, {}, cells[2], {}).isEmpty() ? "no" : "yes", cells[3]);
}

void TestReadme::severalRules_data() {
    QTest::addColumn<QStringList>("cells");
    for (const QStringList& cells : tableUnder(kLinks))
        QTest::addRow("%s from %s", qPrintable(cells[0]), qPrintable(cells[1])) << cells;
}

void TestReadme::severalRules() {
    QFETCH(QStringList, cells);
    Table rows = tableUnder(kRules);
    const QString fallback = rows.takeLast()[4];
    QList<Rule> rules;
    for (const QStringList& row : rows)
        rules.append({.pattern = row[2],
                      .matchType = matchType(row[1]),
                      .browserBundleID = row[4],
                      .isEnabled = !row[0].endsWith("off"),
                      .sourceAppBundleID = row[3]});
    QCOMPARE(opensIn(rules, fallback, cells[0], cells[1].split(", ", Qt::SkipEmptyParts)), cells[2]);
}

QTEST_GUILESS_MAIN(TestReadme)
#include "TestReadme.moc"
