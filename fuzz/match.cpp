// How one link compares with one value: against ICU alone, without any of the shortcuts. First the link, then the value
// behind a line feed.

#include "Fuzz.h"
#include "Text.h"

#include "routing/LinkMatcher.h"

#define U_SHOW_CPLUSPLUS_API 1
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

using namespace vantorel;

namespace {

icu::UnicodeString folded(QStringView text, LetterCase letterCase) {
    const bool isTurkic = letterCase == LetterCase::turkic;
    icu::UnicodeString result(text.utf16(), static_cast<int32_t>(text.size()));
    return result.foldCase(isTurkic ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT);
}

icu::UnicodeString lower(QStringView text) {
    icu::UnicodeString result(text.utf16(), static_cast<int32_t>(text.size()));
    return result.toLower(icu::Locale::getRoot());
}

// UnicodeString itself does not find what stands within half a pair; QString does.
QString units(const icu::UnicodeString& text) {
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

void check(const Link& link, QStringView value, LetterCase letterCase) {
    const LinkMatcher matcher(link, letterCase);
    const QString string = link.absoluteString();
    CHECK(matcher.contains(value)
          == (units(folded(string, letterCase)).indexOf(units(folded(value, letterCase))) >= 0));
    CHECK(matcher.startsWith(value) == (units(lower(string)).indexOf(units(lower(value))) == 0));
    const bool isHost = folded(link.host(), LetterCase::standard) == folded(value, LetterCase::standard);
    CHECK(matcher.hostEquals(value) == (!link.host().isEmpty() && isHost));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto input = fuzz::bytes(data, size);
    const auto received = fuzz::takePart(input, '\n');
    const auto link = Link::parse(QByteArray(received.data(), static_cast<qsizetype>(received.size())));
    if (!link)
        return 0;
    const QString value = fuzz::text(input);
    for (const LetterCase letterCase : {LetterCase::standard, LetterCase::turkic}) {
        check(*link, value, letterCase);
        // What matches must also turn up: the host, and pieces of the link in the other letter case.
        check(*link, link->host().toUpper(), letterCase);
        const QString text = link->absoluteString();
        check(*link, text.left(value.size()).toUpper(), letterCase);
        check(*link, text.mid(text.size() / 3, value.size()).toUpper(), letterCase);
    }
    return 0;
}
