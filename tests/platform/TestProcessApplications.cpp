#include "platform/freedesktop/ProcessApplications.h"

#include "platform/freedesktop/InstalledIndex.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr auto kOwn = "org.own.Router";

QByteArray variables(const QByteArrayList& list) {
    return list.join('\0') + '\0';
}

} // namespace

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
    void variable_isThatOfTheProcessAlone();
    void sandbox_isNamedWithoutAnEntry_unlessTheNameIsNone_data();
    void sandbox_isNamedWithoutAnEntry_unlessTheNameIsNone();
    void sandboxFile_thatIsNoFile_isNotWaitedFor_data();
    void sandboxFile_thatIsNoFile_isNotWaitedFor();
    void unit_ofAllKindsOfHierarchies_data();
    void unit_ofAllKindsOfHierarchies();
    void unit_thatTheParentIsInAsWell_isTheParents();
    void unit_ofADetachedHelper_namesWhoStartedIt();
    void launchFile_thatTheParentHasAsWell_isNotOfTheProcess();
    void program_thatWasReplaced_isStillKnown();
    void program_ofAnotherViewOfTheFiles_mustBeTheSameFile();
    void program_thatIsDenied_isWhatTheProcessWasStartedAs();
    void arguments_ofAProgramThatIsNoInterpreter_areNoScripts();
    void scriptAfterOptions_isFound();
    void relation_tellsWhereTheApplicationWasFound();
    void inherited_namesTheApplication_whenNothingElseDoes();
    void inherited_isPassedOver_whenItTellsNothing_data();
    void inherited_isPassedOver_whenItTellsNothing();
    void inherited_ofTheSession_tellsNothing();
    void chain_endsAtTheBus();
    void ownID_isNeverTheAnswer();
    void parentThatStartedLater_isNone();
    void processThatIsReplacedMeanwhile_tellsNothing();
    void chainOfAHundredProcesses_isGivenUp();
    void fileSystemThatDoesNotAnswer_isGivenUp();
    void index_followsWhatIsInstalled();

private:
    struct Process {
        int parent = 1;
        QByteArray name = "program";
        QByteArray program = "/nowhere/program";
        QByteArray arguments = {};
        QByteArray environment = {};
        QByteArray cgroup = {};
        int startTime = 5;
    };
    void add(int id, const Process& process);
    void addLaunched(int id, const QByteArray& file, int launched, Process process);
    void addLaunched(int id, const QByteArray& file, int launched) { addLaunched(id, file, launched, {}); }
    QString applicationOf(int id);
    QByteArray entryOf(const char* id) const;
    QByteArray programOf(const char* name) const { return QFile::encodeName(m_folder->filePath("bin/") + name); }
    void write(const QString& file, const QByteArray& bytes);
    void install(const QString& id, const QByteArray& program);

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_proc;
    std::unique_ptr<CurrentIndex> m_index;
    std::unique_ptr<ProcessApplications> m_applications;
};

void TestProcessApplications::initTestCase() {
    qputenv("PATH", "/usr/bin:/bin");
}

void TestProcessApplications::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    m_proc = m_folder->filePath("proc");
    m_index = std::make_unique<CurrentIndex>();
    m_applications =
        std::make_unique<ProcessApplications>([this] { return m_index->get(); }, kOwn, QFile::encodeName(m_proc));
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
          QByteArray::number(id) + " (" + process.name + ") S " + QByteArray::number(process.parent)
              + QByteArray(" 0").repeated(17) + ' ' + QByteArray::number(process.startTime) + " 0 0 0\n");
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
    row("snap.mail.app-01234567-89ab-cdef-0123-456789abcdef.scope", "mail_app");
    row("snap.mail.app.01234567-89ab-cdef-0123-456789abcdef.scope", "mail_app");
    row("snap.my-mail.my-app-01234567-89ab-cdef-0123-456789abcdef.scope", "my-mail_my-app");
    row("snap.mail\\x2btest.app-01234567-89ab-cdef-0123-456789abcdef.scope", "mail+test_app");
    row("app-flatpak-org.mail.App-77.scope", "org.mail.App");
    row("app-a\\x2Db\\x5c.slice", "a-b\\");
    row("app-a\\x5.slice", "a\\x5"); // no escape: two digits are
    row("app-a\\x+5.slice", "a\\x+5");
    row("app-a\\x 5.slice", "a\\x 5");
    row("app-a\\x5gb.slice", "a\\x5gb");
    row("snap.mail.scope", "(none)");
    row("snap..app-1.scope", "(none)");
    row("vte-spawn-0a1b.scope", "(none)");
    row("session-2.scope", "(none)");
    row("dbus.service", "(none)");
    row("app.slice", "(none)");
    row("app-x\\x", "(none)");
    row("", "(none)");
}

