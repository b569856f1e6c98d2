#include "handover/PlainLink.h"

#include <algorithm>

namespace vantorel {

namespace {

bool isAlphanumeric(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isHexadecimal(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isHost(std::string_view text) {
    return !text.empty() && isAlphanumeric(text.front())
        && std::all_of(text.begin(), text.end(), [](char c) { return isAlphanumeric(c) || c == '.' || c == '-'; });
}

bool isPort(std::string_view text) {
    return !text.empty() && text.size() <= 4
        && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Path, query and fragment of RFC 3986, without what it allows in one of them alone.
bool isRest(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool isEscape =
            c == '%' && i + 2 < text.size() && isHexadecimal(text[i + 1]) && isHexadecimal(text[i + 2]);
        if (!isEscape && !isAlphanumeric(c) && std::string_view("-._~!$&'()*+,;=:@/?").find(c) == std::string_view::npos
            && (c != '#' || text.find('#') != i))
            return false;
    }
    return true;
}

} // namespace

bool isPlainLink(std::string_view text) {
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (!text.starts_with(scheme))
            continue;
        text.remove_prefix(scheme.size());
        const auto authority = text.substr(0, text.find_first_of("/?#"));
        const auto colon = authority.find(':');
        return isHost(authority.substr(0, colon))
            && (colon == std::string_view::npos || isPort(authority.substr(colon + 1)))
            && isRest(text.substr(authority.size()));
    }
    return false;
}

} // namespace vantorel
