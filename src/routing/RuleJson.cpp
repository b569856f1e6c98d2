#include "routing/RuleJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace vantorel {

namespace {

constexpr QLatin1String kId("id");
constexpr QLatin1String kName("name");
constexpr QLatin1String kPattern("pattern");
constexpr QLatin1String kMatchType("matchType");
constexpr QLatin1String kBrowserBundleID("browserBundleID");
constexpr QLatin1String kIsEnabled("isEnabled");
constexpr QLatin1String kSourceAppBundleID("sourceAppBundleID");

// Half of a surrogate pair has no UTF-8 form, but an escape keeps it: a list that was read is written back the same.
bool needsEscape(QStringView text, qsizetype i) {
    const QChar c = text[i];
    if (c.isHighSurrogate())
        return i + 1 == text.size() || !text[i + 1].isLowSurrogate();
    if (c.isLowSurrogate())
        return i == 0 || !text[i - 1].isHighSurrogate();
    return c < u' ';
}

QString escaped(QStringView text) {
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        switch (c) {
        case u'"': out += u"\\\""; break;
        case u'\\': out += u"\\\\"; break;
        case u'\b': out += u"\\b"; break;
        case u'\f': out += u"\\f"; break;
        case u'\n': out += u"\\n"; break;
        case u'\r': out += u"\\r"; break;
        case u'\t': out += u"\\t"; break;
        default:
            if (needsEscape(text, i))
                out += QStringLiteral("\\u") + QString::number(c, 16).rightJustified(4, u'0');
            else
                out += c;
        }
    }
    return out;
}

// QJsonDocument would put the keys in alphabetical order; this form keeps the order of the fields.
class ObjectWriter {
public:
    void string(QLatin1String key, QStringView value) { raw(key, u'"' + escaped(value) + u'"'); }
    void boolean(QLatin1String key, bool value) { raw(key, value ? QStringLiteral("true") : QStringLiteral("false")); }
    QByteArray finish() const { return (u'{' + m_text + u'}').toUtf8(); }

private:
    void raw(QLatin1String key, const QString& value) {
        if (!m_text.isEmpty())
            m_text += u',';
        m_text += u'"' + key + QStringLiteral("\":") + value;
    }

    QString m_text;
};

QByteArray encodeRule(const Rule& rule) {
    ObjectWriter object;
    object.string(kId, rule.id.toString(QUuid::WithoutBraces).toUpper());
    object.string(kName, rule.name);
    object.string(kPattern, rule.pattern);
    object.string(kMatchType, Rule::rawValue(rule.matchType));
    object.string(kBrowserBundleID, rule.browserBundleID);
    object.boolean(kIsEnabled, rule.isEnabled);
    if (rule.sourceAppBundleID)
        object.string(kSourceAppBundleID, *rule.sourceAppBundleID);
    return object.finish();
}

// QJsonDocument drops a backslash before a character that needs none, and takes control characters as they are. Where
// JSON has no such strings the text is damaged, and what it meant is a guess.
bool hasStandardStrings(const QByteArray& json) {
    bool inString = false;
    for (qsizetype i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (c == '"')
            inString = !inString;
        else if ((inString && static_cast<unsigned char>(c) < 0x20)
                 || (c == '\\' && (++i == json.size() || !QByteArrayView("\"\\/bfnrtu").contains(json[i]))))
            return false;
    }
    return true;
}

// QJsonDocument leaves out a byte order mark that a string begins with, unless it is escaped.
QByteArray withEscapedMarks(QByteArray json) {
    const QByteArray mark("\xef\xbb\xbf");
    if (json.startsWith(mark))
        json.remove(0, mark.size()); // that of the document
    return json.replace(mark, "\\ufeff");
}

// QUuid alone would also take braces, and give the null id for text that is no id at all.
std::optional<QUuid> decodeId(const QString& text) {
    constexpr std::array<qsizetype, 4> kHyphens = {8, 13, 18, 23};
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool hyphen = std::find(kHyphens.begin(), kHyphens.end(), i) != kHyphens.end();
        const char16_t c = text[i].unicode();
        const bool digit = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        if (hyphen ? c != u'-' : !digit)
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

std::optional<Rule> decodeRule(const QJsonValue& value) {
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    for (const auto key : {kId, kName, kPattern, kMatchType, kBrowserBundleID}) {
        if (!object.value(key).isString())
            return std::nullopt;
    }
    const auto id = decodeId(object.value(kId).toString());
    const auto matchType = Rule::matchTypeFromRawValue(object.value(kMatchType).toString());
    const QJsonValue isEnabled = object.value(kIsEnabled);
    const QJsonValue source = object.value(kSourceAppBundleID);
    if (!id || !matchType || !isEnabled.isBool() || !(source.isString() || source.isNull() || source.isUndefined()))
        return std::nullopt;
    return Rule{.id = *id,
                .name = object.value(kName).toString(),
                .pattern = object.value(kPattern).toString(),
                .matchType = *matchType,
                .browserBundleID = object.value(kBrowserBundleID).toString(),
                .isEnabled = isEnabled.toBool(),
                .sourceAppBundleID = source.isString() ? std::optional(source.toString()) : std::nullopt};
}

} // namespace

QByteArray encodeRules(const QList<Rule>& rules) {
    QByteArray json("[");
    for (const Rule& rule : rules) {
        if (json.size() > 1)
            json += ',';
        json += encodeRule(rule);
    }
    json += ']';
    return json;
}

std::optional<QList<Rule>> decodeRules(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(withEscapedMarks(json));
    if (!document.isArray() || !hasStandardStrings(json))
        return std::nullopt;
    const QJsonArray array = document.array();
    QList<Rule> rules;
    rules.reserve(array.size());
    for (const auto& element : array) {
        auto rule = decodeRule(element);
        if (!rule)
            return std::nullopt;
        rules.append(std::move(*rule));
    }
    return rules;
}

} // namespace vantorel