void TestProcessApplications::applicationOfUnit() {
    QFETCH(QByteArray, unit);
    QTEST(vantorel::applicationOfUnit(unit).value_or(UnitApplication{.id = "(none)"}).id, "id");
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
    const QByteArray program = programOf("chat");
    add(10, {.program = program, .environment = variables({"A=1", file, "GIO_LAUNCHED_DESKTOP_FILE_PID=10"})});
    add(11, {.program = program, .environment = variables({file, "GIO_LAUNCHED_DESKTOP_FILE_PID=10"})});
    add(12, {.environment = "GIO_LAUNCHED_DESKTOP_FILE_PID=12"});
    add(13,
        {.environment =
             QByteArray("GIO_LAUNCHED_DESKTOP_FILE=/etc/passwd") + '\0' + "GIO_LAUNCHED_DESKTOP_FILE_PID=13"});
    QCOMPARE(applicationOf(10), QString("org.mail.App"));
    QCOMPARE(applicationOf(11), QString("org.chat.App"));
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

void TestProcessApplications::variable_isThatOfTheProcessAlone() {
    add(10, {.environment = variables({"ROUND=1"})});
    add(20, {.parent = 10, .environment = variables({"AROUND=2", "ROUNDS=3", "A=ROUND=4"})});
    add(30, {.environment = variables({"A=", "ROUND=a=b c", "ROUND=5"})});
    QCOMPARE(m_applications->originOf(10, "ROUND").variable, QByteArray("1"));
    QCOMPARE(m_applications->originOf(20, "ROUND").variable, QByteArray());
    QCOMPARE(m_applications->originOf(30, "ROUND").variable, QByteArray("a=b c"));
    QCOMPARE(m_applications->originOf(30, "A").variable, QByteArray());
    QCOMPARE(m_applications->originOf(40, "ROUND").variable, QByteArray());
    int calls = 0;
    m_applications->originOf(10, "ROUND", [&calls] { ++calls; });
    QCOMPARE(calls, 1);
}

void TestProcessApplications::sandbox_isNamedWithoutAnEntry_unlessTheNameIsNone_data() {
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("id");
    QTest::newRow("not installed here") << QByteArray("org.sandboxed.App") << "org.sandboxed.App";
    QTest::newRow("nothing") << QByteArray() << "(none)";
    QTest::newRow("a path") << QByteArray("../../etc/passwd") << "(none)";
    QTest::newRow("blanks inside") << QByteArray("org app") << "(none)";
    QTest::newRow("control characters") << QByteArray("org\x1B[2Japp") << "(none)";
    QTest::newRow("endless") << QByteArray(4096, 'x') << "(none)";
    QTest::newRow("the program itself") << QByteArray(kOwn) << "(none)";
}

void TestProcessApplications::sandbox_isNamedWithoutAnEntry_unlessTheNameIsNone() {
    QFETCH(QByteArray, name);
    add(10, {});
    write(m_proc + "/10/root/.flatpak-info", "[Application]\nname=" + name + "\nruntime=x\n");
    QTEST(applicationOf(10), "id");
}

void TestProcessApplications::sandboxFile_thatIsNoFile_isNotWaitedFor_data() {
    QTest::addColumn<QString>("kind");
    for (const char* const kind : {"pipe", "link", "folder", "endless"})
        QTest::newRow(kind) << kind;
}

void TestProcessApplications::sandboxFile_thatIsNoFile_isNotWaitedFor() {
    QFETCH(QString, kind);
    add(10, {.program = programOf("chat")});
    const QString file = m_proc + "/10/root/.flatpak-info";
    const QString real = m_folder->filePath("real");
    write(real, "[Application]\nname=org.wrong.App\n");
    QVERIFY(QDir().mkpath(m_proc + "/10/root"));
    if (kind == "pipe")
        QCOMPARE(mkfifo(QFile::encodeName(file), 0600), 0);
    else if (kind == "link")
        QVERIFY(QFile::link(real, file));
    else if (kind == "folder")
        QVERIFY(QDir().mkpath(file));
    else
        write(file, QByteArray(8 << 20, '\n') + "[Application]\nname=org.wrong.App\n");
    QCOMPARE(applicationOf(10), QString("org.chat.App"));
}

void TestProcessApplications::unit_ofAllKindsOfHierarchies_data() {
    QTest::addColumn<QByteArray>("cgroup");
    QTest::addColumn<QString>("id");
    const auto row = [](const char* name, const char* cgroup, const char* id) {
        QTest::newRow(name) << QByteArray(cgroup) << QString(id);
    };
    row("unified", "0::/user.slice/app-org.mail.App-7.scope\n", "org.mail.App");
    row("older", "9:name=systemd:/user.slice/app-org.mail.App-7.scope\n8:pids:/user.slice\n1:cpu,cpuacct:/\n",
        "org.mail.App");
    row("both", "3:cpuset:/\n1:name=systemd:/user.slice/app-org.mail.App-7.scope\n0::/user.slice\n", "org.mail.App");
    row("inside of another namespace", "0::/../../app-org.mail.App-7.scope\n", "org.mail.App");
    row("unit that has ended", "0::/app.slice/app-org.mail.App-7.scope (deleted)\n", "org.mail.App");
    row("escaped", "0::/app.slice/app-KDE-vendor\\x2dtool@a\\x2db.service\n", "vendor-tool");
    row("escaped to a path", "0::/app.slice/app-flatpak-..\\x2f..\\x2fmail-7.scope\n", "(none)");
    row("snap, not installed here", "0::/app.slice/snap.a.b-01234567-89ab-cdef-0123-456789abcdef.scope\n", "a_b");
    row("flatpak, not installed here", "0::/app.slice/app-flatpak-org.far.App-7.scope\n", "org.far.App");
    row("other, not installed here", "0::/app.slice/app-org.far.App-7.scope\n", "(none)");
    row("the program itself", "0::/app.slice/app-org.own.Router-7.scope\n", "(none)");
    row("no unit", "0::/\n", "(none)");
    row("garbage", "0\n::\n\n:/:/\n", "(none)");
}

void TestProcessApplications::unit_ofAllKindsOfHierarchies() {
    QFETCH(QByteArray, cgroup);
    install(kOwn, "own-router");
    add(10, {.cgroup = cgroup});
    QTEST(applicationOf(10), "id");
}

// Whatever is started from a terminal is in the terminal's unit.
void TestProcessApplications::unit_thatTheParentIsInAsWell_isTheParents() {
    const QByteArray unit = "0::/app.slice/app-org.mail.App-7.scope\n";
    add(10, {.cgroup = unit});
    add(20, {.parent = 10, .cgroup = unit});
    add(30, {.parent = 20, .program = programOf("chat"), .cgroup = unit});
    add(40, {.parent = 20, .cgroup = "0::/app.slice/app-vendor\\x2dtool-7.scope\n"});
    QCOMPARE(applicationOf(20), QString("org.mail.App"));
    QCOMPARE(applicationOf(30), QString("org.chat.App"));
    QCOMPARE(applicationOf(40), QString("vendor-tool"));
}

void TestProcessApplications::unit_ofADetachedHelper_namesWhoStartedIt() {
    add(10, {.program = "/usr/bin/gio", .cgroup = "0::/app.slice/app-org.mail.App-7.scope\n"});
    QCOMPARE(applicationOf(10), QString("org.mail.App"));
}

void TestProcessApplications::addLaunched(int id, const QByteArray& file, int launched, Process process) {
    process.environment = variables({"A=GIO_LAUNCHED_DESKTOP_FILE=/wrong", "GIO_LAUNCHED_DESKTOP_FILE=" + file,
                                     "GIO_LAUNCHED_DESKTOP_FILE_PID=" + QByteArray::number(launched), "Z=1"});
    add(id, process);
}

QString TestProcessApplications::applicationOf(int id) {
    return m_applications->applicationOf(id).value_or(ProcessApplication{.id = "(none)"}).id;
}

QByteArray TestProcessApplications::entryOf(const char* id) const {
    return QFile::encodeName(m_folder->filePath("share/applications/") + id + ".desktop");
}

// Some launchers say which process they start and leave the name of the file as they have inherited it.
void TestProcessApplications::launchFile_thatTheParentHasAsWell_isNotOfTheProcess() {
    addLaunched(10, entryOf("org.mail.App"), 10);
    addLaunched(20, entryOf("org.mail.App"), 20, {.parent = 10, .program = programOf("chat")});
    addLaunched(30, entryOf("vendor-tool"), 30, {.parent = 10, .program = programOf("chat")});
    QCOMPARE(applicationOf(10), QString("org.mail.App"));
    QCOMPARE(applicationOf(20), QString("org.chat.App"));
    QCOMPARE(applicationOf(30), QString("vendor-tool"));
}

void TestProcessApplications::program_thatWasReplaced_isStillKnown() {
    add(10, {.program = programOf("chat") + " (deleted)"});
    add(20, {.program = programOf("unknown") + " (deleted)"});
    QCOMPARE(applicationOf(10), QString("org.chat.App"));
    QCOMPARE(applicationOf(20), QString("(none)"));
}

void TestProcessApplications::program_ofAnotherViewOfTheFiles_mustBeTheSameFile() {
    for (const int id : {10, 20}) {
        add(id, {.program = programOf("chat") + (id == 20 ? " (deleted)" : "")});
        QVERIFY(QDir().mkpath(m_proc + QString("/%1/ns").arg(id)));
    }
    QCOMPARE(symlink("mnt:[1]", QFile::encodeName(m_proc + "/10/ns/mnt")), 0);
    QCOMPARE(symlink("mnt:[1]", QFile::encodeName(m_proc + "/20/ns/mnt")), 0);
    QCOMPARE(applicationOf(10), QString("org.chat.App"));
    QCOMPARE(applicationOf(20), QString("(none)"));
    add(40, {.program = "/usr/bin/python3", .arguments = variables({"python3", programOf("tool")})});
    QCOMPARE(applicationOf(40), QString("vendor-tool"));
    QVERIFY(QDir().mkpath(m_proc + "/40/ns"));
    QCOMPARE(symlink("mnt:[1]", QFile::encodeName(m_proc + "/40/ns/mnt")), 0);
    QCOMPARE(applicationOf(40), QString("(none)"));
}

void TestProcessApplications::program_thatIsDenied_isWhatTheProcessWasStartedAs() {
    const auto addGuarded = [this](int id, const QByteArray& name, const QByteArray& started) {
        add(id, {.name = name, .arguments = variables({started, "x"})});
        QVERIFY(QFile::remove(m_proc + QString("/%1/exe").arg(id)));
    };
    addGuarded(10, "chat", programOf("chat"));
    addGuarded(11, "other", programOf("chat"));
    addGuarded(12, "", "");
    addGuarded(13, "xdg-desktop-por", "/usr/libexec/xdg-desktop-portal");
    QCOMPARE(applicationOf(10), QString("org.chat.App"));
    QCOMPARE(applicationOf(11), QString("(none)"));
    QCOMPARE(applicationOf(12), QString("(none)"));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(m_folder->filePath("bin")));
    addGuarded(14, "chat", "chat");
    QCOMPARE(applicationOf(14), QString("org.chat.App"));
    qputenv("PATH", path);
}

