#include "platform/bundles/PlistGuard.h"

#include <QChar>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace vantorel::PlistGuard {

namespace {

using namespace std::string_view_literals;

constexpr std::array kContainers{"plist"sv, "dict"sv, "array"sv};
constexpr std::array kTexts{"key"sv, "string"sv, "integer"sv, "real"sv, "date"sv, "data"sv, "true"sv, "false"sv};

bool contains(const auto& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Whether a reader that skips quoted parts, of one or of both kinds of quotes, finds the same end of a tag as one that
// does not.
bool endsUnquoted(std::string_view markup) {
    char quote = 0;
    for (const char c : markup) {
        if (quote == 0 && (c == '"' || c == '\''))
            quote = c;
        else if (c == quote)
            quote = 0;
    }
    return quote == 0 && std::count(markup.begin(), markup.end(), '"') % 2 == 0;
}

// Goes through the tags of a list from front to back. Whatever two readers could understand differently is refused, so
// that the nesting found here is the nesting that libplist will find.
class XmlScan {
public:
    explicit XmlScan(std::string_view list) : m_rest(list) { }

    bool admits() {
        if (m_rest.find('\0') != std::string_view::npos
            || std::count(m_rest.begin(), m_rest.end(), '&') > PlistGuard::kMaxEntities)
            return false;
        m_open.reserve(PlistGuard::kMaxDepth);
        for (;;) {
            const std::size_t tag = m_rest.find('<');
            if (tag == std::string_view::npos)
                return m_started && m_open.empty();
            m_rest.remove_prefix(tag + 1);
            if (!passMarkup())
                return false;
        }
    }

private:
    bool passMarkup() {
        if (take("!--"sv))
            return !m_rest.starts_with('>') && !m_rest.starts_with("->"sv) && upTo("-->"sv);
        if (take("![CDATA["sv))
            return !m_open.empty() && !contains(kContainers, m_open.back()) && upTo("]]>"sv);
        if (take("?"sv))
            return !m_started && declaration("?>"sv);
        if (take("!DOCTYPE"sv))
            return !m_started && declaration(">"sv);
        if (take("/"sv))
            return closing();
        return opening();
    }

    bool opening() {
        const std::optional<std::string_view> tag = upTo(">"sv);
        if (!tag || !isPlain(*tag))
            return false;
        const bool isEmpty = tag->ends_with('/');
        const std::string_view name = nameOf(isEmpty ? tag->substr(0, tag->size() - 1) : *tag);
        const bool isContainer = contains(kContainers, name);
        if (!isContainer && !contains(kTexts, name))
            return false;
        if (!m_open.empty() && !contains(kContainers, m_open.back()))
            return false; // texts contain no elements
        m_started = true;
        if (isEmpty)
            return true;
        if (m_open.size() >= PlistGuard::kMaxDepth)
            return false;
        m_open.push_back(name);
        return true;
    }

    bool closing() {
        const std::optional<std::string_view> tag = upTo(">"sv);
        if (!tag || !isPlain(*tag) || m_open.empty() || nameOf(*tag) != m_open.back() || tag->ends_with('/'))
            return false;
        m_open.pop_back();
        return true;
    }

    bool declaration(std::string_view end) {
        const std::optional<std::string_view> markup = upTo(end);
        return markup && isPlain(*markup);
    }

    static bool isPlain(std::string_view markup) {
        return markup.find_first_of("<>[]"sv) == std::string_view::npos && endsUnquoted(markup);
    }

    static std::string_view nameOf(std::string_view tag) { return tag.substr(0, tag.find_first_of(" \t\r\n"sv)); }

    bool take(std::string_view start) {
        if (!m_rest.starts_with(start))
            return false;
        m_rest.remove_prefix(start.size());
        return true;
    }

    // What lies before the end, which is passed as well.
    std::optional<std::string_view> upTo(std::string_view end) {
        const std::size_t length = m_rest.find(end);
        if (length == std::string_view::npos)
            return std::nullopt;
        const std::string_view passed = m_rest.substr(0, length);
        m_rest.remove_prefix(length + end.size());
        return passed;
    }

    std::string_view m_rest;
    std::vector<std::string_view> m_open;
    bool m_started = false;
};

// Walks the objects of a binary list from its root, each one once.
class BinaryScan {
public:
    explicit BinaryScan(QByteArrayView list) : m_list(list) { }

    bool admits() {
        constexpr qsizetype kHeader = 8;
        constexpr qsizetype kTrailer = 32;
        if (m_list.size() < kHeader + kTrailer || !m_list.startsWith("bplist00"))
            return false;
        const quint64 trailer = size() - kTrailer;
        m_offsetSize = number(trailer + 6, 1);
        m_referenceSize = number(trailer + 7, 1);
        const quint64 count = number(trailer + 8, 8);
        const quint64 root = number(trailer + 16, 8);
        m_table = number(trailer + 24, 8);
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8 || m_table < kHeader
            || m_table > trailer || count > (trailer - m_table) / m_offsetSize)
            return false;
        m_objects.resize(count);
        return visit(root, 1);
    }

private:
    struct Object {
        enum class State : quint8 { New, Open, Done };
        quint32 expandedSize = 0;
        quint8 height = 0; // 1 for an object without others
        State state = State::New;
    };
    static_assert(PlistGuard::kMaxDepth < 255 && PlistGuard::kMaxExpandedSize < 0x7fffffff);

    quint64 size() const { return quint64(m_list.size()); }

    // Big-endian; the caller has checked that the bytes are there.
    quint64 number(quint64 at, quint64 bytes) const {
        quint64 value = 0;
        for (quint64 i = 0; i < bytes; ++i)
            value = value << 8 | quint8(m_list[qsizetype(at + i)]);
        return value;
    }

    bool visit(quint64 index, int depth) {
        if (index >= m_objects.size() || depth > PlistGuard::kMaxDepth)
            return false;
        Object& object = m_objects[index];
        if (object.state == Object::State::Open)
            return false; // contains itself
        if (object.state == Object::State::Done)
            return depth + object.height - 1 <= PlistGuard::kMaxDepth;
        object.state = Object::State::Open;
        object.height = 1;
        object.expandedSize = 64;
        if (!measure(object, number(m_table + index * m_offsetSize, m_offsetSize), depth))
            return false;
        object.state = Object::State::Done;
        return true;
    }

    bool measure(Object& object, quint64 at, int depth) {
        if (at < 8 || at >= m_table)
            return false;
        const quint64 marker = number(at++, 1);
        const quint64 kind = marker >> 4;
        quint64 length = marker & 0xf;
        switch (kind) {
        case 0x0: return true;
        case 0x1:
        case 0x2:
        case 0x3: return length <= 4 && isWithin(at, 1, quint64(1) << length);
        case 0x8: return isWithin(at, 1, length + 1);
        default: break;
        }
        if (length == 0xf && !readLength(at, length))
            return false;
        switch (kind) {
        case 0x4: return isWithin(at, 1, length) && grow(object, length);
        case 0x5: return isWithin(at, 1, length) && grow(object, length) && isWholeText(at, length, 1);
        case 0x6: return isWithin(at, 2, length) && grow(object, 2 * length) && isWholeText(at, length, 2);
        case 0xa: return isWithin(at, m_referenceSize, length) && visitAll(object, at, length, depth);
        case 0xd: return isWithin(at, 2 * m_referenceSize, length) && visitAll(object, at, 2 * length, depth);
        default: return false;
        }
    }

    bool readLength(quint64& at, quint64& length) const {
        if (!isWithin(at, 1, 1))
            return false;
        const quint64 marker = number(at++, 1);
        const quint64 bytes = quint64(1) << (marker & 0xf);
        if (marker >> 4 != 0x1 || bytes > 8 || !isWithin(at, 1, bytes))
            return false;
        length = number(at, bytes);
        at += bytes;
        return true;
    }

    bool visitAll(Object& object, quint64 at, quint64 count, int depth) {
        for (quint64 i = 0; i < count; ++i) {
            const quint64 index = number(at + i * m_referenceSize, m_referenceSize);
            if (!visit(index, depth + 1) || !grow(object, m_objects[index].expandedSize))
                return false;
            object.height = std::max<quint8>(object.height, quint8(m_objects[index].height + 1));
        }
        return true;
    }

    // Objects lie in front of the table of their offsets.
    bool isWithin(quint64 at, quint64 unit, quint64 count) const {
        return at <= m_table && count <= (m_table - at) / unit;
    }

    static bool grow(Object& object, quint64 by) {
        if (by > quint64(PlistGuard::kMaxExpandedSize) - object.expandedSize)
            return false;
        object.expandedSize += quint32(by);
        return true;
    }

    bool isWholeText(quint64 at, quint64 length, quint64 unit) const {
        bool awaitsLow = false;
        for (quint64 i = 0; i < length; ++i) {
            const char16_t c = char16_t(number(at + i * unit, unit));
            if (c == 0 || awaitsLow != QChar::isLowSurrogate(c))
                return false;
            awaitsLow = QChar::isHighSurrogate(c);
        }
        return !awaitsLow;
    }

    QByteArrayView m_list;
    quint64 m_offsetSize = 0;
    quint64 m_referenceSize = 0;
    quint64 m_table = 0;
    std::vector<Object> m_objects;
};

} // namespace

bool admitsXml(QByteArrayView list) {
    return XmlScan({list.data(), std::size_t(list.size())}).admits();
}

bool admitsBinary(QByteArrayView list) {
    return BinaryScan(list).admits();
}

} // namespace vantorel::PlistGuard
