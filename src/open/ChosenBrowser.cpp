#include "ChosenBrowser.h"

#include "open/Gio.h"

#include <string>

namespace vantorel {

namespace {

std::string typeOf(std::string_view link) {
    std::string scheme(link.substr(0, link.find(':')));
    for (char& c : scheme) {
        c = g_ascii_tolower(c);
    }
    return scheme == "file" || scheme.starts_with('/') ? "text/html" : "x-scheme-handler/" + scheme;
}

} // namespace

LinkHandOn::Choice chosenFor(std::string_view link) {
    LinkHandOn::Choice choice{.entry = std::nullopt, .xfceCommand = xfceBrowser()};
    std::string whyNot;
    const Gio* gio = loadGio(whyNot);
    GAppInfo* info = gio ? gio->defaultForType(typeOf(link).c_str(), FALSE) : nullptr;
    if (!info) {
        return choice;
    }
    constexpr std::string_view kSuffix = ".desktop";
    const char* file = gio->appId(info);
    std::string id = file ? file : "";
    gio->unref(info);
    if (id.ends_with(kSuffix)) {
        id.resize(id.size() - kSuffix.size());
    }
    choice.entry = findDesktopEntry(id);
    return choice;
}

} // namespace vantorel
