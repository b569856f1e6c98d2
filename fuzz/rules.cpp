// The stored list of rules, from any bytes. A JSON parser of another make has a say in what is one.

#include "Fuzz.h"
#include "Text.h"

#include "platform/MemoryUserDefaults.h"
#include "routing/RuleJson.h"
#include "routing/RulesStore.h"

#include <QRegularExpression>

#include <boost/json/src.hpp>

using namespace vantorel;
namespace json = boost::json;

namespace {

constexpr QLatin1String kRulesKey("com.qorbex.Vantorel.rules.v2");
constexpr QLatin1String kLegacyRulesKey("com.qorbex.Vantorel.rules");

class Defaults : public MemoryUserDefaults {
public:
    explicit Defaults(bool canKeep) : m_canKeep(canKeep) { }

    bool keepDamaged(QLatin1String key) override {
        kept.append(data(key).value_or(QByteArray()));
        return m_canKeep;
    }

    QList<QByteArray> kept;

private:
    bool m_canKeep;
};

int hexAt(const QByteArray& text, qsizetype i) {
    bool isNumber = false;
    const int number = i + 4 <= text.size() ? text.mid(i, 4).toInt(&isNumber, 16) : 0;
    return isNumber ? number : 0;
}

// Half of a surrogate pair is no text, which that parser insists on; rules may hold it.
QByteArray withoutHalfPairs(QByteArray text) {
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != '\\')
            continue;
        if (text[++i] != 'u')
            continue;
        const int unit = hexAt(text, i + 1);
        const bool isPair = QChar::isHighSurrogate(static_cast<char32_t>(unit)) && text.mid(i + 5, 2) == "\\u"
            && QChar::isLowSurrogate(static_cast<char32_t>(hexAt(text, i + 7)));
        if (isPair)
            i += 10;
        else if (QChar::isSurrogate(static_cast<char32_t>(unit)))
            text.replace(i + 1, 4, "fffd");
    }
    return text;
}

QString withoutHalfPairs(QString text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate())
            ++i;
        else if (text[i].isSurrogate())
            text[i] = u'\ufffd';
    }
    return text;
}

QList<Rule> withoutHalfPairs(QList<Rule> rules) {
    for (Rule& rule : rules) {
        for (QString* const member : {&rule.name, &rule.pattern, &rule.browserBundleID})
            *member = withoutHalfPairs(*member);
        if (rule.sourceAppBundleID)
            rule.sourceAppBundleID = withoutHalfPairs(*rule.sourceAppBundleID);
    }
    return rules;
}

QString toText(const json::string& string) {
    return fuzz::fromUtf8(QByteArray(string.data(), static_cast<qsizetype>(string.size())));
}

// The rule that an element is, straight from the description of the stored form.
std::optional<Rule> secondOpinionOnRule(const json::value& element) {
    static const QRegularExpression uuid(QStringLiteral("\\A[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}\\z"));
    static const std::map<std::string_view, Rule::MatchType> types = {{"Contains", Rule::MatchType::contains},
                                                                      {"Domain", Rule::MatchType::domain},
                                                                      {"Starts With", Rule::MatchType::prefix},
                                                                      {"Regex", Rule::MatchType::regex}};
    const json::object* const object = element.if_object();
    if (!object)
        return std::nullopt;
    const auto stringAt = [object](std::string_view key) {
        const json::value* const value = object->if_contains(key);
        return value ? value->if_string() : nullptr;
    };
    for (const char* const key : {"id", "name", "pattern", "matchType", "browserBundleID"}) {
        if (!stringAt(key))
            return std::nullopt;
    }
    const QString id = toText(*stringAt("id"));
    const auto type = types.find(std::string_view(*stringAt("matchType")));
    const json::value* const isEnabled = object->if_contains("isEnabled");
    const json::value* const source = object->if_contains("sourceAppBundleID");
    if (!uuid.match(id).hasMatch() || type == types.end() || !isEnabled || !isEnabled->is_bool()
        || (source && !source->is_null() && !source->is_string()))
        return std::nullopt;
    Rule rule{.id = QUuid(QUuid::fromString(id)),
              .name = toText(*stringAt("name")),
              .pattern = toText(*stringAt("pattern")),
              .matchType = type->second,
              .browserBundleID = toText(*stringAt("browserBundleID")),
              .isEnabled = isEnabled->get_bool()};
    if (source && source->is_string())
        rule.sourceAppBundleID = toText(source->get_string());
    return rule;
}

std::optional<QList<Rule>> secondOpinion(const QByteArray& stored) {
    QByteArray text = withoutHalfPairs(stored);
    if (text.startsWith("\xef\xbb\xbf")) // which a parser may take or not
        text.remove(0, 3);
    json::error_code error;
    const json::value document =
        json::parse({text.constData(), static_cast<std::size_t>(text.size())}, error, {}, {.max_depth = 1024});
    if (error || !document.is_array())
        return std::nullopt;
    QList<Rule> rules;
    for (const json::value& element : document.get_array()) {
        auto rule = secondOpinionOnRule(element);
        if (!rule)
            return std::nullopt;
        rules.append(std::move(*rule));
    }
    return rules;
}

void checkStore(const QByteArray& stored, const std::optional<QList<Rule>>& rules, bool canKeep) {
    Defaults defaults(canKeep);
    defaults.setData(kRulesKey, stored);
    RulesStore store(defaults);
    CHECK(store.rules() == rules.value_or(QList<Rule>()));
    CHECK(defaults.data(kRulesKey) == stored); // looking changes nothing
    store.performSave();
    store.performSave();
    if (rules) {
        CHECK(defaults.kept.isEmpty());
        CHECK(defaults.data(kRulesKey) == encodeRules(*rules));
    } else if (canKeep) {
        CHECK(defaults.kept == QList<QByteArray>{stored});
        CHECK(defaults.data(kRulesKey) == "[]");
    } else {
        CHECK(defaults.kept.size() == 2);
        CHECK(defaults.data(kRulesKey) == stored); // there is no other copy
    }
}

void checkLegacyStore(const QByteArray& stored, const std::optional<QList<Rule>>& rules) {
    Defaults defaults(true);
    defaults.setData(kLegacyRulesKey, stored);
    RulesStore store(defaults);
    CHECK(store.rules() == rules.value_or(QList<Rule>()));
    store.performSave();
    CHECK(defaults.data(kLegacyRulesKey) == (rules ? std::nullopt : std::optional(stored)));
    CHECK(defaults.data(kRulesKey) == encodeRules(rules.value_or(QList<Rule>())));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray stored = fuzz::array(fuzz::bytes(data, size));
    const auto rules = decodeRules(stored);
    // How deep is too deep they count differently.
    if (stored.count('[') + stored.count('{') < 1000)
        CHECK((rules ? std::optional(withoutHalfPairs(*rules)) : std::nullopt) == secondOpinion(stored));
    if (rules) {
        const QByteArray written = encodeRules(*rules);
        const auto again = decodeRules(written);
        CHECK(again == rules);
        CHECK(encodeRules(*again) == written);
        CHECK(secondOpinion(written) == withoutHalfPairs(*rules));
    }
    checkStore(stored, rules, true);
    checkStore(stored, rules, false);
    checkLegacyStore(stored, rules);
    return 0;
}
