#pragma once

#include <QString>

namespace vantorel {

/// How letter case is ignored: Turkic languages keep dotted and dotless i apart.
enum class LetterCase { standard, turkic };

/// The rule for a POSIX locale name such as "tr_TR.UTF-8": Turkic for Turkish and Azerbaijani.
LetterCase letterCaseForLocale(QStringView localeName);

/// The rule for the user's locale: LC_ALL, else LC_CTYPE, else LANG.
LetterCase userLetterCase();

/// Full Unicode case folding (CaseFolding.txt, "C + F", and "T" for turkic): texts that differ only in letter case
/// become equal.
QString caseFolded(QStringView text, LetterCase letterCase);

/// Unicode default lower case, whatever the user's locale.
QString lowerCased(QStringView text);

} // namespace vantorel