void TestProcessApplications::arguments_ofAProgramThatIsNoInterpreter_areNoScripts() {
    add(10, {.program = "/usr/bin/less", .arguments = variables({"less", programOf("tool")})});
    QCOMPARE(applicationOf(10), QString("(none)"));
}

void TestProcessApplications::scriptAfterOptions_isFound() {
    const QByteArray script = programOf("tool");
    add(10, {.program = "/usr/bin/python3.11", .arguments = variables({"python3", "-I", "-S", script, "x"})});
    add(11, {.program = "/usr/bin/python3.11", .arguments = variables({"python3", "-m", script})});
    add(12, {.program = "/usr/bin/dash", .arguments = variables({"sh", "-c", script})});
    QCOMPARE(applicationOf(10), QString("vendor-tool"));
    QCOMPARE(applicationOf(11), QString("(none)"));
    QCOMPARE(applicationOf(12), QString("(none)"));
}

void TestProcessApplications::relation_tellsWhereTheApplicationWasFound() {
    add(10, {.program = programOf("chat")});
    add(20, {.parent = 10});
    addLaunched(30, entryOf("org.mail.App"), 99);
    using Relation = ProcessApplication::Relation;
    QCOMPARE(m_applications->applicationOf(10)->relation, Relation::own);
    QCOMPARE(m_applications->applicationOf(20)->relation, Relation::ancestors);
    QCOMPARE(m_applications->applicationOf(30)->relation, Relation::ancestors);
}

