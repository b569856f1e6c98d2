#pragma once

#include <QLatin1String>

#include <array>

namespace vantorel {

struct KnownBrowser {
    QLatin1String bundleID;
    QLatin1String name; ///< for whoever reads this table; names that are shown come from the installed application
};

/// Browsers that are offered wherever they are installed, even when the desktop does not know that they open web links.
inline constexpr std::array<KnownBrowser, 9> kKnownBrowsers = {{
    {QLatin1String("com.apple.Safari"), QLatin1String("Safari")},
    {QLatin1String("com.google.Chrome"), QLatin1String("Google Chrome")},
    {QLatin1String("org.mozilla.firefox"), QLatin1String("Firefox")},
    {QLatin1String("com.microsoft.edgemac"), QLatin1String("Microsoft Edge")},
    {QLatin1String("com.brave.Browser"), QLatin1String("Brave Browser")},
    {QLatin1String("company.thebrowser.Browser"), QLatin1String("Arc")},
    {QLatin1String("com.operasoftware.Opera"), QLatin1String("Opera")},
    {QLatin1String("com.vivaldi.Vivaldi"), QLatin1String("Vivaldi")},
    {QLatin1String("com.kagi.kagimacOS"), QLatin1String("Orion")},
}};

} // namespace vantorel
