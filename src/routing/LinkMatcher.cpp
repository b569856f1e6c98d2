#include "routing/LinkMatcher.h"

#include <algorithm>
#include <array>

namespace vantorel {

namespace {

constexpr std::array<char16_t, 128> kAsciiLower = [] {
    std::array<char16_t, 128> lower{};
    for (char16_t c = 0; c < 128; ++c)
        lower[c] = c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
    return lower;
}();

bool isAscii(QStringView text) {
    char16_t all = 0;
    for (const QChar c : text)
        all |= c.unicode();
    return all < 128;
}

// `folded` is in lower case already, and `value` is ASCII.
bool startsWithIgnoringAsciiCase(QStringView folded, QStringView value) {
    return value.size() <= folded.size()
        && std::equal(value.utf16(), value.utf16() + value.size(), folded.utf16(),
                      [](char16_t c, char16_t f) { return kAsciiLower[c] == f; });
}

} // namespace

std::size_t LinkMatcher::pairIndex(char16_t first, char16_t second) {
    return (std::size_t{first} * 31 + second) % kPairs;
}

LinkMatcher::LinkMatcher(const Link& link, LetterCase letterCase)
    : m_letterCase(letterCase)
    , m_folded(caseFolded(link.absoluteString(), letterCase))
    , m_lower(lowerCased(link.absoluteString()))
    , m_foldedHost(caseFolded(link.host(), LetterCase::standard)) {
    for (qsizetype i = 1; i < m_folded.size(); ++i)
        m_pairs.set(pairIndex(m_folded[i - 1].unicode(), m_folded[i].unicode()));
}

// A value can only stand in the link when each two neighbouring characters of it do. Most values that do not match
// fail within the first pairs, which is far cheaper than a search.
bool LinkMatcher::mayContain(QStringView asciiValue) const {
    const char16_t* const v = asciiValue.utf16();
    for (qsizetype i = 1; i < asciiValue.size(); ++i) {
        if (!m_pairs.test(pairIndex(kAsciiLower[v[i - 1]], kAsciiLower[v[i]])))
            return false;
    }
    return true;
}

bool LinkMatcher::contains(QStringView value) const {
    // A Turkic "I" folds to a letter that is not ASCII, so that only ICU can say what the value means.
    if (!isAscii(value) || (m_letterCase == LetterCase::turkic && value.contains(u'I')))
        return m_folded.contains(caseFolded(value, m_letterCase));
    if (value.size() > m_folded.size() || !mayContain(value))
        return false;
    const QStringView text = m_folded;
    const char16_t* const end = text.utf16() + text.size();
    return std::search(text.utf16(), end, value.utf16(), value.utf16() + value.size(),
                       [](char16_t t, char16_t v) { return t == kAsciiLower[v]; })
        != end;
}

bool LinkMatcher::hostEquals(QStringView value) const {
    if (m_foldedHost.isEmpty())
        return false;
    if (!isAscii(value))
        return caseFolded(value, LetterCase::standard) == m_foldedHost;
    return value.size() == m_foldedHost.size() && startsWithIgnoringAsciiCase(m_foldedHost, value);
}

bool LinkMatcher::startsWith(QStringView value) const {
    if (!isAscii(value))
        return m_lower.startsWith(lowerCased(value));
    return startsWithIgnoringAsciiCase(m_lower, value);
}

} // namespace vantorel
