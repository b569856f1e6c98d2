// What one link costs by the number of rules when none matches, beside a floor: one plain substring search of each
// rule's whole pattern text, which anything that looks at every rule must at least pay for.

#include "fakes/FakeUserDefaults.h"
#include "interception/InterceptDebugStore.h"
#include "routing/Link.h"
#include "routing/RulesEngine.h"
#include "routing/RulesStore.h"

#include <benchmark/benchmark.h>

#include <iterator>
#include <map>

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

// Keeps the medians, and prints each count's ratio to its floor at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.aggregate_name == "median")
                m_medians[run.run_name.function_name + '/' + run.run_name.args] = run.GetAdjustedRealTime();
        }
    }

    void Finalize() override {
        GetOutputStream() << "\nrules   routing / floor (medians of this run)\n";
        for (const int count : {10, 100, 1'000, 10'000}) {
            const auto suffix = '/' + std::to_string(count);
            GetOutputStream() << count << '\t' << m_medians["routing" + suffix] / m_medians["floor" + suffix] << '\n';
        }
    }

private:
    std::map<std::string, double> m_medians;
};

} // namespace

int main(int argc, char** argv) {
    for (auto* const bench :
         {benchmark::RegisterBenchmark("floor", floorOfRouting), benchmark::RegisterBenchmark("routing", routing)})
        bench->RangeMultiplier(10)->Range(10, 10'000)->Unit(benchmark::kMicrosecond)->Repetitions(9);
    benchmark::RegisterBenchmark("parsing", parsing)->Repetitions(9);
    // Interleaved, so that a machine that changes its speed changes it for both.
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::string aggregates = "--benchmark_display_aggregates_only=true";
    std::string time = "--benchmark_min_time=0.05";
    arguments.insert(arguments.begin() + 1, {interleave.data(), aggregates.data(), time.data()});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
