#include "settings/AppPicker.h"
#include "settings/BrowserPicker.h"

#include "settings/Detectors.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QProxyStyle>
#include <QTest>
#include <QWheelEvent>

using namespace vantorel;

namespace {

/// Counts the generic icons that are made.
class CountingStyle : public QProxyStyle {
public:
    static inline int icons = 0;

    QIcon standardIcon(StandardPixmap pixmap, const QStyleOption* option, const QWidget* widget) const override {
        ++icons;
        return QProxyStyle::standardIcon(pixmap, option, widget);
    }
};

const QList<Detectors::App> kThree = {{"org.Alpha", "Alpha"}, {"org.Beta", "Beta"}, {"org.Gamma", "Gamma"}};

} // namespace

class TestPickers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void browserPicker_listsTheBrowsers();
    void appPicker_listsTheApplications();
    void nothingChosen_showsThePlaceholder();
    void setSelectedBundleID_isNotTheUsersChoice();
    void choosing_givesTheID();
    void choosingThePlaceholder_givesTheEmptyID();
    void choosingTheSameAgain_givesNothing();
    void keys_choose();
    void typing_chooses();
    void wheel_choosesOnlyWithFocus();
    void popup_chooses();
    void unlistedID_isKeptAndShownAsNoSelection();
    void unlistedID_isShownOnceItIsListed();
    void selectedEntryRemoved_keepsTheID();
    void listReplaced_selectionFollowsItsLine();
    void listReplacedWhileOpen_keepsTheHighlightedLine();
    void equalNames_areToldApartByID();
    void separator_isPassedOverByKeys();
    void width_doesNotDependOnTheNames();
    void longList_opensWithoutLoadingAllIcons();
    void accessibleDescription_isThePlaceholder();

private:
    void show() {
        picker->show();
        picker->activateWindow();
        picker->setFocus();
        QVERIFY(QTest::qWaitForWindowActive(picker.get()));
        QVERIFY(picker->hasFocus());
    }
    void wheel() {
        QWheelEvent event(picker->rect().center(), picker->mapToGlobal(picker->rect().center()), {}, {0, -120},
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(picker.get(), &event);
    }

    std::unique_ptr<Detectors> detectors;
    std::unique_ptr<BrowserPicker> picker;
    std::unique_ptr<QSignalSpy> chosen;
};

void TestPickers::initTestCase() {
    QIcon::setThemeSearchPaths({});
    QIcon::setFallbackSearchPaths({});
    QIcon::setThemeName("none");
    QApplication::setStyle(new CountingStyle);
}

void TestPickers::init() {
    detectors = std::make_unique<Detectors>();
    detectors->setBrowsers(kThree);
    picker = std::make_unique<BrowserPicker>(detectors->browsers, "Choose browser");
    chosen = std::make_unique<QSignalSpy>(picker.get(), &BundlePicker::selectedBundleIDChanged);
}

void TestPickers::cleanup() {
    chosen.reset();
    picker.reset();
    detectors.reset();
}

void TestPickers::browserPicker_listsTheBrowsers() {
    QCOMPARE(picker->count(), 5);
    QCOMPARE(picker->itemText(0), QString("Choose browser"));
    QCOMPARE(picker->itemText(2), QString("Alpha"));
    QCOMPARE(picker->itemText(4), QString("Gamma"));
    QCOMPARE(picker->itemData(4).toString(), QString("org.Gamma"));
    detectors->setBrowsers({});
    QCOMPARE(picker->count(), 2);
}

void TestPickers::appPicker_listsTheApplications() {
    AppPicker apps(detectors->apps, "Any app");
    QCOMPARE(apps.count(), 2);
    detectors->setApps(kThree);
    QCOMPARE(apps.count(), 5);
    QCOMPARE(apps.itemText(0), QString("Any app"));
    QCOMPARE(apps.itemData(3).toString(), QString("org.Beta"));
    QSignalSpy spy(&apps, &BundlePicker::selectedBundleIDChanged);
    apps.setCurrentIndex(3);
    QCOMPARE(spy.size(), 1);
    QCOMPARE(apps.selectedBundleID(), QString("org.Beta"));
}

void TestPickers::nothingChosen_showsThePlaceholder() {
    QCOMPARE(picker->selectedBundleID(), QString(""));
    QCOMPARE(picker->currentIndex(), 0);
    QCOMPARE(picker->currentText(), QString("Choose browser"));
    QCOMPARE(chosen->size(), 0);
}

