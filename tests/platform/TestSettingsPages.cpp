#include "platform/freedesktop/SettingsPages.h"

#include <QStringList>
#include <QTest>

using namespace vantorel;

class TestSettingsPages : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void order_data();
    void order();
    void attempts_stopAtTheFirstThatWorks();
    void attempts_mayAnswerLater();
    void attempts_noneWorks_isNotReported();
    void attempts_none();
};

void TestSettingsPages::order_data() {
    QTest::addColumn<QByteArray>("desktop");
    QTest::addColumn<QStringList>("installed");
    QTest::addColumn<QStringList>("expected");

    const QStringList all = {"gnome-control-center",
                             "systemsettings5",
                             "systemsettings",
                             "xfce4-mime-settings",
                             "lxqt-config-file-associations",
                             "mate-default-applications-properties",
                             "cinnamon-settings"};
    const QString gnome = "gnome-control-center default-apps";
    const QString kde5 = "systemsettings5 kcm_componentchooser";
    const QString kde = "systemsettings kcm_componentchooser";
    const QString xfce = "xfce4-mime-settings";
    const QString lxqt = "lxqt-config-file-associations";
    const QString mate = "mate-default-applications-properties";
    const QString cinnamon = "cinnamon-settings default";
    QTest::newRow("none installed") << QByteArray("GNOME") << QStringList() << QStringList();
    QTest::newRow("unknown desktop") << QByteArray("sway") << all
                                     << QStringList{gnome, kde5, kde, xfce, lxqt, mate, cinnamon};
    QTest::newRow("no desktop") << QByteArray() << QStringList{"systemsettings"} << QStringList{kde};
    QTest::newRow("running desktop first")
        << QByteArray("XFCE") << all << QStringList{xfce, gnome, kde5, kde, lxqt, mate, cinnamon};
    QTest::newRow("both names of one") << QByteArray("KDE") << all
                                       << QStringList{kde5, kde, gnome, xfce, lxqt, mate, cinnamon};
    QTest::newRow("one of several names")
        << QByteArray("ubuntu:GNOME") << QStringList{"xfce4-mime-settings", all[0]} << QStringList{gnome, xfce};
    QTest::newRow("LXQt") << QByteArray("LXQt") << QStringList{all[0], all[4]} << QStringList{lxqt, gnome};
    QTest::newRow("MATE") << QByteArray("MATE") << QStringList{all[0], all[5]} << QStringList{mate, gnome};
    QTest::newRow("Cinnamon") << QByteArray("X-Cinnamon") << QStringList{all[0], all[6]}
                              << QStringList{cinnamon, gnome};
    QTest::newRow("its page is not installed") << QByteArray("MATE") << QStringList{all[3]} << QStringList{xfce};
}

void TestSettingsPages::order() {
    QFETCH(QByteArray, desktop);
    QFETCH(QStringList, installed);
    QStringList found;
    for (const QByteArrayList& page : settingsPages(desktop, [&installed](const QByteArray& program) {
             return installed.contains(QString::fromUtf8(program));
         }))
        found.append(QString::fromUtf8(page.join(' ')));
    QTEST(found, "expected");
}

namespace {

// Attempts that write down that they were made.
struct Rig {
    QStringList log;
    QList<std::function<void(bool)>> waiting;

    Attempt at(const QString& name, bool works) {
        return [this, name, works](const std::function<void(bool)>& tell) {
            log.append(name);
            tell(works);
        };
    }
    Attempt later(const QString& name) {
        return [this, name](const std::function<void(bool)>& tell) {
            log.append(name);
            waiting.append(tell);
        };
    }
};

} // namespace

void TestSettingsPages::attempts_stopAtTheFirstThatWorks() {
    Rig rig;
    tryInOrder({rig.at("a", false), rig.at("b", true), rig.at("c", true)});
    QCOMPARE(rig.log, (QStringList{"a", "b"}));
}

void TestSettingsPages::attempts_mayAnswerLater() {
    Rig rig;
    tryInOrder({rig.later("a"), rig.later("b"), rig.at("c", true)});
    QCOMPARE(rig.log, (QStringList{"a"}));
    rig.waiting.takeFirst()(false);
    QCOMPARE(rig.log, (QStringList{"a", "b"}));
    rig.waiting.takeFirst()(true);
    QCOMPARE(rig.log, (QStringList{"a", "b"}));
}

void TestSettingsPages::attempts_noneWorks_isNotReported() {
    Rig rig;
    tryInOrder({rig.at("a", false), rig.at("b", false)});
    QCOMPARE(rig.log, (QStringList{"a", "b"}));
}

void TestSettingsPages::attempts_none() {
    tryInOrder({});
}

QTEST_GUILESS_MAIN(TestSettingsPages)
#include "TestSettingsPages.moc"