void TestProcessApplications::inherited_namesTheApplication_whenNothingElseDoes() {
    const QByteArray mail = entryOf("org.mail.App"), tool = entryOf("vendor-tool");
    for (const char* const helper : {"xdg-open", "gio", "kde-open5", "exo-open", "vantorel"}) {
        addLaunched(10, mail, 99, {.program = QByteArray("/usr/bin/") + helper});
        QCOMPARE(applicationOf(10), QString("org.mail.App"));
        QVERIFY(QDir(m_proc).removeRecursively());
    }
    // The nearest one counts.
    addLaunched(10, tool, 99);
    addLaunched(20, mail, 99, {.parent = 10});
    add(30, {.parent = 20, .program = "/usr/bin/gio"});
    QCOMPARE(applicationOf(30), QString("org.mail.App"));
    // Surer ways come first, however far up.
    add(40, {.program = programOf("chat")});
    addLaunched(50, mail, 99, {.parent = 40});
    QCOMPARE(applicationOf(50), QString("org.chat.App"));
    // A terminal may keep the file to itself: the process that was launched from it still has it.
    addLaunched(70, mail, 70, {.parent = 1, .startTime = 4});
    add(80, {.program = "/usr/bin/xdg-open", .environment = variables({"GIO_LAUNCHED_DESKTOP_FILE_PID=70"})});
    QCOMPARE(applicationOf(80), QString("org.mail.App"));
    // Not one that only inherited it, and not one that was given the number later.
    addLaunched(70, mail, 69, {.parent = 1, .startTime = 4});
    QCOMPARE(applicationOf(80), QString("(none)"));
    addLaunched(70, mail, 70, {.parent = 1, .startTime = 9});
    QCOMPARE(applicationOf(80), QString("(none)"));
    // A helper that was launched by its own entry inherits nothing but has the variables.
    addLaunched(60, mail, 60, {.program = "/usr/bin/gio"});
    QCOMPARE(applicationOf(60), QString("org.mail.App"));
}

