#include "settings/AppIcon.h"

#include <QFile>
#include <QPixmap>
#include <QTemporaryDir>
#include <QTest>

using namespace vantorel;

class TestAppIcon : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void icon_data();
    void icon();

private:
    QTemporaryDir dir;
};

// A theme of one icon, red, besides the generic one, blue; and a green image in the file system.
void TestAppIcon::initTestCase() {
    const auto paint = [](const QString& path, Qt::GlobalColor color) {
        QPixmap pixmap(16, 16);
        pixmap.fill(color);
        QVERIFY(pixmap.save(path));
    };
    QVERIFY(QDir(dir.path()).mkpath("theme/16x16/apps"));
    QFile index(dir.filePath("theme/index.theme"));
    QVERIFY(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=theme\nDirectories=16x16/apps\n[16x16/apps]\nSize=16\n");
    index.close();
    paint(dir.filePath("theme/16x16/apps/known.png"), Qt::red);
    paint(dir.filePath("theme/16x16/apps/application-x-executable.png"), Qt::blue);
    paint(dir.filePath("image.png"), Qt::green);
    QIcon::setThemeSearchPaths({dir.path()});
    QIcon::setFallbackSearchPaths({});
    QIcon::setThemeName("theme");
}

void TestAppIcon::icon_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QColor>("color");
    QTest::newRow("themed") << "known" << QColor(Qt::red);
    QTest::newRow("themed, with an ending") << "known.png" << QColor(Qt::red);
    QTest::newRow("path") << dir.filePath("image.png") << QColor(Qt::green);
    QTest::newRow("unknown name") << "unknown" << QColor(Qt::blue);
    QTest::newRow("missing file") << dir.filePath("gone.png") << QColor(Qt::blue);
    QTest::newRow("folder") << dir.path() << QColor(Qt::blue);
    QTest::newRow("empty") << "" << QColor(Qt::blue);
}

void TestAppIcon::icon() {
    QFETCH(QString, name);
    QTEST(appIcon(name).pixmap(16).toImage().pixelColor(8, 8), "color");
}

QTEST_MAIN(TestAppIcon)
#include "TestAppIcon.moc"
