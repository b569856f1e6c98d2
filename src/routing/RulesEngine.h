#pragma once

#include "routing/IcuRegex.h"
#include "routing/LetterCase.h"
#include "routing/Rule.h"

#include <QHash>
#include <QObject>
#include <QStringList>

#include <functional>
#include <string_view>
#include <unordered_map>

namespace vantorel {

class InterceptDebugStore;
class Link;
class LinkMatcher;
class RulesStore;

/// Decides where one link goes, and sends it there.
///
/// Main thread only, synchronous. The rules are walked from the top; the first enabled one whose source application
/// and pattern both hold wins. Every routed link leaves one record in the debug store, written before anything opens.
class RulesEngine : public QObject {
    Q_OBJECT

public:
    using OpenInBrowser = std::function<void(const Link& url, const QString& bundleID)>;

    /// The stores must outlive the engine. A link that would go to `ownBundleID` is dropped: handing it to ourselves
    /// would loop.
    RulesEngine(RulesStore& store, InterceptDebugStore& debugStore, OpenInBrowser launch, QString ownBundleID,
                LetterCase letterCase = userLetterCase());

    /// `sourceAppIDs` are the applications that may have opened the link, likeliest first; may be empty.
    void route(const Link& url, const QStringList& sourceAppIDs);

Q_SIGNALS:
    /// A link matched no rule and there is no fallback browser: it was opened nowhere. Emitted before `route` returns.
    void noFallbackConfigured(const vantorel::Link& url);

private:
    struct PatternHash {
        using is_transparent = void;
        size_t operator()(QStringView value) const { return qHash(value); }
    };
    using RegexCache = std::unordered_map<QString, IcuRegex, PatternHash, std::equal_to<>>;

    const Rule* firstMatch(const QList<Rule>& rules, const Link& url, const QStringList& sourceAppIDs);
    bool matches(const LinkMatcher& matcher, QStringView string, const Rule& rule);
    IcuRegex* cachedRegex(QStringView value);
    void open(const Link& url, const QString& bundleID);

    RulesStore& m_store;
    InterceptDebugStore& m_debugStore;
    OpenInBrowser m_launch;
    QString m_ownBundleID;
    LetterCase m_letterCase;
    RegexCache m_regexCache; // by the value's exact text; never shrinks, and never holds a failure
};

} // namespace vantorel
