#pragma once

#include <QByteArray>
#include <QString>

#include <string_view>

namespace fuzz {

inline QByteArray array(std::string_view input) {
    return QByteArray(input.data(), static_cast<qsizetype>(input.size()));
}

/// A byte order mark is a character like any other, which QString::fromUtf8() does not see that way.
inline QString fromUtf8(const QByteArray& text) {
    return QString::fromUtf8('x' + text).mid(1);
}

/// UTF-8, or behind FF FE any UTF-16: so that half surrogate pairs occur, and the kept inputs can still be read.
inline QString text(std::string_view input) {
    if (!input.starts_with("\xff\xfe"))
        return fromUtf8(array(input));
    QString units;
    for (std::size_t i = 2; i + 1 < input.size(); i += 2)
        units += QChar(static_cast<uchar>(input[i]), static_cast<uchar>(input[i + 1]));
    return units;
}

} // namespace fuzz
