#include "platform/freedesktop/ApplicationMonitor.h"
#include "platform/freedesktop/ApplicationSnapshot.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace vantorel;

class TestApplicationMonitor : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void install_isTold();
    void changeInAVendorFolder_isTold();
    void manyChanges_areToldSeldom_andTheLastIsNotForgotten();
    void nothing_isToldWhenNothingHappens();

private:
    void write(const QString& name) const {
        QFile file(m_root.filePath("applications/" + name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\nName=x\nExec=true\n");
    }
    // GIO tells of changes only to those who have looked since the last one.
    static void look() { ApplicationSnapshot(ApplicationSnapshot::Content::everything).locationsForScheme("https"); }

    QTemporaryDir m_root;
};

void TestApplicationMonitor::initTestCase() {
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_root.path()));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(m_root.filePath("none")));
    QVERIFY(QDir().mkpath(m_root.filePath("applications/vendor")));
}

void TestApplicationMonitor::install_isTold() {
    ApplicationMonitor monitor(10);
    QSignalSpy spy(&monitor, &ApplicationMonitor::changed);
    for (int count = 1; count <= 3; ++count) {
        look();
        spy.clear();
        write(QString("app%1.desktop").arg(count));
        QTRY_VERIFY(spy.count() > 0);
    }
    look();
    spy.clear();
    QVERIFY(QFile::remove(m_root.filePath("applications/app1.desktop")));
    QTRY_VERIFY(spy.count() > 0);
}

void TestApplicationMonitor::changeInAVendorFolder_isTold() {
    ApplicationMonitor monitor(10);
    QSignalSpy spy(&monitor, &ApplicationMonitor::changed);
    QCoreApplication::processEvents();
    write("vendor/app.desktop");
    QTRY_VERIFY(spy.count() > 0);

    look();
    spy.clear();
    QVERIFY(QDir().mkpath(m_root.filePath("applications/new")));
    QTRY_VERIFY(spy.count() > 0);
    spy.clear();
    write("new/app.desktop");
    QTRY_VERIFY(spy.count() > 0);
}

void TestApplicationMonitor::manyChanges_areToldSeldom_andTheLastIsNotForgotten() {
    ApplicationMonitor monitor(100);
    QSignalSpy spy(&monitor, &ApplicationMonitor::changed);
    int toldOfTheLast = 0;
    bool isLastWritten = false;
    connect(&monitor, &ApplicationMonitor::changed, this, [&] {
        look();
        toldOfTheLast += isLastWritten;
    });
    look();
    for (int i = 0; i < 200; ++i) {
        write(QString("vendor/burst%1.desktop").arg(i % 7));
        QFile::remove(m_root.filePath(QString("applications/vendor/burst%1.desktop").arg((i + 3) % 7)));
        QTest::qWait(1);
    }
    QVERIFY2(spy.count() < 100, qPrintable(QString::number(spy.count())));
    isLastWritten = true;
    write("vendor/last.desktop");
    QTRY_VERIFY(toldOfTheLast > 0);
}

void TestApplicationMonitor::nothing_isToldWhenNothingHappens() {
    ApplicationMonitor monitor(10);
    QSignalSpy spy(&monitor, &ApplicationMonitor::changed);
    look();
    QTest::qWait(300);
    QCOMPARE(spy.count(), 0);
}

QTEST_GUILESS_MAIN(TestApplicationMonitor)
#include "TestApplicationMonitor.moc"
