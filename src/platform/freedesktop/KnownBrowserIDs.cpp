#include "platform/freedesktop/ApplicationSnapshot.h"

#include "discovery/KnownBrowsers.h"

namespace vantorel {

namespace {

struct Names {
    const char* bundleID;
    std::initializer_list<const char*> desktopIDs;
};

// Where an application has other ids here than elsewhere. Those without a Linux version have none.
const Names kNames[] = {
    // The vendor's .deb and .rpm; com.google.Chrome is Flathub's, and an alias in newer packages of the vendor.
    {"com.google.Chrome", {"google-chrome", "com.google.Chrome"}},
    // Debian's package of the extended support release, the vendor's and most distributions', Flathub's, the snap.
    {"org.mozilla.firefox", {"firefox", "firefox-esr", "org.mozilla.firefox", "firefox_firefox"}},
    // The vendor's .deb and .rpm; Flathub's.
    {"com.microsoft.edgemac", {"microsoft-edge", "com.microsoft.Edge"}},
    // The vendor's .deb and .rpm; Flathub's; the snap.
    {"com.brave.Browser", {"brave-browser", "com.brave.Browser", "brave_brave"}},
    // The vendor's .deb and .rpm; Flathub's; the snap.
    {"com.operasoftware.Opera", {"opera", "com.opera.Opera", "opera_opera"}},
    // The vendor's .deb and .rpm; Flathub's; the snap.
    {"com.vivaldi.Vivaldi", {"vivaldi-stable", "com.vivaldi.Vivaldi", "vivaldi_vivaldi-stable"}},
};

} // namespace

QStringList knownBrowserIDs() {
    QStringList ids;
    for (const KnownBrowser& browser : kKnownBrowsers) {
        const auto* const names = std::find_if(std::begin(kNames), std::end(kNames), [&browser](const Names& each) {
            return browser.bundleID == QLatin1String(each.bundleID);
        });
        if (names == std::end(kNames)) {
            ids.append(browser.bundleID);
            continue;
        }
        for (const char* const id : names->desktopIDs)
            ids.append(QLatin1String(id));
    }
    return ids;
}

} // namespace vantorel
