#pragma once

#include "routing/LetterCase.h"
#include "routing/Link.h"

#include <QString>

#include <bitset>

namespace vantorel {

/// One link, made ready to be compared with very many pattern values.
///
/// A value compares in a few nanoseconds and without allocation as long as it is ASCII; others are case-folded by ICU.
/// Nothing about the values is kept between calls. One thread at a time; keeps a copy of what it needs of the link.
class LinkMatcher {
public:
    /// `letterCase` is the user's: it applies to `contains` alone.
    LinkMatcher(const Link& link, LetterCase letterCase);

    /// Whether the link text contains the value, ignoring letter case as the user's language does.
    bool contains(QStringView value) const;

    /// Whether the link's host is the value, ignoring letter case. Never true for a link without a host.
    bool hostEquals(QStringView value) const;

    /// Whether the link text starts with the value when both are in lower case.
    bool startsWith(QStringView value) const;

private:
    static constexpr std::size_t kPairs = 1024;
    static std::size_t pairIndex(char16_t first, char16_t second);
    bool mayContain(QStringView asciiValue) const;

    LetterCase m_letterCase;
    QString m_folded;
    QString m_lower;
    QString m_foldedHost;
    std::bitset<kPairs> m_pairs; // which neighbouring characters stand in m_folded
};

} // namespace vantorel
