#include "platform/bundles/PlistBundleReader.h"

#include "platform/bundles/PlistGuard.h"

#include <QFile>
#include <QStringDecoder>

#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {

namespace {

using Plist = std::unique_ptr<void, decltype(&plist_free)>;

std::optional<QByteArray> contentsOf(int file) {
    struct stat status { };
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > PlistBundleReader::kMaxFileSize)
        return std::nullopt;
    // One byte more than expected tells a file that has grown since; such a one is read by the next scan.
    QByteArray contents(qsizetype(status.st_size) + 1, Qt::Uninitialized);
    qsizetype length = 0;
    while (length < contents.size()) {
        const ssize_t count = read(file, contents.data() + length, std::size_t(contents.size() - length));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        length += count;
    }
    if (length > status.st_size)
        return std::nullopt;
    contents.truncate(length);
    return contents;
}

std::optional<QByteArray> contentsAt(const QString& path) {
    // A pipe in place of the file must not make the scan wait for somebody who writes to it.
    const int file = open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (file < 0)
        return std::nullopt;
    std::optional<QByteArray> contents = contentsOf(file);
    close(file);
    return contents;
}

Plist parse(QByteArrayView list) {
    plist_t root = nullptr;
    if (list.startsWith("bplist")) {
        if (PlistGuard::admitsBinary(list))
            plist_from_bin(list.data(), uint32_t(list.size()), &root);
        return {root, plist_free};
    }
    constexpr QByteArrayView kByteOrderMark("\xef\xbb\xbf"); // which libplist does not know
    if (list.startsWith(kByteOrderMark))
        list = list.sliced(kByteOrderMark.size());
    if (PlistGuard::admitsXml(list))
        plist_from_xml(list.data(), uint32_t(list.size()), &root);
    return {root, plist_free};
}

std::optional<QString> textAt(const Plist& dictionary, const char* key) {
    const plist_t value = plist_dict_get_item(dictionary.get(), key);
    if (!value || plist_get_node_type(value) != PLIST_STRING)
        return std::nullopt;
    uint64_t length = 0;
    const char* bytes = plist_get_string_ptr(value, &length);
    // QString::fromUtf8() would drop the first character where that is a byte order mark.
    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    const QString text = decoder.decode(QByteArrayView(bytes, bytes ? qsizetype(length) : 0));
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

} // namespace

std::optional<BundleInfo> PlistBundleReader::bundleAt(const QString& location) {
    const std::optional<QByteArray> contents = contentsAt(location + QStringLiteral("/Contents/Info.plist"));
    if (!contents)
        return std::nullopt;
    const Plist list = parse(*contents);
    if (!list || plist_get_node_type(list.get()) != PLIST_DICT)
        return std::nullopt;
    BundleInfo info;
    info.identifier = textAt(list, "CFBundleIdentifier");
    if (info.identifier && info.identifier->isEmpty())
        info.identifier.reset();
    info.displayName = textAt(list, "CFBundleDisplayName");
    info.name = textAt(list, "CFBundleName");
    return info;
}

} // namespace vantorel
