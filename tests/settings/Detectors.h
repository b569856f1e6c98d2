#pragma once

#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"

#include <QSignalSpy>

namespace vantorel {

/// A desktop on which exactly the given applications are installed; both detectors work on it. Their order is that of
/// the names.
class Detectors {
public:
    struct App {
        QString id;
        QString name;
        QString icon = {};
    };

    BrowserDetector browsers{[this] { return BrowserDetector::Snapshot{m_browsers, m_browsers}; }, {}, {}};
    InstalledAppDetector apps{[this] { return InstalledAppDetector::Snapshot{m_apps, m_apps}; }, {}};

    void setBrowsers(const QList<App>& list) {
        m_browsers = std::make_shared<Desktop>(list);
        QSignalSpy spy(&browsers, &BrowserDetector::browsersChanged);
        browsers.refresh();
        if (!spy.wait())
            qFatal("no scan for browsers");
    }
    void setApps(const QList<App>& list) {
        m_apps = std::make_shared<Desktop>(list);
        QSignalSpy spy(&apps, &InstalledAppDetector::appsChanged);
        apps.refresh();
        if (!spy.wait())
            qFatal("no scan for applications");
    }

private:
    struct Desktop : LinkApplications, BundleFolders, BundleReader {
        explicit Desktop(const QList<App>& list) {
            for (const App& app : list)
                bundles.insert(app.id + QStringLiteral(".app"),
                               {.identifier = app.id, .displayName = app.name, .name = {}, .icon = app.icon});
        }
        QStringList locationsForScheme(const QString&) override { return bundles.keys(); }
        std::optional<QString> locationOf(const QString& id) override { return id + QStringLiteral(".app"); }
        QStringList folders() override { return {QStringLiteral("folder")}; }
        std::vector<Entry> entriesOf(const QString&) override {
            std::vector<Entry> entries;
            for (const QString& location : bundles.keys())
                entries.push_back({.name = location, .path = location, .isDirectory = false});
            return entries;
        }
        QString bundleExtension() const override { return QStringLiteral("app"); }
        std::optional<BundleInfo> bundleAt(const QString& location) override { return bundles.value(location); }

        QMap<QString, BundleInfo> bundles; // by location
    };

    std::shared_ptr<Desktop> m_browsers = std::make_shared<Desktop>(QList<App>());
    std::shared_ptr<Desktop> m_apps = std::make_shared<Desktop>(QList<App>());
};

} // namespace vantorel
