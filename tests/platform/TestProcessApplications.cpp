#include "platform/freedesktop/ProcessApplications.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace vantorel;

class TestProcessApplications : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void applicationOfUnit_data();
    void applicationOfUnit();
    void sandbox_namesItsApplication();
    void unit_namesItsApplication_whenInstalled();
    void launchVariables_countForTheirOwnProcessAlone();
    void executable_isComparedWithTheEntries();
    void script_isComparedBeforeItsInterpreter();
    void parents_areAskedWhenTheProcessTellsNothing();
    void helpers_arePassedOver();
    void oddNames_doNotConfuseTheWalk_data();
    void oddNames_doNotConfuseTheWalk();
    void processesThatAreGone_tellNothing();
    void parentsInACircle_endTheWalk();
    void hugeEnvironment_isRead();

private:
    struct Process {
        int parent = 1;
        QByteArray name = "program";
        QByteArray program = "/nowhere/program";
        QByteArray arguments = {};
        QByteArray environment = {};
        QByteArray cgroup = {};
    };
    void add(int id, const Process& process);
    QString applicationOf(int id) { return ProcessApplications(m_proc.toUtf8()).applicationOf(id).value_or("(none)"); }
    void write(const QString& file, const QByteArray& bytes);
    void install(const QString& id, const QByteArray& program);

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_proc;
};

void TestProcessApplications::initTestCase() {
    qputenv("PATH", "/usr/bin:/bin");
}

void TestProcessApplications::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    m_proc = m_folder->filePath("proc");
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder->filePath("home")));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(m_folder->filePath("share")));
    install("org.mail.App", "mail");
    install("org.chat.App", "chat");
    install("vendor-tool", "tool");
}

void TestProcessApplications::write(const QString& file, const QByteArray& bytes) {
    QVERIFY(QDir().mkpath(QFileInfo(file).path()));
    QFile out(file);
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write(bytes);
}

void TestProcessApplications::install(const QString& id, const QByteArray& program) {
    const QString executable = m_folder->filePath("bin/" + QString(program));
    write(executable, "#!/bin/sh\n");
    QFile::setPermissions(executable, QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner);
    write(m_folder->filePath("share/applications/" + id + ".desktop"),
          "[Desktop Entry]\nType=Application\nName=x\nExec=" + executable.toUtf8() + " %u\n");
}

void TestProcessApplications::add(int id, const Process& process) {
    const QString folder = m_proc + '/' + QString::number(id);
    write(folder + "/stat",
          QByteArray::number(id) + " (" + process.name + ") S " + QByteArray::number(process.parent) + " 1 1 0");
    write(folder + "/comm", process.name + '\n');
    write(folder + "/cmdline", process.arguments);
    write(folder + "/environ", process.environment);
    write(folder + "/cgroup", process.cgroup);
    QFile::link(process.program, folder + "/exe");
}

void TestProcessApplications::applicationOfUnit_data() {
    QTest::addColumn<QByteArray>("unit");
    QTest::addColumn<QString>("id");
    const auto row = [](const char* unit, const char* id) { QTest::newRow(unit) << QByteArray(unit) << QString(id); };
    row("app-org.mail.App-1234.scope", "org.mail.App");
    row("app-gnome-org.mail.App-1234.scope", "org.mail.App");
    row("app-gnome-vendor\\x2dtool-1234.scope", "vendor-tool");
    row("app-org.mail.App@123abc.service", "org.mail.App");
    row("app-KDE-org.mail.App@123abc.service", "org.mail.App");
    row("app-org.mail.App.service", "org.mail.App");
    row("app-org.gnome.Terminal.slice", "org.gnome.Terminal");
    row("snap.mail.app-0a1b-2c.scope", "mail_app");
    row("vte-spawn-0a1b.scope", "(none)");
    row("session-2.scope", "(none)");
    row("dbus.service", "(none)");
    row("app.slice", "(none)");
    row("snap.mail.scope", "(none)");
    row("app-x\\x", "(none)");
    row("", "(none)");
}

void TestProcessApplications::applicationOfUnit() {
    QFETCH(QByteArray, unit);
    QTEST(vantorel::applicationOfUnit(unit).value_or("(none)"), "id");
}

void TestProcessApplications::sandbox_namesItsApplication() {
    add(10, {});
    write(m_proc + "/10/root/.flatpak-info",
          "[Instance]\nname=wrong\n[Application]\nname=org.sandboxed.App\nruntime=x\n");
    QCOMPARE(applicationOf(10), QString("org.sandboxed.App"));
}

void TestProcessApplications::unit_namesItsApplication_whenInstalled() {
    add(10, {.cgroup = "0::/user.slice/user@1000.service/app.slice/app-gnome-org.mail.App-77.scope\n"});
    add(11, {.cgroup = "0::/user.slice/app-gnome-org.unknown.App-77.scope\n"});
    add(12, {.cgroup = "0::/app.slice/app-org.mail.App.slice/vte-spawn-1.scope\n"});
    QCOMPARE(applicationOf(10), QString("org.mail.App"));
    QCOMPARE(applicationOf(11), QString("(none)"));
    QCOMPARE(applicationOf(12), QString("org.mail.App"));
}

