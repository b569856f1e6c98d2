#include "routing/Link.h"

#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include <arpa/inet.h>

namespace vantorel {

namespace {

using Allowed = std::array<bool, 256>;

// The character classes of RFC 3986, appendix A.
constexpr std::string_view kUnreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
constexpr std::string_view kSubDelims = "!$&'()*+,;=";

constexpr Allowed allow(std::string_view more) {
    Allowed allowed{};
    for (const std::string_view characters : {kUnreserved, kSubDelims, more}) {
        for (const char c : characters)
            allowed[static_cast<unsigned char>(c)] = true;
    }
    return allowed;
}

constexpr Allowed kHost = allow("");
constexpr Allowed kUserInfo = allow(":");
constexpr Allowed kPath = allow(":@/");
constexpr Allowed kQueryOrFragment = allow(":@/?");

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool beginsEscape(std::string_view text) {
    return text.size() >= 3 && text[0] == '%' && isHexDigit(text[1]) && isHexDigit(text[2]);
}

void appendEncoded(QByteArray& out, std::string_view part, const Allowed& allowed) {
    constexpr char kHexDigits[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < part.size(); ++i) {
        const auto byte = static_cast<unsigned char>(part[i]);
        if (allowed[byte] || beginsEscape(part.substr(i))) {
            out += part[i];
        } else {
            out += '%';
            out += kHexDigits[byte >> 4];
            out += kHexDigits[byte & 15];
        }
    }
}

// Takes everything up to the first of the delimiters off the front of the text.
std::string_view takeUntil(std::string_view& text, std::string_view delimiters) {
    const auto end = std::min(text.find_first_of(delimiters), text.size());
    const auto part = text.substr(0, end);
    text.remove_prefix(end);
    return part;
}

bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isScheme(std::string_view text) {
    return !text.empty() && isAlpha(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
        return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

// IPvFuture = "v" 1*HEXDIG "." 1*( unreserved / sub-delims / ":" )
bool isFutureAddress(std::string_view text) {
    if (!text.starts_with('v') && !text.starts_with('V'))
        return false;
    const auto dot = text.find('.');
    if (dot == std::string_view::npos || dot == 1 || dot + 1 == text.size())
        return false;
    return std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(dot), isHexDigit)
        && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(dot) + 1, text.end(),
                       [](char c) { return kUserInfo[static_cast<unsigned char>(c)]; });
}

bool isAddressLiteral(std::string_view text) {
    in6_addr address{};
    return inet_pton(AF_INET6, std::string(text).c_str(), &address) == 1 || isFutureAddress(text);
}

// A URI in the making: the parts of the received text are taken off one after the other.
struct Encoder {
    std::string_view rest;
    QByteArray text = {};
    QByteArray host = {}; // as it stands in the text, without brackets

    bool encode() {
        const auto scheme = takeUntil(rest, ":");
        if (rest.empty() || !isScheme(scheme))
            return false;
        append(scheme);
        append(take(1));
        if (rest.starts_with("//")) {
            append(take(2));
            if (!encodeAuthority(takeUntil(rest, "/?#")))
                return false;
        }
        appendEncoded(text, takeUntil(rest, "?#"), kPath);
        if (rest.starts_with('?')) {
            append(take(1));
            appendEncoded(text, takeUntil(rest, "#"), kQueryOrFragment);
        }
        append(take(1));
        appendEncoded(text, rest, kQueryOrFragment);
        return true;
    }

private:
    // The last "@" ends the user info, as in browsers, so that both mean the same host.
    bool encodeAuthority(std::string_view authority) {
        if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
            appendEncoded(text, authority.substr(0, at), kUserInfo);
            text += '@';
            authority.remove_prefix(at + 1);
        }
        if (!(authority.starts_with('[') ? takeAddressLiteral(authority) : takeName(authority)))
            return false;
        if (!authority.empty()
            && (authority[0] != ':' || !std::all_of(authority.begin() + 1, authority.end(), isDigit)))
            return false;
        append(authority);
        return true;
    }

    bool takeAddressLiteral(std::string_view& authority) {
        const auto end = authority.find(']');
        if (end == std::string_view::npos)
            return false;
        const auto literal = authority.substr(1, end - 1);
        host = QByteArray(literal.data(), static_cast<qsizetype>(literal.size()));
        append(authority.substr(0, end + 1));
        authority.remove_prefix(end + 1);
        return isAddressLiteral(literal);
    }

    bool takeName(std::string_view& authority) {
        const auto name = takeUntil(authority, ":");
        appendEncoded(host, name, kHost);
        text += host;
        return name.find_first_of("[]") == std::string_view::npos;
    }

    std::string_view take(std::size_t count) {
        const auto part = rest.substr(0, count);
        rest.remove_prefix(part.size());
        return part;
    }

    void append(std::string_view part) { text.append(part.data(), static_cast<qsizetype>(part.size())); }
};

bool hasControlCharacter(const QByteArray& text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F;
    });
}

QString decoded(const QByteArray& host) {
    using Flag = QStringDecoder::Flag;
    QStringDecoder decoder(QStringDecoder::Utf8, Flag::Stateless | Flag::ConvertInitialBom); // which is no other host
    const QString text = decoder.decode(QByteArray::fromPercentEncoding(host));
    return decoder.hasError() ? QString::fromLatin1(host) : text;
}

} // namespace

Link::Link(QString text, QString host) : m_text(std::move(text)), m_host(std::move(host)) { }

std::optional<Link> Link::parse(const QByteArray& received) {
    if (hasControlCharacter(received))
        return std::nullopt;
    Encoder encoder{.rest = {received.constData(), static_cast<std::size_t>(received.size())}};
    if (!encoder.encode())
        return std::nullopt;
    return Link(QString::fromLatin1(encoder.text), decoded(encoder.host));
}

Link Link::fromLocalFile(const QByteArray& absolutePath) {
    QByteArray text("file://");
    appendEncoded(text, QByteArray(absolutePath).replace('%', "%25").toStdString(), kPath);
    return Link(QString::fromLatin1(text), QString());
}

QStringView Link::scheme() const {
    return QStringView(m_text).left(m_text.indexOf(u':'));
}

bool Link::isWeb() const {
    return scheme().compare(u"http", Qt::CaseInsensitive) == 0 || scheme().compare(u"https", Qt::CaseInsensitive) == 0;
}

bool Link::isFile() const {
    return scheme().compare(u"file", Qt::CaseInsensitive) == 0;
}

} // namespace vantorel
