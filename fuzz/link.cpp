// Links, a line each, from any bytes. Two parsers of other makes have a say in what is one and what its host is.

#include "Fuzz.h"
#include "Text.h"

#include "handover/PlainLink.h"
#include "routing/Link.h"

#include <QRegularExpression>
#include <QUrl>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

using namespace vantorel;
namespace urls = boost::urls;

namespace {

std::string_view view(const QByteArray& text) {
    return {text.constData(), static_cast<std::size_t>(text.size())};
}

// The grammar of RFC 3986, appendix A; the other parser is more generous with colons in an authority.
bool isURI(const QByteArray& text) {
    static const QRegularExpression uri = [] {
        const QString escape = QStringLiteral("%[0-9A-Fa-f]{2}");
        const auto anyOf = [&escape](const char* more) {
            return QStringLiteral("(?:[A-Za-z0-9._~!$&'()*+,;=\\-") + QLatin1String(more) + QStringLiteral("]|")
                + escape + QStringLiteral(")*+");
        };
        const QString group = QStringLiteral("[0-9A-Fa-f]{1,4}");
        const QString octet = QStringLiteral("(?:25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])");
        const QString last = QStringLiteral("(?:%1:%1|%2\\.%2\\.%2\\.%2)").arg(group, octet);
        QStringList addresses = {QStringLiteral("(?:%1:){6}%2").arg(group, last)};
        for (int before = 0; before <= 7; ++before) {
            const QString start =
                before == 0 ? QString() : QStringLiteral("(?:(?:%1:){0,%2}%1)?").arg(group).arg(before - 1);
            const QString end = before <= 5 ? QStringLiteral("(?:%1:){%2}%3").arg(group).arg(5 - before).arg(last)
                : before == 6               ? group
                                            : QString();
            addresses.append(start + QStringLiteral("::") + end);
        }
        addresses.append(QStringLiteral("[vV][0-9A-Fa-f]+\\.[A-Za-z0-9._~!$&'()*+,;=:\\-]+"));
        const QString host =
            QStringLiteral("(?:\\[(?:") + addresses.join(u'|') + QStringLiteral(")\\]|") + anyOf("") + u')';
        return QRegularExpression(QStringLiteral("\\A[A-Za-z][A-Za-z0-9+.\\-]*:(?://(?:") + anyOf(":")
                                  + QStringLiteral("@)?") + host + QStringLiteral("(?::[0-9]*)?(?=[/?#]|\\z)|(?!//))")
                                  + anyOf(":@/") + QStringLiteral("(?:\\?") + anyOf(":@/?") + QStringLiteral(")?(?:#")
                                  + anyOf(":@/?") + QStringLiteral(")?\\z"));
    }();
    CHECK(uri.isValid());
    return uri.match(QString::fromLatin1(text)).hasMatch();
}

std::optional<urls::url_view> secondOpinion(const QByteArray& text) {
    const auto parsed = urls::parse_uri(urls::string_view(text.constData(), static_cast<std::size_t>(text.size())));
    return parsed ? std::optional(*parsed) : std::nullopt;
}

// The other parser has not looked at what it decodes: bytes that are no UTF-8 stay encoded in the link's host.
QString hostOf(const urls::url_view& url) {
    std::string host = url.host();
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    const QByteArray decoded = QByteArray::fromStdString(host);
    if (QByteArrayView(decoded).isValidUtf8())
        return fuzz::fromUtf8(decoded);
    const auto encoded = url.encoded_host();
    return QString::fromLatin1(encoded.data(), static_cast<qsizetype>(encoded.size()));
}

bool beginsEscape(const QByteArray& text) {
    static const QRegularExpression escape(QStringLiteral("\\A%[0-9A-Fa-f]{2}"));
    return escape.match(QString::fromLatin1(text)).hasMatch();
}

// Whether `text` is `received` with some of its bytes percent-encoded, none of them one that is never to be.
bool onlyEncodes(const QByteArray& received, const QByteArray& text) {
    const QByteArrayView unreserved("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~");
    qsizetype at = 0;
    for (qsizetype i = 0; i < received.size(); ++i) {
        const QByteArray byte = received.mid(i, 1);
        const bool mustStay = byte == "%" ? beginsEscape(received.mid(i, 3)) : unreserved.contains(byte[0]);
        const bool mustGo = byte == "%" && !mustStay;
        if (!mustGo && text.mid(at, 1) == byte)
            ++at;
        else if (!mustStay && text.mid(at, 3) == '%' + byte.toHex().toUpper())
            at += 3;
        else
            return false;
    }
    return at == text.size();
}

// The host and port, behind the last "@" as browsers have it.
QByteArray placeOf(const QByteArray& link) {
    static const QRegularExpression authority(QStringLiteral("//(?:[^/?#]*@)?([^/?#]*)"));
    return authority.match(QString::fromLatin1(link)).captured(1).toLatin1();
}

// QUrl understands more in a host than names: addresses also as numbers, international names.
void compareWithQUrl(const Link& link) {
    static const QRegularExpression name(QStringLiteral("\\A([A-Za-z0-9]([A-Za-z0-9]{0,30}[A-Za-z0-9])?\\.){0,3}"
                                                        "[A-Za-z][A-Za-z0-9]{0,20}\\z"));
    if (!link.isWeb() || link.absoluteString().contains(u'[') || !name.match(link.host()).hasMatch())
        return;
    const QUrl url(link.absoluteString(), QUrl::StrictMode);
    if (url.isValid())
        CHECK(url.host() == link.host().toLower());
}

void checkParse(const QByteArray& received) {
    const auto link = Link::parse(received);
    const bool isPlain = isURI(received);
    CHECK(!isPlainLink(view(received)) || (isPlain && link && link->isWeb()));
    CHECK(link || !isPlain); // what is a link already is taken
    if (!link)
        return;
    CHECK(link->absoluteString().toLatin1() == link->absoluteString().toUtf8()); // ASCII
    const QByteArray text = link->absoluteString().toLatin1();
    const auto encoded = secondOpinion(text);
    CHECK(isURI(text));
    if (text.contains("[V")) // of future addresses the other parser knows the small letter alone
        return;
    CHECK(encoded);
    if (encoded->has_authority() && !encoded->encoded_path().empty() && encoded->encoded_path()[0] != '/')
        return; // and ends a host behind four numbers
    CHECK(!isPlain || text == received); // and stays as it is
    CHECK(onlyEncodes(received, text));
    CHECK(!encoded->has_authority() || onlyEncodes(placeOf(received), placeOf(text)));
    CHECK(Link::parse(text) == link);
    CHECK(link->host() == hostOf(*encoded));
    CHECK(link->scheme().toLatin1() == QByteArray(encoded->scheme().data(), qsizetype(encoded->scheme().size())));
    CHECK(link->isWeb() == (encoded->scheme_id() == urls::scheme::http || encoded->scheme_id() == urls::scheme::https));
    CHECK(link->isFile() == (encoded->scheme_id() == urls::scheme::file));
    compareWithQUrl(*link);
}

void checkLocalFile(const QByteArray& path) {
    const Link link = Link::fromLocalFile(path);
    const QByteArray text = link.absoluteString().toLatin1();
    const auto url = secondOpinion(text);
    CHECK(url && url->scheme_id() == urls::scheme::file && url->encoded_host().empty());
    CHECK(!url->has_query() && !url->has_fragment());
    CHECK(url->path() == view(path));
    CHECK(Link::parse(text) == link);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray lines = fuzz::array(fuzz::bytes(data, size));
    for (const QByteArray& line : lines.split('\n'))
        checkParse(line);
    if (!lines.contains('\0'))
        checkLocalFile('/' + lines);
    return 0;
}
