#include "routing/LetterCase.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>

namespace vantorel {

namespace {

// Runs one of ICU's case mappings, which say the needed length when the room was too small.
template <typename Map> QString mapped(QStringView text, Map map) {
    QString out(text.size() + 16, Qt::Uninitialized);
    for (;;) {
        UErrorCode error = U_ZERO_ERROR;
        const int32_t length = map(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), text.utf16(),
                                   static_cast<int32_t>(text.size()), &error);
        const bool fits = length <= out.size();
        out.resize(length);
        if (fits)
            return out;
    }
}

} // namespace

LetterCase letterCaseForLocale(QStringView localeName) {
    const qsizetype end = std::find_if_not(localeName.begin(), localeName.end(), [](QChar c) { return c.isLetter(); })
        - localeName.begin();
    const QStringView language = localeName.left(end);
    return language == u"tr" || language == u"az" ? LetterCase::turkic : LetterCase::standard;
}

LetterCase userLetterCase() {
    for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const QString value = qEnvironmentVariable(variable);
        if (!value.isEmpty())
            return letterCaseForLocale(value);
    }
    return LetterCase::standard;
}

QString caseFolded(QStringView text, LetterCase letterCase) {
    const uint32_t options =
        letterCase == LetterCase::turkic ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : uint32_t{U_FOLD_CASE_DEFAULT};
    return mapped(text, [options](UChar* out, int32_t room, const UChar* in, int32_t length, UErrorCode* error) {
        return u_strFoldCase(out, room, in, length, options, error);
    });
}

QString lowerCased(QStringView text) {
    return mapped(text, [](UChar* out, int32_t room, const UChar* in, int32_t length, UErrorCode* error) {
        return u_strToLower(out, room, in, length, "", error);
    });
}

} // namespace vantorel
