#include "routing/RulesEngine.h"

#include "interception/InterceptDebugStore.h"
#include "routing/Link.h"
#include "routing/LinkMatcher.h"
#include "routing/PatternList.h"
#include "routing/RulesStore.h"

namespace vantorel {

RulesEngine::RulesEngine(RulesStore& store, InterceptDebugStore& debugStore, OpenInBrowser launch, QString ownBundleID,
                         LetterCase letterCase)
    : m_store(store)
    , m_debugStore(debugStore)
    , m_launch(std::move(launch))
    , m_ownBundleID(std::move(ownBundleID))
    , m_letterCase(letterCase) { }

void RulesEngine::route(const Link& url, const QStringList& sourceAppIDs) {
    const QList<Rule> rules = m_store.rules();
    const auto record = [&](const QString& decision) {
        m_debugStore.setLastEvent({.url = url.absoluteString(), .sourceAppIDs = sourceAppIDs, .decision = decision});
    };
    if (const Rule* const rule = firstMatch(rules, url, sourceAppIDs)) {
        record(QStringLiteral("Matched rule -> ") + rule->browserBundleID);
        open(url, rule->browserBundleID);
        return;
    }
    const QString fallback = m_store.fallbackBrowserID();
    if (fallback.isEmpty()) {
        record(QStringLiteral("No match and no fallback"));
        Q_EMIT noFallbackConfigured(url);
        return;
    }
    record(QStringLiteral("Fallback -> ") + fallback);
    open(url, fallback);
}

const Rule* RulesEngine::firstMatch(const QList<Rule>& rules, const Link& url, const QStringList& sourceAppIDs) {
    const LinkMatcher matcher(url, m_letterCase);
    for (const Rule& rule : rules) {
        if (!rule.isEnabled)
            continue;
        const bool anySource = !rule.sourceAppBundleID || rule.sourceAppBundleID->isEmpty();
        if (!anySource && !sourceAppIDs.contains(*rule.sourceAppBundleID))
            continue;
        if (matches(matcher, url.absoluteString(), rule))
            return &rule;
    }
    return nullptr;
}

// A pattern without any value places no condition on the link.
bool RulesEngine::matches(const LinkMatcher& matcher, QStringView string, const Rule& rule) {
    bool hasValue = false;
    const auto any = [&](auto test) {
        return anyPattern(rule.pattern,
                          [&](QStringView value) {
                              hasValue = true;
                              return test(value);
                          })
            || !hasValue;
    };
    switch (rule.matchType) {
    case Rule::MatchType::contains: return any([&](QStringView value) { return matcher.contains(value); });
    case Rule::MatchType::domain: return any([&](QStringView value) { return matcher.hostEquals(value); });
    case Rule::MatchType::prefix: return any([&](QStringView value) { return matcher.startsWith(value); });
    case Rule::MatchType::regex:
        return any([&](QStringView value) {
            IcuRegex* const regex = cachedRegex(value);
            return regex && regex->isFoundIn(string);
        });
    }
    return false;
}

// An expression that does not compile is not remembered: it costs its compilation again at every link.
IcuRegex* RulesEngine::cachedRegex(QStringView value) {
    const auto cached = m_regexCache.find(value);
    if (cached != m_regexCache.end())
        return &cached->second;
    auto compiled = IcuRegex::compile(value, IcuRegex::CaseSensitivity::insensitive);
    auto* const regex = std::get_if<IcuRegex>(&compiled);
    return regex ? &m_regexCache.emplace(value.toString(), std::move(*regex)).first->second : nullptr;
}

void RulesEngine::open(const Link& url, const QString& bundleID) {
    if (bundleID != m_ownBundleID)
        m_launch(url, bundleID);
}

} // namespace vantorel