void TestProcessApplications::inherited_isPassedOver_whenItTellsNothing_data() {
    QTest::addColumn<QString>("entry");
    for (const char* const entry : {kOwn, "helper", "wrapped-helper", "org.unknown.App"})
        QTest::newRow(entry) << entry;
}

// A desktop sets the variables when it starts us or a helper; what was there before is above.
void TestProcessApplications::inherited_isPassedOver_whenItTellsNothing() {
    QFETCH(QString, entry);
    install(kOwn, "own-router");
    install("helper", "exo-open");
    write(m_folder->filePath("share/applications/wrapped-helper.desktop"),
          "[Desktop Entry]\nType=Application\nName=x\nExec=env A=1 " + programOf("exo-open") + " %u\n");
    const QByteArray file = entryOf(qPrintable(entry));
    addLaunched(10, file, 99);
    QCOMPARE(applicationOf(10), QString("(none)"));
    addLaunched(20, entryOf("org.mail.App"), 99);
    addLaunched(30, file, 30, {.parent = 20, .program = "/usr/bin/exo-open"});
    QCOMPARE(applicationOf(30), QString("org.mail.App"));
}

void TestProcessApplications::inherited_ofTheSession_tellsNothing() {
    const QByteArray mail = entryOf("org.mail.App");
    addLaunched(5, mail, 4);
    addLaunched(10, mail, 4); // a service of the bus
    addLaunched(20, mail, 20); // started with the process set alone
    addLaunched(30, entryOf("vendor-tool"), 4);
    QCOMPARE(applicationOf(10), QString("org.mail.App"));
    m_applications->ignoreInheritanceOf(5);
    m_applications->ignoreInheritanceOf(12345);
    QCOMPARE(applicationOf(10), QString("(none)"));
    QCOMPARE(applicationOf(20), QString("(none)"));
    QCOMPARE(applicationOf(30), QString("vendor-tool"));
}

void TestProcessApplications::chain_endsAtTheBus() {
    add(10, {.program = programOf("chat")});
    add(20, {.parent = 10});
    add(30, {.parent = 20});
    QCOMPARE(applicationOf(30), QString("org.chat.App"));
    m_applications->endChainsAt(20);
    QCOMPARE(applicationOf(30), QString("(none)"));
    QCOMPARE(applicationOf(20), QString("org.chat.App"));
}

