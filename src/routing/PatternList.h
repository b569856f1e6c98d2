#pragma once

#include <QList>
#include <QStringView>

namespace vantorel {

/// True for the characters that end a line in a pattern text: line feed, vertical tab, form feed, carriage return, next
/// line, line separator and paragraph separator.
constexpr bool isLineBreak(char16_t c) {
    return (c >= u'\n' && c <= u'\r') || c == u'\u0085' || c == u'\u2028' || c == u'\u2029';
}

/// Calls `accept` with each value of a pattern text in order until it returns true; returns whether it did.
///
/// Values are what stands between commas and line breaks, without white space at either end; empty ones are left out.
/// The values are views into the text: nothing is copied, because this runs for every rule at every link.
template <typename Accept> bool anyPattern(QStringView text, Accept&& accept) {
    const char16_t* const end = text.utf16() + text.size();
    for (const char16_t* start = text.utf16(); start != end;) {
        const char16_t* stop = start;
        while (stop != end && *stop != u',' && !isLineBreak(*stop))
            ++stop;
        const auto value = QStringView(start, stop).trimmed();
        if (!value.isEmpty() && accept(value))
            return true;
        start = stop == end ? end : stop + 1;
    }
    return false;
}

/// The values of a pattern text in order, duplicates kept; views into the text.
QList<QStringView> splitPatterns(QStringView text);

} // namespace vantorel