void TestPickers::setSelectedBundleID_isNotTheUsersChoice() {
    picker->setSelectedBundleID("org.Beta");
    QCOMPARE(picker->currentText(), QString("Beta"));
    picker->setSelectedBundleID("");
    QCOMPARE(picker->currentIndex(), 0);
    QCOMPARE(chosen->size(), 0);
}

void TestPickers::choosing_givesTheID() {
    picker->setCurrentIndex(3);
    QCOMPARE(picker->selectedBundleID(), QString("org.Beta"));
    QCOMPARE(chosen->size(), 1);
    QCOMPARE((*chosen)[0][0].toString(), QString("org.Beta"));
}

void TestPickers::choosingThePlaceholder_givesTheEmptyID() {
    picker->setSelectedBundleID("org.Beta");
    picker->setCurrentIndex(0);
    QCOMPARE(chosen->size(), 1);
    QVERIFY((*chosen)[0][0].toString().isEmpty());
    QVERIFY(!(*chosen)[0][0].toString().isNull());
}

void TestPickers::choosingTheSameAgain_givesNothing() {
    picker->setSelectedBundleID("org.Beta");
    picker->setCurrentIndex(3);
    QCOMPARE(chosen->size(), 0);
}

void TestPickers::keys_choose() {
    show();
    QTest::keyClick(picker.get(), Qt::Key_End);
    QCOMPARE(picker->selectedBundleID(), QString("org.Gamma"));
    QTest::keyClick(picker.get(), Qt::Key_Up);
    QCOMPARE(picker->selectedBundleID(), QString("org.Beta"));
    QCOMPARE(chosen->size(), 2);
}

void TestPickers::typing_chooses() {
    show();
    QTest::keyClick(picker.get(), Qt::Key_G);
    QCOMPARE(picker->currentText(), QString("Gamma"));
    QCOMPARE(picker->selectedBundleID(), QString("org.Gamma"));
    QCOMPARE(chosen->size(), 1);
}

void TestPickers::wheel_choosesOnlyWithFocus() {
    picker->setSelectedBundleID("org.Alpha");
    picker->show();
    QVERIFY(QTest::qWaitForWindowExposed(picker.get()));
    picker->clearFocus();
    wheel();
    QVERIFY(!picker->hasFocus());
    QCOMPARE(picker->selectedBundleID(), QString("org.Alpha"));
    QCOMPARE(picker->currentIndex(), 2);
    show();
    wheel();
    QCOMPARE(picker->selectedBundleID(), QString("org.Beta"));
    QCOMPARE(chosen->size(), 1);
}

void TestPickers::popup_chooses() {
    show();
    picker->showPopup();
    QAbstractItemView* const view = picker->view();
    QVERIFY(QTest::qWaitForWindowExposed(view->window()));
    QTest::keyClick(view, Qt::Key_Down);
    QTest::keyClick(view, Qt::Key_Down);
    QCOMPARE(chosen->size(), 0); // only highlighted
    QTest::keyClick(view, Qt::Key_Return);
    QCOMPARE(chosen->size(), 1);
    QCOMPARE(picker->selectedBundleID(), QString("org.Beta"));
    picker->showPopup();
    QTest::keyClick(view, Qt::Key_Down);
    QTest::keyClick(view, Qt::Key_Escape);
    QCOMPARE(chosen->size(), 1);
    QCOMPARE(picker->currentText(), QString("Beta"));
}

void TestPickers::unlistedID_isKeptAndShownAsNoSelection() {
    picker->setSelectedBundleID("org.Gone");
    QCOMPARE(picker->currentIndex(), -1);
    QCOMPARE(picker->currentText(), QString(""));
    QCOMPARE(picker->selectedBundleID(), QString("org.Gone"));
    detectors->setBrowsers({{"org.Alpha", "Alpha"}});
    detectors->setBrowsers({});
    detectors->setBrowsers(kThree);
    QCOMPARE(picker->currentIndex(), -1);
    QCOMPARE(picker->selectedBundleID(), QString("org.Gone"));
    QCOMPARE(chosen->size(), 0);
    picker->setCurrentIndex(0);
    QCOMPARE(picker->selectedBundleID(), QString(""));
    QCOMPARE(chosen->size(), 1);
}

void TestPickers::unlistedID_isShownOnceItIsListed() {
    picker->setSelectedBundleID("org.Delta");
    detectors->setBrowsers(kThree + QList<Detectors::App>{{"org.Delta", "Delta"}});
    QCOMPARE(picker->currentText(), QString("Delta"));
    QCOMPARE(chosen->size(), 0);
}

