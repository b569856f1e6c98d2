#include "platform/freedesktop/RunningInstance.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace vantorel;

class TestRunningInstance : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void linksOfArguments_data();
    void linksOfArguments();
};

void TestRunningInstance::linksOfArguments_data() {
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<QStringList>("links");
    QTest::newRow("none") << QByteArrayList() << QStringList();
    QTest::newRow("links stay as they are")
        << QByteArrayList{"https://x.test/%7e|", "mailto:a@b"} << QStringList{"https://x.test/%7e|", "mailto:a@b"};
    QTest::newRow("absolute path, there or not") << QByteArrayList{"/no/such file"} << QStringList{"/no/such file"};
    QTest::newRow("relative path that is there")
        << QByteArrayList{"page one.html"} << QStringList{"FOLDER/page one.html"};
    QTest::newRow("relative path that is not") << QByteArrayList{"page two.html"} << QStringList();
    QTest::newRow("no links") << QByteArrayList{"", "-b", "--help", "word"} << QStringList();
    QTest::newRow("order is kept") << QByteArrayList{"b:2", "word", "/a", "b:1"} << QStringList{"b:2", "/a", "b:1"};
    QTest::newRow("link that is no UTF-8")
        << QByteArrayList{"https://x.test/\xFF|"} << QStringList{"https://x.test/%FF%7C"};
    QTest::newRow("path that is no UTF-8") << QByteArrayList{"/a\xFF#"} << QStringList{"file:///a%FF%23"};
}

void TestRunningInstance::linksOfArguments() {
    QFETCH(QByteArrayList, arguments);
    QFETCH(QStringList, links);
    const QTemporaryDir folder;
    QFile page(folder.filePath("page one.html"));
    QVERIFY(page.open(QIODevice::WriteOnly));
    links.replaceInStrings("FOLDER", folder.path());
    QCOMPARE(vantorel::linksOfArguments(arguments, QFile::encodeName(folder.path())), links);
}

QTEST_GUILESS_MAIN(TestRunningInstance)
#include "TestRunningInstance.moc"
