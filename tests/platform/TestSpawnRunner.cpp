#include "platform/freedesktop/SpawnRunner.h"

#include "platform/freedesktop/LaunchContext.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

#include <csignal>

using namespace vantorel;

class TestSpawnRunner : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void exit_data();
    void exit();
    void start_missingProgram_givesTheReason();
    void start_programThatIsNoProgram_givesTheReason();
    void start_passesArgumentsByteForByte();
    void start_givesALaunchContext_andHidesTheProgramsOwn();
    void start_leavesDefaultSignals();
    void start_raisesItsOwnFileLimit_notTheChildrens();
    void start_leaksNoDescriptors();
    void exit_doesNotWaitForAGrandchildThatKeepsThePipe();
    void turns_chainTheChildrenInTheOrderOfTheirStart();
    void manyChildrenAtOnce_allReport();
    void prepared_isToldTheRoundAndItsArguments();
    void prepared_isUsedOnce_andForItsOwnProgramAlone();
    void prepared_isNotUsedForAnotherLinksTokens();
    void prepared_thatNobodyNeeds_endsWithoutAWord();
    void prepared_getsNoMoreThanAPipeTakesAtOnce();
    void prepared_thatHasEnded_isStartedAnew();
    void prepared_keepsItsTurn();

private:
    ProcessRunner::Exit run(const QByteArray& script, const QByteArrayList& arguments = {});
    ProcessRunner::Exit finish(const QByteArray& program, const QByteArrayList& arguments);
    QByteArray script(const QByteArray& text);

    QTemporaryDir m_folder;
    LaunchContext m_context;
    std::unique_ptr<SpawnRunner> m_runner;
};

void TestSpawnRunner::init() {
    m_context = {};
    m_runner = std::make_unique<SpawnRunner>(m_context);
}

ProcessRunner::Exit TestSpawnRunner::run(const QByteArray& script, const QByteArrayList& arguments) {
    return finish("/bin/sh", QByteArrayList{"-c", script, "sh"} + arguments);
}

ProcessRunner::Exit TestSpawnRunner::finish(const QByteArray& program, const QByteArrayList& arguments) {
    std::optional<ProcessRunner::Exit> exit;
    const auto failure =
        m_runner->start(program, arguments, [&exit](const ProcessRunner::Exit& given) { exit = given; });
    if (failure || !QTest::qWaitFor([&exit] { return exit.has_value(); }, 30'000))
        return {.status = -1, .standardError = failure.value_or("no exit was reported").toUtf8()};
    return *exit;
}

void TestSpawnRunner::exit_data() {
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("standardError");
    QTest::newRow("success") << QByteArray("exit 0") << 0 << QByteArray();
    QTest::newRow("success with output, which is not read") << QByteArray("echo a >&2") << 0 << QByteArray();
    QTest::newRow("failure") << QByteArray("echo a >&2; exit 3") << 3 << QByteArray("a\n");
    QTest::newRow("silent failure") << QByteArray("exit 1") << 1 << QByteArray();
    QTest::newRow("signal") << QByteArray("kill -9 $$") << 9 << QByteArray("ended by signal 9");
    QTest::newRow("signal and reason") << QByteArray("echo why >&2; kill -9 $$") << 9 << QByteArray("why\n");
    QTest::newRow("bytes") << QByteArray("printf '\\377\\376' >&2; exit 1") << 1 << QByteArray("\xFF\xFE");
}

void TestSpawnRunner::exit() {
    QFETCH(QByteArray, script);
    const auto exit = run(script);
    QTEST(exit.status, "status");
    QTEST(exit.standardError, "standardError");
}

void TestSpawnRunner::start_missingProgram_givesTheReason() {
    const auto failure = m_runner->start("/no/such/program", {}, [](const auto&) { QFAIL("called"); });
    QCOMPARE(failure, std::optional(QString("No such file or directory")));
    QCOMPARE(run("exit 2").status, 2);
}

void TestSpawnRunner::start_programThatIsNoProgram_givesTheReason() {
    QTemporaryFile file;
    QVERIFY(file.open());
    QCOMPARE(m_runner->start(QFile::encodeName(file.fileName()), {}, {}), std::optional(QString("Permission denied")));
}

void TestSpawnRunner::start_passesArgumentsByteForByte() {
    const QByteArray odd = "https://x.test/a%7Eb?q=\"'$(x)`\\\xFF";
    const auto exit = run("printf '%s|%s' \"$1\" \"$2\" >&2; exit 1", {odd, ""});
    QCOMPARE(exit.standardError, odd + '|');
}

void TestSpawnRunner::start_givesALaunchContext_andHidesTheProgramsOwn() {
    for (const char* const own :
         {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID", "GIO_LAUNCHED_DESKTOP_FILE", "GIO_LAUNCHED_DESKTOP_FILE_PID",
          "DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE", "VANTOREL_ROUND"})
        qputenv(own, "own");
    qputenv("KEPT", "yes");
    const QByteArray script =
        "env | grep -E '^(XDG_ACT|DESKTOP_STARTUP|GIO_L|DBUS_STARTER|VANTOREL_R|KEPT)' | sort >&2; exit 1";
    QCOMPARE(run(script).standardError, QByteArray("KEPT=yes\n"));
    m_context = {.activationToken = "token", .startupID = "id", .round = "1 2 3"};
    QCOMPARE(run(script).standardError,
             QByteArray("DESKTOP_STARTUP_ID=id\nKEPT=yes\nVANTOREL_ROUND=1 2 3\nXDG_ACTIVATION_TOKEN=token\n"));
}

void TestSpawnRunner::start_leavesDefaultSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGTERM, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGINT);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const auto shown = run("grep -E '^Sig(Blk|Ign)' /proc/self/status >&2; exit 1").standardError;
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    signal(SIGTERM, SIG_DFL);
    // The C library itself ignores its two internal signals, 32 and 33, in every child it starts.
    QCOMPARE(shown, QByteArray("SigBlk:\t0000000000000000\nSigIgn:\t0000000180000000\n"));
}