void TestPickers::selectedEntryRemoved_keepsTheID() {
    picker->setSelectedBundleID("org.Gamma");
    detectors->setBrowsers({{"org.Alpha", "Alpha"}});
    QCOMPARE(picker->currentIndex(), -1);
    QCOMPARE(picker->selectedBundleID(), QString("org.Gamma"));
    detectors->setBrowsers(kThree);
    QCOMPARE(picker->currentText(), QString("Gamma"));
    QCOMPARE(chosen->size(), 0);
}

void TestPickers::listReplaced_selectionFollowsItsLine() {
    picker->setSelectedBundleID("org.Beta");
    detectors->setBrowsers({{"org.Beta", "Zeta"}, {"org.Alpha", "Alpha"}, {"org.A", "A"}});
    QCOMPARE(picker->currentIndex(), 4);
    QCOMPARE(picker->currentText(), QString("Zeta"));
    QCOMPARE(chosen->size(), 0);
}

void TestPickers::listReplacedWhileOpen_keepsTheHighlightedLine() {
    picker->setSelectedBundleID("org.Alpha");
    show();
    picker->showPopup();
    QAbstractItemView* const view = picker->view();
    QVERIFY(QTest::qWaitForWindowExposed(view->window()));
    QTest::keyClick(view, Qt::Key_Down);
    QCOMPARE(view->currentIndex().data().toString(), QString("Beta"));
    detectors->setBrowsers({{"org.A", "A"}, {"org.B", "B"}, {"org.Beta", "Beta"}});
    QVERIFY(view->isVisible());
    QCOMPARE(view->currentIndex().data().toString(), QString("Beta"));
    QCOMPARE(view->currentIndex().row(), 4);
    QCOMPARE(picker->selectedBundleID(), QString("org.Alpha"));
    QCOMPARE(chosen->size(), 0);
    QTest::keyClick(view, Qt::Key_Return);
    QCOMPARE(picker->selectedBundleID(), QString("org.Beta"));
    QCOMPARE(chosen->size(), 1);
}

void TestPickers::equalNames_areToldApartByID() {
    detectors->setBrowsers({{"org.One", "Web"}, {"org.Two", "Web"}, {"org.Three", ""}});
    for (const char* const id : {"org.One", "org.Two", "org.Three"}) {
        picker->setSelectedBundleID(id);
        QCOMPARE(picker->currentData().toString(), QString(id));
    }
}

void TestPickers::separator_isPassedOverByKeys() {
    show();
    QTest::keyClick(picker.get(), Qt::Key_Down);
    QCOMPARE(picker->selectedBundleID(), QString("org.Alpha"));
    QTest::keyClick(picker.get(), Qt::Key_Up);
    QCOMPARE(picker->currentIndex(), 0);
    QCOMPARE(chosen->size(), 2);
}

void TestPickers::width_doesNotDependOnTheNames() {
    const QSize before = picker->sizeHint();
    detectors->setBrowsers({{"org.Long", QString(500, 'W')}});
    picker->setSelectedBundleID("org.Long");
    QCOMPARE(picker->sizeHint(), before);
    QCOMPARE(BrowserPicker(detectors->browsers, QString(500, 'W')).sizeHint(), before);
    QVERIFY(picker->minimumSizeHint().width() < 200);
}

void TestPickers::longList_opensWithoutLoadingAllIcons() {
    QList<Detectors::App> many;
    for (int i = 0; i < 1000; ++i)
        many.append({QString("org.%1").arg(i), QString("Browser %1").arg(i), QString("icon-%1").arg(i)});
    detectors->setBrowsers(many);
    show();
    CountingStyle::icons = 0;
    picker->showPopup();
    QVERIFY(QTest::qWaitForWindowExposed(picker->view()->window()));
    picker->view()->window()->grab();
    QVERIFY(CountingStyle::icons > 0);
    QVERIFY2(CountingStyle::icons < 200, qPrintable(QString::number(CountingStyle::icons)));
}

void TestPickers::accessibleDescription_isThePlaceholder() {
    const auto* const accessible = QAccessible::queryAccessibleInterface(picker.get());
    QCOMPARE(accessible->text(QAccessible::Description), QString("Choose browser"));
    picker->setSelectedBundleID("org.Beta");
    QCOMPARE(accessible->text(QAccessible::Name), QString("Beta"));
}

QTEST_MAIN(TestPickers)
#include "TestPickers.moc"