void TestProcessApplications::ownID_isNeverTheAnswer() {
    install(kOwn, "own-router");
    add(10, {.program = programOf("chat")});
    addLaunched(20, entryOf(kOwn), 20, {.parent = 10, .program = programOf("own-router")});
    QCOMPARE(applicationOf(20), QString("org.chat.App"));
}

void TestProcessApplications::parentThatStartedLater_isNone() {
    add(10, {.program = programOf("chat"), .startTime = 5});
    add(20, {.parent = 10, .startTime = 5});
    add(30, {.parent = 10, .startTime = 4});
    QCOMPARE(applicationOf(20), QString("org.chat.App"));
    QCOMPARE(applicationOf(30), QString("(none)"));
}

// Another thread gives the number to a new process again and again, also between two looks of one answer.
void TestProcessApplications::processThatIsReplacedMeanwhile_tellsNothing() {
    add(10, {.program = programOf("chat")});
    std::atomic<bool> isDone = false;
    const QString stat = m_proc + "/10/stat";
    const QByteArray rest = QByteArray(" (x) S 1") + QByteArray(" 0").repeated(17) + ' ';
    std::thread churn([&] {
        for (int start = 6; !isDone; ++start) {
            QFile out(stat + ".new");
            if (out.open(QIODevice::WriteOnly))
                out.write("10" + rest + QByteArray::number(start) + " 0 0\n");
            out.close();
            std::rename(QFile::encodeName(out.fileName()), QFile::encodeName(stat));
        }
    });
    bool wasSeen = false;
    for (int i = 0; i < 5000 && !wasSeen; ++i)
        wasSeen = applicationOf(10) == "(none)";
    isDone = true;
    churn.join();
    QVERIFY(wasSeen);
    QCOMPARE(applicationOf(10), QString("org.chat.App"));
}

void TestProcessApplications::chainOfAHundredProcesses_isGivenUp() {
    add(100, {.program = programOf("chat")});
    for (int id = 101; id <= 200; ++id)
        add(id, {.parent = id - 1});
    QCOMPARE(applicationOf(150), QString("org.chat.App"));
    QCOMPARE(applicationOf(200), QString("(none)"));
}

// A user's file system whose server is stopped: mounted here, and never served.
void TestProcessApplications::fileSystemThatDoesNotAnswer_isGivenUp() {
    const int server = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    const QByteArray root = QFile::encodeName(m_proc + "/10/root");
    add(10, {.program = programOf("chat"), .environment = variables({"ROUND=1"})});
    add(20, {.program = programOf("chat")});
    QVERIFY(QDir().mkpath(root));
    const QByteArray options = "fd=" + QByteArray::number(server) + ",rootmode=40000,user_id=0,group_id=0";
    if (server < 0 || mount("test", root, "fuse.test", MS_NOSUID | MS_NODEV, options.constData()) != 0)
        QSKIP("this user may not mount a file system");
    QElapsedTimer timer;
    timer.start();
    const QByteArray round = m_applications->originOf(10, "ROUND").variable;
    for (int i = 0; i < 20; ++i)
        QCOMPARE(applicationOf(10), QString("(none)"));
    QVERIFY(timer.elapsed() < 10'000); // else for good
    umount2(root, MNT_DETACH);
    close(server);
    QCOMPARE(round, QByteArray("1")); // the process itself answers
    QTRY_COMPARE(applicationOf(20), QString("org.chat.App"));
}

void TestProcessApplications::index_followsWhatIsInstalled() {
    add(10, {.program = programOf("new")});
    QCOMPARE(applicationOf(10), QString("(none)"));
    install("org.new.App", "new");
    QCOMPARE(applicationOf(10), QString("org.new.App"));
    const auto before = m_index->get();
    QCOMPARE(m_index->get(), before);
    m_index->refresh();
    QTRY_VERIFY(m_index->get() != before);
    QCOMPARE(applicationOf(10), QString("org.new.App"));
    write(QFile::decodeName(entryOf("org.new.App")), "[Desktop Entry]\nHidden=true\n");
    QCOMPARE(applicationOf(10), QString("(none)"));
    QVERIFY(QDir().mkpath(m_folder->filePath("home/applications")));
    QVERIFY(QFile::rename(QFile::decodeName(entryOf("org.mail.App")),
                          m_folder->filePath("home/applications/org.new.App.desktop")));
    add(20, {.program = programOf("mail")});
    QCOMPARE(applicationOf(20), QString("org.new.App"));
}

QTEST_GUILESS_MAIN(TestProcessApplications)
#include "TestProcessApplications.moc"
