#include "platform/freedesktop/IniUserDefaults.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <functional>

#include <sys/stat.h>
#include <unistd.h>

using namespace vantorel;

class TestIniUserDefaults : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void values_surviveARestart();
    void data_anyBytes_survive();
    void write_keepsKeysOfOthers();
    void write_beneathKeysOfOthersThatCannotBeWrittenAgain();
    void remove_takesTheKeyOutOfTheFile();
    void read_otherTypes();
    void write_makesTheFolder();
    void write_folderInPlaceOfTheFile_fails_thenSucceedsOnceItIsGone();
    void write_replacesTheFileAndNeverWritesIntoIt();
    void write_behindASymbolicLink_keepsTheLink();
    void write_takesAwayWhatAKillLeft();
    void write_unreadableFile_isLeftAlone();
    void halfOfASurrogatePair_isNoValue_andPreventsNoSave();
    void fileThatComesLater_isPutAsideBeforeTheFirstWrite();
    void fileThatComesLater_whereNoCopyCanBeMade_stays();
    void problem_isToldInWords();
    void cutAnywhere_isReadWithoutACrash_andMayBeSavedOver();
    void keepDamaged_copiesTheBytes_newestKept();
    void keepDamaged_valueTornApartByCommas_copiesTheFile();
    void garbage_isPutAsideBeforeTheFirstWrite();
    void userFile_followsTheEnvironment();

private:
    QString path(const QString& name = "settings.ini") const { return m_folder->filePath(name); }
    QByteArray contents(const QString& name = "settings.ini") const;
    void fill(const QByteArray& bytes) const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

namespace {

constexpr QLatin1String kData("com.qorbex.Vantorel.data.v2");
constexpr QLatin1String kText("com.qorbex.Vantorel.text");
constexpr QLatin1String kSwitch("com.qorbex.Vantorel.switch");

} // namespace

void TestIniUserDefaults::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

