// The Info.plist of a bundle, from any bytes, and from three texts that stand in them a line each.

#include "Fuzz.h"

#include "Folder.h"
#include "Text.h"
#include "platform/bundles/PlistBundleReader.h"

#include <algorithm>
#include <memory>

#include <plist/plist.h>

using namespace vantorel;

namespace {

using List = std::unique_ptr<void, decltype(&plist_free)>;

std::optional<BundleInfo> read(std::string_view list) {
    static const fuzz::Folder folder;
    static const bool hasFolder = (folder.add("Some.app/Contents"), true);
    CHECK(hasFolder);
    folder.write("Some.app/Contents/Info.plist", list);
    return PlistBundleReader().bundleAt(QString::fromStdString(folder.path("Some.app")));
}

// What libplist itself has under the key, when that is a text.
std::optional<QString> textAt(const List& list, const char* key) {
    char* text = nullptr;
    const plist_t node = plist_dict_get_item(list.get(), key);
    if (node && plist_get_node_type(node) == PLIST_STRING)
        plist_get_string_val(node, &text);
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    return text ? std::optional(fuzz::fromUtf8(text)) : std::nullopt;
}

void checkAnyBytes(std::string_view bytes) {
    const auto info = read(bytes);
    if (!info)
        return;
    if (bytes.starts_with("\xef\xbb\xbf"))
        bytes.remove_prefix(3);
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    const List list(root, plist_free);
    CHECK(root && plist_get_node_type(root) == PLIST_DICT);
    CHECK(!info->identifier || !info->identifier->isEmpty());
    const std::pair<const std::optional<QString>&, const char*> fields[] = {{info->identifier, "CFBundleIdentifier"},
                                                                            {info->displayName, "CFBundleDisplayName"},
                                                                            {info->name, "CFBundleName"}};
    for (const auto& [field, key] : fields) {
        CHECK(!field || !field->contains(QChar(0)));
        CHECK(!field || textAt(list, key) == field);
        CHECK(field || textAt(list, key).value_or(QString()).isEmpty() || textAt(list, key)->contains(u'\ufffd'));
    }
}

// What is written as a list is read again, in both forms.
void checkTexts(std::string_view bytes) {
    std::array<QString, 3> texts;
    for (QString& text : texts) {
        text = fuzz::fromUtf8(fuzz::text(fuzz::takePart(bytes, '\n')).toUtf8()); // whole characters only
        text.removeIf([](QChar c) { return c < u' '; });
    }
    const List list(plist_new_dict(), plist_free);
    constexpr std::array kKeys = {"CFBundleIdentifier", "CFBundleDisplayName", "CFBundleName"};
    for (std::size_t i = 0; i < texts.size(); ++i)
        plist_dict_set_item(list.get(), kKeys[i], plist_new_string(texts[i].toUtf8().constData()));
    for (const auto write : {plist_to_xml, plist_to_bin}) {
        char* written = nullptr;
        std::uint32_t size = 0;
        write(list.get(), &written, &size);
        const std::unique_ptr<char, decltype(&std::free)> owner(written, &std::free);
        const auto info = read({written, size});
        CHECK(info);
        CHECK(info->identifier == (texts[0].isEmpty() ? std::nullopt : std::optional(texts[0])));
        CHECK(info->displayName == texts[1]);
        CHECK(info->name == texts[2]);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = fuzz::bytes(data, size);
    checkAnyBytes(bytes);
    if (size < 1000)
        checkTexts(bytes);
    return 0;
}
