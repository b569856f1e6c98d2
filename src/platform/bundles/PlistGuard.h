#pragma once

#include <QByteArrayView>

namespace vantorel {

/// Says beforehand whether libplist may be given a property list. It recurses without a bound, copies what a binary
/// list refers to at each reference, and its effort grows with the square of some texts; the file of a stranger's
/// bundle must cost neither the stack nor the memory of the program. Pure functions for any thread, which recurse no
/// deeper than the bounds below and take time in proportion to the size of the list.
namespace PlistGuard {

/// Deepest nesting of elements or objects; what applications ship stays below ten.
inline constexpr int kMaxDepth = 64;

/// References to characters (`&amp;`) in all texts of an XML list: each moves the rest of its text by some bytes.
inline constexpr int kMaxEntities = 4096;

/// What a binary list may grow to with everything copied that is referred to more than once, at 64 bytes an object
/// and the bytes of its value. Eight times the largest file that is read, which a list without copies stays below
/// unless it consists of the smallest values only.
inline constexpr qsizetype kMaxExpandedSize = qsizetype(4) * 1024 * 1024;

/// True for the narrow XML in which property lists are written: known elements, each one closed, declarations in front
/// of the first one only, no declarations of entities. In doubt it is false.
bool admitsXml(QByteArrayView list);

/// True when every object that the root leads to lies within the list, none contains itself, and every text is whole:
/// no NUL, at which libplist would cut it, and no half of a surrogate pair, which libplist would leave out.
bool admitsBinary(QByteArrayView list);

} // namespace PlistGuard

} // namespace vantorel