QByteArray TestIniUserDefaults::contents(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestIniUserDefaults::fill(const QByteArray& bytes) const {
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

void TestIniUserDefaults::values_surviveARestart() {
    {
        IniUserDefaults defaults(path());
        QVERIFY(!defaults.data(kData));
        QVERIFY(!defaults.string(kText));
        QVERIFY(!defaults.boolean(kSwitch));
        defaults.setData(kData, "[{\"a\":\"b,c;d\"}]");
        defaults.setString(kText, "");
        defaults.setBoolean(kSwitch, false);
        QVERIFY(!QFile::exists(path()));
        defaults.write();
    }
    const IniUserDefaults defaults(path());
    QCOMPARE(defaults.data(kData), std::optional(QByteArray("[{\"a\":\"b,c;d\"}]")));
    QCOMPARE(defaults.string(kText), std::optional(QString("")));
    QCOMPARE(defaults.boolean(kSwitch), std::optional(false));
    QVERIFY(contents().startsWith("[General]\ncom.qorbex.Vantorel.data.v2=\"@ByteArray("));
    QVERIFY(contents().contains("\ncom.qorbex.Vantorel.switch=false\n"));
}

void TestIniUserDefaults::data_anyBytes_survive() {
    QByteArray bytes;
    for (int i = 0; i < 1024; ++i)
        bytes.append(static_cast<char>(i * 7));
    {
        IniUserDefaults defaults(path());
        defaults.setData(kData, bytes);
        defaults.setString(kText, QStringLiteral("ü@\"\\\n😀"));
        defaults.write();
    }
    const IniUserDefaults defaults(path());
    QCOMPARE(defaults.data(kData), std::optional(bytes));
    QCOMPARE(defaults.string(kText), std::optional(QStringLiteral("ü@\"\\\n😀")));
}

void TestIniUserDefaults::write_keepsKeysOfOthers() {
    fill("[General]\nother=1\n[Group]\nkey=2\n");
    IniUserDefaults defaults(path());
    defaults.setString(kText, "x");
    defaults.write();
    QVERIFY(contents().contains("other=1"));
    QVERIFY(contents().contains("[Group]\nkey=2"));
}

// QSettings does not find the group again under the name by which it has read it, nor half a character.
void TestIniUserDefaults::write_beneathKeysOfOthersThatCannotBeWrittenAgain() {
    for (const char* const foreign : {"[%GENERAL]\nkey=1\n", "[General]\nhalf=\\xd800\n"}) {
        fill(foreign);
        IniUserDefaults defaults(path());
        defaults.setString(kText, foreign);
        defaults.write();
        QFile::copy(path(), path(foreign[1] + QString(".ini"))); // QSettings remembers what it has read under a name
        QCOMPARE(IniUserDefaults(path(foreign[1] + QString(".ini"))).string(kText), std::optional(QString(foreign)));
    }
}

void TestIniUserDefaults::remove_takesTheKeyOutOfTheFile() {
    fill("[General]\ncom.qorbex.Vantorel.text=x\n");
    IniUserDefaults defaults(path());
    defaults.remove(kText);
    QVERIFY(!defaults.string(kText));
    defaults.write();
    QVERIFY(!contents().contains("com.qorbex.Vantorel.text"));
}

void TestIniUserDefaults::read_otherTypes() {
    fill("[General]\ncom.qorbex.Vantorel.data.v2=\"[]\"\ncom.qorbex.Vantorel.text=7\ncom.qorbex.Vantorel.switch=1\n");
    const IniUserDefaults defaults(path());
    QCOMPARE(defaults.data(kData), std::optional(QByteArray("[]")));
    QCOMPARE(defaults.string(kText), std::optional(QString("7")));
    QCOMPARE(defaults.boolean(kSwitch), std::optional(true));
}

void TestIniUserDefaults::write_makesTheFolder() {
    IniUserDefaults defaults(path("a/b/settings.ini"));
    QVERIFY(!defaults.problem());
    defaults.setString(kText, "x");
    defaults.write();
    QVERIFY(contents("a/b/settings.ini").contains("=x"));
}

void TestIniUserDefaults::write_folderInPlaceOfTheFile_fails_thenSucceedsOnceItIsGone() {
    QVERIFY(QDir().mkpath(path()));
    IniUserDefaults defaults(path());
    QCOMPARE(defaults.problem(), std::optional<QString>(path() + " is not a file"));
    defaults.setString(kText, "x");
    defaults.write();
    QVERIFY(QFileInfo(path()).isDir());
    QCOMPARE(defaults.string(kText), std::optional(QString("x")));
    QVERIFY(QDir().rmdir(path()));
    defaults.write();
    QVERIFY(contents().contains("=x"));
}

// What keeps either the old or the new content after a kill or on a full disk.
void TestIniUserDefaults::write_replacesTheFileAndNeverWritesIntoIt() {
    fill("[General]\ncom.qorbex.Vantorel.text=old\n");
    QFile old(path());
    QVERIFY(old.open(QIODevice::ReadOnly));
    IniUserDefaults defaults(path());
    defaults.setString(kText, "new");
    defaults.write();
    QVERIFY(contents().contains("=new"));
    QCOMPARE(old.readAll(), QByteArray("[General]\ncom.qorbex.Vantorel.text=old\n"));
}

// /dev/shm is a file system of its own on most machines; where it is not, the link still has to stay one.
void TestIniUserDefaults::write_behindASymbolicLink_keepsTheLink() {
    const QTemporaryDir elsewhere("/dev/shm/settings-XXXXXX");
    QVERIFY(elsewhere.isValid());
    QFile target(elsewhere.filePath("target.ini"));
    QVERIFY(target.open(QIODevice::WriteOnly));
    target.write("[General]\ncom.qorbex.Vantorel.text=old\n");
    target.close();
    QVERIFY(QFile::link(target.fileName(), path()));
    IniUserDefaults defaults(path());
    defaults.setString(kText, "new");
    defaults.write();
    QVERIFY(QFileInfo(path()).isSymLink());
    QVERIFY(contents().contains("=new"));
    QVERIFY(target.open(QIODevice::ReadOnly));
    QVERIFY(target.readAll().contains("=new"));
    QCOMPARE(QDir(elsewhere.path()).entryList(QDir::Files), QStringList{"target.ini"});
}

void TestIniUserDefaults::write_takesAwayWhatAKillLeft() {
    const QString left = path() + ".new";
    const QTemporaryDir elsewhere;
    QVERIFY(QFile::copy("/proc/self/cmdline", elsewhere.filePath("kept")));
    const auto leave = std::to_array<std::function<bool()>>({
        [&] { return QDir().mkpath(left + "/folder") && QFile::copy("/proc/self/cmdline", left + "/x.ini.aBcDeF"); },
        [&] { return QFile::copy("/proc/self/cmdline", left); },
        [&] { return QFile::link(elsewhere.path(), left); },
    });
    for (const auto& leaveOne : leave) {
        QVERIFY(leaveOne());
        IniUserDefaults defaults(path());
        defaults.setString(kText, "new");
        defaults.write();
        QVERIFY(contents().contains("=new"));
        QVERIFY(!QFileInfo::exists(left) && !QFileInfo(left).isSymLink());
        QVERIFY(QFile::remove(path()));
    }
    QVERIFY(QFile::exists(elsewhere.filePath("kept")));
}

void TestIniUserDefaults::write_unreadableFile_isLeftAlone() {
    if (geteuid() == 0)
        QSKIP("permissions do not bind this user; the whole-program tests run this case as another one");
    fill("[General]\ncom.qorbex.Vantorel.text=old\n");
    QVERIFY(chmod(qPrintable(path()), 0) == 0);
    IniUserDefaults defaults(path());
    QCOMPARE(defaults.problem(), std::optional<QString>(path() + " cannot be read"));
    defaults.setString(kText, "new");
    defaults.write();
    QVERIFY(chmod(qPrintable(path()), 0600) == 0);
    QVERIFY(contents().contains("=old"));
}

void TestIniUserDefaults::halfOfASurrogatePair_isNoValue_andPreventsNoSave() {
    fill("[General]\ncom.qorbex.Vantorel.text=a\\xd800 b\ncom.qorbex.Vantorel.unknown=\\xdddd\n");
    IniUserDefaults defaults(path());
    QVERIFY(!defaults.string(kText));
    defaults.setBoolean(kSwitch, true);
    defaults.write();
    QCOMPARE(IniUserDefaults(path()).boolean(kSwitch), std::optional<bool>(true));
    defaults.setString(kText, "new");
    defaults.write();
    QCOMPARE(IniUserDefaults(path()).string(kText), std::optional<QString>("new"));
}

void TestIniUserDefaults::fileThatComesLater_isPutAsideBeforeTheFirstWrite() {
    IniUserDefaults defaults(path());
    fill("[General]\ncom.qorbex.Vantorel.text=came later\n");
    defaults.setString(kText, "new");
    defaults.write();
    QCOMPARE(contents("settings.ini.damaged"), "[General]\ncom.qorbex.Vantorel.text=came later\n");
    QCOMPARE(IniUserDefaults(path()).string(kText), std::optional<QString>("new"));
    // From then on it is our own.
    defaults.setString(kText, "newer");
    defaults.write();
    QVERIFY(contents("settings.ini.damaged").contains("came later"));
}

void TestIniUserDefaults::fileThatComesLater_whereNoCopyCanBeMade_stays() {
    IniUserDefaults defaults(path());
    fill("[General]\ncom.qorbex.Vantorel.text=came later\n");
    QVERIFY(QDir().mkpath(path("settings.ini.damaged/no-file")));
    defaults.setString(kText, "new");
    defaults.write();
    QVERIFY(contents().contains("came later"));
}

void TestIniUserDefaults::problem_isToldInWords() {
    fill("");
    QVERIFY(!IniUserDefaults(path()).problem());
    QVERIFY(!IniUserDefaults(path("other.ini")).problem());
    QCOMPARE(IniUserDefaults(path("settings.ini/below.ini")).problem(),
             std::optional<QString>(path() + " cannot be made"));
}

void TestIniUserDefaults::cutAnywhere_isReadWithoutACrash_andMayBeSavedOver() {
    {
        IniUserDefaults defaults(path());
        defaults.setData(kData, "[{\"id\":\"\xC3\xBC\"}]");
        defaults.setString(kText, QStringLiteral("ü, \"x\""));
        defaults.setBoolean(kSwitch, true);
        defaults.write();
    }
    const QByteArray whole = contents();
    for (qsizetype size = 0; size < whole.size(); ++size) {
        fill(whole.left(size));
        IniUserDefaults defaults(path());
        defaults.setString(kText, "saved");
        defaults.write();
        // QSettings would not read again a file that it knows with the same size and time.
        QVERIFY2(contents().contains("com.qorbex.Vantorel.text=saved\n"), whole.left(size).constData());
    }
}

void TestIniUserDefaults::keepDamaged_copiesTheBytes_newestKept() {
    IniUserDefaults defaults(path());
    defaults.setData(kData, "first");
    defaults.keepDamaged(kData);
    QCOMPARE(contents("settings.ini.damaged"), QByteArray("first"));
    defaults.setData(kData, QByteArray("second\0\xFF", 8));
    defaults.keepDamaged(kData);
    QCOMPARE(contents("settings.ini.damaged"), QByteArray("second\0\xFF", 8));
}

void TestIniUserDefaults::keepDamaged_valueTornApartByCommas_copiesTheFile() {
    const QByteArray ini = "[General]\ncom.qorbex.Vantorel.data.v2=[{\"a\":1},{\"b\":2}]\n";
    fill(ini);
    IniUserDefaults defaults(path());
    defaults.keepDamaged(kData);
    QCOMPARE(contents("settings.ini.damaged"), ini);
}

void TestIniUserDefaults::garbage_isPutAsideBeforeTheFirstWrite() {
    fill("[General\nno key here\n");
    IniUserDefaults defaults(path());
    QVERIFY(!QFile::exists(path("settings.ini.damaged")));
    defaults.setString(kText, "x");
    defaults.write();
    QCOMPARE(contents("settings.ini.damaged"), QByteArray("[General\nno key here\n"));
    QVERIFY(contents().contains("=x"));
}

void TestIniUserDefaults::userFile_followsTheEnvironment() {
    qputenv("XDG_CONFIG_HOME", "/config");
    qputenv("HOME", "/home/user");
    QCOMPARE(IniUserDefaults::userFile(), std::optional<QString>("/config/com.qorbex.Vantorel.ini"));
    qputenv("XDG_CONFIG_HOME", "relative");
    QCOMPARE(IniUserDefaults::userFile(), std::optional<QString>("/home/user/.config/com.qorbex.Vantorel.ini"));
    qunsetenv("XDG_CONFIG_HOME");
    QCOMPARE(IniUserDefaults::userFile(), std::optional<QString>("/home/user/.config/com.qorbex.Vantorel.ini"));
    qunsetenv("HOME");
    QCOMPARE(IniUserDefaults::userFile(), std::nullopt);
}

QTEST_GUILESS_MAIN(TestIniUserDefaults)
#include "TestIniUserDefaults.moc"
