#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace vantorel {

/// One link: an absolute URI (RFC 3986), carried exactly as it was received.
///
/// A plain value; any thread. Whatever was valid in the received text stands in the link byte for byte: no letter case,
/// percent-encoding, dot segment or default port is touched. Only characters that RFC 3986 does not allow where they
/// stand (spaces, non-ASCII, `|{}"<>^\` and backtick, a `%` that begins no escape, square brackets outside an address
/// literal, a second `#`, all but the last `@` of the authority) are percent-encoded, one by one. The text of a link is
/// therefore always ASCII, and what the rules see is what the browser gets.
class Link {
public:
    /// Reads a link from the bytes that an application sent (UTF-8; a byte that is no UTF-8 is percent-encoded like any
    /// other non-ASCII byte). Absent when the text is no absolute URI: empty, without a scheme, with an ASCII control
    /// character, with a port that is no number, or with a broken address literal.
    static std::optional<Link> parse(const QByteArray& received);

    /// The file: link of an absolute path, which may hold any bytes but NUL.
    static Link fromLocalFile(const QByteArray& absolutePath);

    /// The complete link; ASCII.
    const QString& absoluteString() const { return m_text; }

    /// The host without user info, port and brackets, percent-decoded where that gives valid UTF-8, in the letter case
    /// of the link. Empty when the link has no host.
    const QString& host() const { return m_host; }

    /// Everything before the first ":", in the letter case of the link.
    QStringView scheme() const;

    /// True for http and https in any letter case.
    bool isWeb() const;

    /// True for file in any letter case.
    bool isFile() const;

    friend bool operator==(const Link&, const Link&) = default;

private:
    Link(QString text, QString host);

    QString m_text;
    QString m_host;
};

} // namespace vantorel
