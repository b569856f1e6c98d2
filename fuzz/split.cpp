// The values of a pattern text: for the rules, for the editor, and by a splitter that anybody can see is right.

#include "Fuzz.h"
#include "Text.h"

#include "platform/MemoryUserDefaults.h"
#include "routing/IcuRegex.h"
#include "routing/PatternList.h"
#include "routing/RulesStore.h"
#include "settings/RuleEditor.h"

#include <QCoreApplication>
#include <QStringList>

using namespace vantorel;

namespace {

// All characters that Unicode calls white space.
constexpr QStringView kWhiteSpace = u"\t\n\v\f\r \u0085\u00a0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007"
                                    u"\u2008\u2009\u200a\u2028\u2029\u202f\u205f\u3000";
constexpr QStringView kSeparators = u",\n\v\f\r\u0085\u2028\u2029";

QStringList reference(const QString& text) {
    QStringList values(QString{});
    for (const QChar c : text) {
        if (kSeparators.contains(c))
            values.append(QString());
        else
            values.last() += c;
    }
    for (QString& value : values) {
        while (!value.isEmpty() && kWhiteSpace.contains(value.front()))
            value.remove(0, 1);
        while (!value.isEmpty() && kWhiteSpace.contains(value.back()))
            value.chop(1);
    }
    values.removeAll(QString());
    return values;
}

QStringList split(const QString& text) {
    QStringList values;
    for (const QStringView value : splitPatterns(text))
        values.append(value.toString());
    return values;
}

// The editor goes on from value to value in later turns of the event loop; with no time at all, in one for each.
void checkEditor(const QString& text, const QStringList& values) {
    static int count = 0;
    static char name[] = "fuzz_split";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication application(count = 1, arguments);

    std::optional<QString> expected;
    for (const QString& value : values) {
        const auto result = IcuRegex::compile(value, IcuRegex::CaseSensitivity::sensitive);
        if (const auto* const error = std::get_if<RegexError>(&result); error && !expected)
            expected = QStringLiteral("Invalid regex '") + value + QStringLiteral("': ") + error->message;
    }
    MemoryUserDefaults defaults;
    RulesStore store(defaults);
    RuleEditor editor(store, std::nullopt, std::chrono::milliseconds(0));
    editor.setMatchType(Rule::MatchType::regex);
    editor.setPattern(text);
    // One turn is enough for a value; two more make up for the first and the last.
    for (qsizetype turns = values.size() + 2; editor.isValidating() && turns > 0; --turns)
        QCoreApplication::processEvents();
    CHECK(!editor.isValidating());
    CHECK(editor.regexError() == expected);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString text = fuzz::text(fuzz::bytes(data, size));
    const QStringList values = split(text);
    CHECK(values == reference(text));

    const QChar* end = text.constData();
    for (const QStringView value : splitPatterns(text)) {
        CHECK(value.begin() >= end && value.end() <= text.constData() + text.size()); // views, in order
        end = value.end();
    }
    for (qsizetype wanted = 0; wanted < values.size(); wanted += 7) {
        qsizetype seen = 0;
        CHECK(anyPattern(text, [&seen, wanted](QStringView) { return seen++ == wanted; }) && seen == wanted + 1);
    }
    for (const QChar separator : kSeparators) {
        CHECK(split(values.join(separator)) == values);
        CHECK(split(values.join(QStringLiteral(" ") + separator + u' ')) == values);
    }
    if (text.size() < 2000)
        checkEditor(text, values);
    return 0;
}