void TestSpawnRunner::start_raisesItsOwnFileLimit_notTheChildrens() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 500;
    setrlimit(RLIMIT_NOFILE, &limit);
    init();
    getrlimit(RLIMIT_NOFILE, &limit);
    QCOMPARE(limit.rlim_cur, limit.rlim_max);
    QCOMPARE(run("sleep 0.1; ulimit -Sn >&2; exit 1").standardError, QByteArray("500\n"));
}

void TestSpawnRunner::start_leaksNoDescriptors() {
    QFile open("/dev/null");
    QVERIFY(open.open(QIODevice::ReadOnly));
    const QByteArray script = "set -- /proc/$$/fd/*; echo $# >&2; exit 1";
    QProcess plain;
    plain.start("/bin/sh", {"-c", "set -- /proc/$$/fd/*; echo $#"});
    QVERIFY(plain.waitForFinished());
    const int usual = plain.readAllStandardOutput().trimmed().toInt();
    QVERIFY(usual >= 3);
    // One end of a turn more; the second child also has an end of the first one's.
    QCOMPARE(run(script).standardError.trimmed().toInt(), usual + 1);
    QCOMPARE(run(script).standardError.trimmed().toInt(), usual + 2);

    const auto count = [] {
        return QDir("/proc/self/fd").entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
    };
    const auto before = count();
    for (int i = 0; i < 50; ++i)
        run("exit 0");
    QTRY_COMPARE(count(), before);
}

void TestSpawnRunner::exit_doesNotWaitForAGrandchildThatKeepsThePipe() {
    const auto exit = run("sleep 1000 & echo $! >&2; exit 1");
    QCOMPARE(exit.status, 1);
    const pid_t grandchild = exit.standardError.trimmed().toInt();
    QVERIFY(grandchild > 1);
    QCOMPARE(kill(grandchild, SIGKILL), 0);
}

// Each child waits for the other's end to hang up, as vantorel-open does; the later it starts, the shorter it sleeps.
void TestSpawnRunner::turns_chainTheChildrenInTheOrderOfTheirStart() {
    const QTemporaryDir folder;
    const QByteArray log = QFile::encodeName(folder.filePath("log"));
    constexpr int kChildren = 8;
    int ended = 0;
    for (int i = 0; i < kChildren; ++i) {
        const QByteArray script = "w=${VANTOREL_TURN%,*}; [ $w -lt 0 ] || cat <&$w; sleep 0.0"
            + QByteArray::number(kChildren - i) + "; echo " + QByteArray::number(i) + " >> " + log;
        QVERIFY(!m_runner->start("/bin/bash", {"-c", script}, [&ended](const ProcessRunner::Exit& exit) {
            QCOMPARE(exit.status, 0);
            ++ended;
        }));
    }
    QTRY_COMPARE_WITH_TIMEOUT(ended, kChildren, 30'000);
    QFile file(QFile::decodeName(log));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("0\n1\n2\n3\n4\n5\n6\n7\n"));
}