void TestProcessApplications::launchVariables_countForTheirOwnProcessAlone() {
    const QByteArray file =
        "GIO_LAUNCHED_DESKTOP_FILE=" + QFile::encodeName(m_folder->filePath("share/applications/org.mail.App.desktop"));
    add(10, {.environment = "A=1" + QByteArray(1, '\0') + file + '\0' + "GIO_LAUNCHED_DESKTOP_FILE_PID=10"});
    add(11, {.environment = file + '\0' + "GIO_LAUNCHED_DESKTOP_FILE_PID=10"});
    add(12, {.environment = "GIO_LAUNCHED_DESKTOP_FILE_PID=12"});
    add(13,
        {.environment =
             QByteArray("GIO_LAUNCHED_DESKTOP_FILE=/etc/passwd") + '\0' + "GIO_LAUNCHED_DESKTOP_FILE_PID=13"});
    QCOMPARE(applicationOf(10), QString("org.mail.App"));
    QCOMPARE(applicationOf(11), QString("(none)"));
    QCOMPARE(applicationOf(12), QString("(none)"));
    QCOMPARE(applicationOf(13), QString("(none)"));
}

void TestProcessApplications::executable_isComparedWithTheEntries() {
    add(10, {.program = QFile::encodeName(m_folder->filePath("bin/chat"))});
    add(11, {.program = "/usr/bin/something-else"});
    QCOMPARE(applicationOf(10), QString("org.chat.App"));
    QCOMPARE(applicationOf(11), QString("(none)"));
}

void TestProcessApplications::script_isComparedBeforeItsInterpreter() {
    const QByteArray script = QFile::encodeName(m_folder->filePath("bin/tool"));
    add(10, {.program = "/usr/bin/python3.11", .arguments = QByteArray("python3") + '\0' + script + '\0'});
    add(11, {.program = "/usr/bin/dash", .arguments = QByteArray("/bin/sh") + '\0' + script + '\0'});
    add(12, {.program = "/usr/bin/python3.11", .arguments = QByteArray("python3") + '\0' + "-c" + '\0'});
    QCOMPARE(applicationOf(10), QString("vendor-tool"));
    QCOMPARE(applicationOf(11), QString("vendor-tool"));
    QCOMPARE(applicationOf(12), QString("(none)"));
}

void TestProcessApplications::parents_areAskedWhenTheProcessTellsNothing() {
    add(10, {.program = QFile::encodeName(m_folder->filePath("bin/chat"))});
    add(20, {.parent = 10, .program = "/usr/bin/dash"});
    add(30, {.parent = 20});
    add(40, {.parent = 30, .program = QFile::encodeName(m_folder->filePath("bin/mail"))});
    QCOMPARE(applicationOf(30), QString("org.chat.App"));
    QCOMPARE(applicationOf(40), QString("org.mail.App"));
}

void TestProcessApplications::helpers_arePassedOver() {
    install("helper", "gio");
    install("opener", "xdg-open");
    add(10, {.program = QFile::encodeName(m_folder->filePath("bin/chat"))});
    add(20, {.parent = 10, .program = QFile::encodeName(m_folder->filePath("bin/gio"))});
    add(21,
        {.parent = 10,
         .program = "/usr/bin/dash",
         .arguments = QByteArray("/bin/sh") + '\0' + QFile::encodeName(m_folder->filePath("bin/xdg-open")) + '\0'});
    add(22, {.parent = 1, .program = QFile::encodeName(m_folder->filePath("bin/gio"))});
    QCOMPARE(applicationOf(20), QString("org.chat.App"));
    QCOMPARE(applicationOf(21), QString("org.chat.App"));
    QCOMPARE(applicationOf(22), QString("(none)"));
}

void TestProcessApplications::oddNames_doNotConfuseTheWalk_data() {
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("spaces") << QByteArray("a b c");
    QTest::newRow("parentheses") << QByteArray(") S 99 (");
    QTest::newRow("line breaks") << QByteArray("a\n) R 99\n");
    QTest::newRow("long") << QByteArray(4096, ')');
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no UTF-8") << QByteArray("\xFF\xFE");
}

void TestProcessApplications::oddNames_doNotConfuseTheWalk() {
    QFETCH(QByteArray, name);
    add(10, {.program = QFile::encodeName(m_folder->filePath("bin/chat"))});
    add(20, {.parent = 10, .name = name});
    add(99, {.program = QFile::encodeName(m_folder->filePath("bin/mail"))});
    QCOMPARE(applicationOf(20), QString("org.chat.App"));
}

void TestProcessApplications::processesThatAreGone_tellNothing() {
    QCOMPARE(applicationOf(12345), QString("(none)"));
    add(20, {.parent = 10});
    QCOMPARE(applicationOf(20), QString("(none)"));
    QVERIFY(QDir().mkpath(m_proc + "/30"));
    QCOMPARE(applicationOf(30), QString("(none)"));
    QCOMPARE(applicationOf(0), QString("(none)"));
    QCOMPARE(applicationOf(-1), QString("(none)"));
}

void TestProcessApplications::parentsInACircle_endTheWalk() {
    add(10, {.parent = 20});
    add(20, {.parent = 10});
    QCOMPARE(applicationOf(10), QString("(none)"));
}

void TestProcessApplications::hugeEnvironment_isRead() {
    const QByteArray file =
        "GIO_LAUNCHED_DESKTOP_FILE=" + QFile::encodeName(m_folder->filePath("share/applications/org.mail.App.desktop"));
    add(10, {.environment = QByteArray(1 << 20, 'x') + '\0' + file + '\0' + "GIO_LAUNCHED_DESKTOP_FILE_PID=10"});
    QCOMPARE(applicationOf(10), QString("org.mail.App"));
}

QTEST_GUILESS_MAIN(TestProcessApplications)
#include "TestProcessApplications.moc"
