// What one link costs by the number of rules when none matches, beside a floor: one plain substring search of each
// rule's whole pattern text, which anything that looks at every rule must at least pay for.

#include "fakes/FakeUserDefaults.h"
#include "interception/InterceptDebugStore.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"

#include <benchmark/benchmark.h>

using namespace vantorel;

namespace {

const QByteArray kLink = "https://www.example.com/some/path/to/a/page.html?query=value&other=thing#section";

QString word(qsizetype i) {
    return QStringLiteral("value%1.test").arg(i * 7919 % 100'003);
}

// Of ten rules, four compare by content with three values each, three by host, two by start, one by expression.
QList<Rule> makeRules(qsizetype count) {
    QList<Rule> rules;
    for (qsizetype i = 0; i < count; ++i) {
        Rule rule{.name = word(i), .browserBundleID = QStringLiteral("org.browser")};
        switch (i % 10) {
        case 0:
        case 1:
        case 2:
        case 3:
            rule.matchType = Rule::MatchType::contains;
            rule.pattern = word(i) + QStringLiteral(", /") + word(i + 1) + QStringLiteral("/page, ") + word(i + 2)
                + QStringLiteral("?q=");
            break;
        case 4:
        case 5:
        case 6:
            rule.matchType = Rule::MatchType::domain;
            rule.pattern = QStringLiteral("www.") + word(i);
            break;
        case 7:
        case 8:
            rule.matchType = Rule::MatchType::prefix;
            rule.pattern = QStringLiteral("https://www.") + word(i) + QStringLiteral("/some");
            break;
        default:
            rule.matchType = Rule::MatchType::regex;
            rule.pattern = QStringLiteral("^https?://([a-z]+\\.)*") + word(i).replace(u'.', QStringLiteral("\\."))
                + QStringLiteral("/");
        }
        rules.append(rule);
    }
    return rules;
}

void floorOfRouting(benchmark::State& state) {
    const auto rules = makeRules(state.range(0));
    const QString text = Link::parse(kLink)->absoluteString();
    for (auto _ : state) {
        for (const Rule& rule : rules)
            benchmark::DoNotOptimize(text.contains(rule.pattern));
    }
}

void routing(benchmark::State& state) {
    FakeUserDefaults defaults;
    RulesStore store(defaults);
    store.setRules(makeRules(state.range(0)));
    store.setFallbackBrowserID(QStringLiteral("fallback"));
    InterceptDebugStore debugStore;
    int opened = 0;
    RulesEngine engine(
        store, debugStore, [&opened](const Link&, const QString&) { ++opened; }, QStringLiteral("own"),
        LetterCase::standard);
    const Link link = *Link::parse(kLink);
    engine.route(link, {});
    for (auto _ : state)
        engine.route(link, {});
    if (debugStore.lastEvent()->decision != u"Fallback -> fallback")
        state.SkipWithError("a rule matched, so not all of them were looked at");
}

void parsing(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Link::parse(kLink));
}

} // namespace

int main(int argc, char** argv) {
    for (auto* const bench :
         {benchmark::RegisterBenchmark("floor", floorOfRouting), benchmark::RegisterBenchmark("routing", routing)})
        bench->RangeMultiplier(10)->Range(10, 10'000)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("parsing", parsing);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