void TestSpawnRunner::manyChildrenAtOnce_allReport() {
    constexpr int kChildren = 700; // more than half of the usual limit on open files
    int ended = 0;
    int started = 0;
    for (; started < kChildren; ++started) {
        const auto failure = m_runner->start("/bin/sh", {"-c", "read line; exit 5"}, [&ended](const auto& exit) {
            QCOMPARE(exit.status, 5);
            ++ended;
        });
        QVERIFY2(!failure, qPrintable(failure.value_or(QString())));
    }
    QTRY_COMPARE_WITH_TIMEOUT(ended, kChildren, 60'000);
}

QByteArray TestSpawnRunner::script(const QByteArray& text) {
    const QString path = m_folder.filePath("script");
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write("#!/bin/sh\n" + text);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return QFile::encodeName(path);
}

// The scripts write down that they have been started, and what they are told: their arguments before those of a pipe.
void TestSpawnRunner::prepared_isToldTheRoundAndItsArguments() {
    const QByteArray program =
        script("echo \"$*\" \"$XDG_ACTIVATION_TOKEN\" \"$VANTOREL_ROUND\" >&2; tr '\\0' '|' >&2; exit 1");
    m_context = {.activationToken = "token", .startupID = {}};
    m_runner->prepare(program);
    m_context.round = "1 2 3";
    QCOMPARE(finish(program, {"-b", "id", "x:\xFF y"}).standardError, QByteArray("- token \n1 2 3|-b|id|x:\xFF y|"));
}

void TestSpawnRunner::prepared_isUsedOnce_andForItsOwnProgramAlone() {
    const QByteArray program = script("[ \"$1\" != - ] || cat >/dev/null; echo \"$1\" >&2; exit 1");
    m_runner->prepare(program);
    QCOMPARE(finish(program, {"first"}).standardError, QByteArray("-\n"));
    QCOMPARE(finish(program, {"second"}).standardError, QByteArray("second\n"));
    m_runner->prepare(program);
    QCOMPARE(run("echo other >&2; exit 1").standardError, QByteArray("other\n"));
    QCOMPARE(finish(program, {"third"}).standardError, QByteArray("third\n"));
}

// It has the tokens of the link that it was started for.
void TestSpawnRunner::prepared_isNotUsedForAnotherLinksTokens() {
    const QByteArray program = script("cat >/dev/null; echo $XDG_ACTIVATION_TOKEN $DESKTOP_STARTUP_ID >&2; exit 1");
    m_context = {.activationToken = "token", .startupID = "id"};
    for (const auto& next : {LaunchContext{.activationToken = "other", .startupID = "id"},
                             LaunchContext{.activationToken = "other", .startupID = "another"}}) {
        m_runner->prepare(program);
        m_context = next;
        QCOMPARE(finish(program, {}).standardError, next.activationToken + ' ' + next.startupID + '\n');
    }
}

void TestSpawnRunner::prepared_thatNobodyNeeds_endsWithoutAWord() {
    const QByteArray log = QFile::encodeName(m_folder.filePath("unneeded"));
    const QByteArray program = script("tr '\\0' '|' >" + log + "; echo end >>" + log + "; exit 1");
    const auto children = [] {
        QFile file(QStringLiteral("/proc/self/task/%1/children").arg(getpid()));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "unreadable";
    };
    const QByteArray others = children(); // those that earlier tests have left behind
    m_runner->prepare(program);
    QVERIFY(children() != others);
    QTRY_COMPARE_WITH_TIMEOUT(children(), others, 30'000);
    QFile file(QFile::decodeName(log));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("end\n"));
}

// More than that might have to wait for the child, and too long an argument must be an error of the start.
void TestSpawnRunner::prepared_getsNoMoreThanAPipeTakesAtOnce() {
    const QByteArray program = script("echo \"$1\" | wc -c >&2; exit 1");
    m_runner->prepare(program);
    QCOMPARE(finish(program, {QByteArray(5000, 'x')}).standardError.trimmed(), QByteArray("5001"));
    m_runner->prepare(program);
    QCOMPARE(m_runner->start(program, {QByteArray(1 << 18, 'x')}, {}),
             std::optional(QString("Argument list too long")));
}

void TestSpawnRunner::prepared_thatHasEnded_isStartedAnew() {
    signal(SIGPIPE, SIG_IGN);
    const QByteArray started = QFile::encodeName(m_folder.filePath("started"));
    const QByteArray program = script("[ \"$1\" != - ] || { exec 0<&-; touch " + started + "; exit 0; }; exit 5");
    m_runner->prepare(program);
    while (!QFile::exists(QFile::decodeName(started)))
        usleep(1000);
    QCOMPARE(finish(program, {"again"}).status, 5);
}

// The second waits until the first lets go of its end.
void TestSpawnRunner::prepared_keepsItsTurn() {
    const QByteArray log = QFile::encodeName(m_folder.filePath("turns"));
    const QByteArray program = script("cat >/dev/null; sleep 0.1; echo first >>" + log);
    m_runner->prepare(program);
    int ended = 0;
    const auto finished = [&ended](const ProcessRunner::Exit&) { ++ended; };
    QVERIFY(!m_runner->start(program, {}, finished));
    QVERIFY(!m_runner->start("/bin/bash", {"-c", "cat <&${VANTOREL_TURN%,*}; echo second >>" + log}, finished));
    QTRY_COMPARE_WITH_TIMEOUT(ended, 2, 30'000);
    QFile file(QFile::decodeName(log));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("first\nsecond\n"));
}

QTEST_GUILESS_MAIN(TestSpawnRunner)
#include "TestSpawnRunner.moc"
