#include "Sandbox.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <csignal>

#include <unistd.h>

namespace {

constexpr const char* kLink = "https://x.test/";
// A browser of this kind stays until the sandbox ends it.
constexpr const char* kStays = "exec /bin/sleep 600";

/// The value of a line such as "SigIgn:\t0000" in the text of /proc/PID/status.
QByteArray valueIn(const QByteArray& status, const QByteArray& key) {
    for (const auto& line : status.split('\n')) {
        if (line.startsWith(key + ':')) {
            return line.mid(key.size() + 1).trimmed();
        }
    }
    return {};
}

QByteArray statusValue(pid_t pid, const QByteArray& key) {
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    return file.open(QIODevice::ReadOnly) ? valueIn(file.readAll(), key) : QByteArray();
}

} // namespace

/// The program itself, with scripts for browsers.
class TestOpen : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void wrongArguments_data();
    void wrongArguments();
    void argumentsThatAreToldLater_data();
    void argumentsThatAreToldLater();
    void argumentsThatAreToldLater_ofAPerson_areWrong();
    void roundThatIsToldLater_counts();

    void link_arrivesByteExact_data();
    void link_arrivesByteExact();
    void link_thatLooksLikeAnOptionIsRefused();
    void fileLink_becomesAPath();
    void allFieldCodes_reachTheBrowser();

    void refusals_data();
    void refusals();
    void refusal_isOneLineWhateverTheId();
    void refusal_survivesAClosedErrorPipe();

    void failingAtOnce_data();
    void failingAtOnce();
    void failingLater_isNotSeen();
    void endingWell_isSuccess();
    void childSignalIgnored_failureIsSeenAllTheSame();

    void environment_isPassedOn();
    void environment_leavesOutWhatIsOurs();
    void environment_namesEntryAndProcess();
    void workingDirectory_isThatOfTheEntry();
    void workingDirectory_isInheritedWithoutOne();
    void terminal_runsTheProgram();

    void browser_outlivesUs();
    void browser_hasASessionOfItsOwn();
    void browser_holdsNoneOfOurDescriptors();
    void browser_hasDefaultSignalHandling();
    void closedStandardDescriptors_doNoHarm();
};

void TestOpen::wrongArguments_data() {
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::newRow("none") << QByteArrayList();
    QTest::newRow("no link") << QByteArrayList{"-b", "web"};
    QTest::newRow("too many") << QByteArrayList{"-b", "web", kLink, kLink};
    QTest::newRow("other option") << QByteArrayList{"-c", "web", kLink};
    QTest::newRow("other order") << QByteArrayList{kLink, "-b", "web"};
}

void TestOpen::wrongArguments() {
    QFETCH(QByteArrayList, arguments);
    const Sandbox box;
    box.addApplication("web");
    const auto outcome = Command(QByteArrayList{VANTOREL_OPEN} + arguments, box.environment).finish();
    QCOMPARE(outcome.status, 2);
    QCOMPARE(outcome.errors, "usage: vantorel-open -b ID LINK\n");
    QCOMPARE(outcome.output, "");
    QVERIFY(!box.exists("seen/web.pid"));
}

// As the program starts it: in a row of others, here of one.
static Outcome tell(const Sandbox& box) {
    const QByteArray row = box.path("row");
    return Command({"/bin/sh", "-c",
                    "mkfifo " + row + " && VANTOREL_TURN=-1,7 exec " VANTOREL_OPEN " - <" + box.path("told") + " 7<>"
                        + row},
                   box.environment)
        .finish();
}

void TestOpen::argumentsThatAreToldLater_ofAPerson_areWrong() {
    const Sandbox box;
    box.addApplication("web");
    box.write("told", QByteArray("\0-b\0web\0x:y\0", 12));
    const auto outcome = Command({"/bin/sh", "-c", VANTOREL_OPEN " - <" + box.path("told")}, box.environment).finish();
    QCOMPARE(outcome.status, 2);
    QCOMPARE(outcome.errors, QByteArray("usage: vantorel-open -b ID LINK\n"));
    QVERIFY(!box.exists("seen/web.pid"));
}

void TestOpen::argumentsThatAreToldLater_data() {
    QTest::addColumn<QByteArrayList>("told"); // each is ended by a 0, but the last
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<bool>("isOpened");
    const QByteArray usage = "usage: vantorel-open -b ID LINK\n";
    QTest::newRow("link") << QByteArrayList{"", "-b", "web", kLink, ""} << 0 << QByteArray() << true;
    QTest::newRow("nothing") << QByteArrayList() << 0 << QByteArray() << false;
    QTest::newRow("no link") << QByteArrayList{"", "-b", "web", ""} << 2 << usage << false;
    QTest::newRow("cut off") << QByteArrayList{"", "-b", "web", kLink} << 2 << usage << false;
    QTest::newRow("the same again") << QByteArrayList{"", "-", ""} << 2 << usage << false;
}

void TestOpen::argumentsThatAreToldLater() {
    QFETCH(QByteArrayList, told);
    const Sandbox box;
    box.addApplication("web");
    box.write("told", told.join('\0'));
    const auto outcome = tell(box);
    QTEST(outcome.status, "status");
    QTEST(outcome.errors, "errors");
    QFETCH(bool, isOpened);
    if (isOpened) // a browser that has to wait for a processor is seen to sleep before it has written anything
        QTRY_VERIFY(box.exists("seen/web.pid"));
    QCOMPARE(box.exists("seen/web.pid"), isOpened);
    if (box.exists("seen/web.pid")) {
        QCOMPARE(box.argumentsOf("web"), QByteArrayList{kLink});
    }
}

void TestOpen::roundThatIsToldLater_counts() {
    const auto roundAfter = [](const QByteArray& before) {
        const Sandbox box;
        box.addApplication("web");
        box.write("told", before + QByteArray("\0-b\0web\0x:y\0", 12));
        tell(box);
        for (const QByteArray& variable : box.environmentOf("web")) {
            if (variable.startsWith("VANTOREL_ROUND=")) {
                return variable.mid(15);
            }
        }
        return QByteArray();
    };
    const QByteArray first = roundAfter("");
    QVERIFY2(first.startsWith("1 "), first.constData());
    const QByteArray second = roundAfter(first);
    QVERIFY2(second.startsWith("2 "), second.constData());
}

void TestOpen::link_arrivesByteExact_data() {
    QTest::addColumn<QByteArray>("link");
    QTest::newRow("escapes") << QByteArray("https://x.test/a%7Eb%2Fc?q=%41&p=|");
    QTest::newRow("field codes") << QByteArray("https://x.test/%u%U%f%F%i%c%k%%%x");
    QTest::newRow("blanks") << QByteArray(" https://x.test/a b\tc\nd ");
    QTest::newRow("quotes") << QByteArray("https://x.test/'a'\"b\"`touch x`\\\"\\\\");
    QTest::newRow("brackets") << QByteArray("https://[::1]/(a)[b]{c}<d>");
    QTest::newRow("substitution") << QByteArray("https://x.test/$(touch x)${HOME}$PATH;touch x&touch x|~*?#!");
    QTest::newRow("not UTF-8") << QByteArray("https://x.test/\xff\xfe\xc3\x28\x80");
    QTest::newRow("UTF-8") << QByteArray("https://x.test/\xc3\xa4\xe2\x82\xac");
    QTest::newRow("no URI") << QByteArray("just text");
    QTest::newRow("100 KiB") << QByteArray("https://x.test/") + QByteArray(102400, 'a');
}

void TestOpen::link_arrivesByteExact() {
    QFETCH(QByteArray, link);
    const Sandbox box;
    box.addBrowser("web");
    box.addEntry("web", "Exec=web --url=%u last");
    box.addBrowser("list");
    box.addEntry("list", "Exec=list first %F");
    for (const char* id : {"web", "list"}) {
        const auto outcome = box.open(id, link);
        QCOMPARE(outcome.errors, "");
        QCOMPARE(outcome.status, 0);
        QCOMPARE(outcome.output, "");
    }
    QCOMPARE(box.argumentsOf("web"), (QByteArrayList{"--url=" + link, "last"}));
    QCOMPARE(box.argumentsOf("list"), (QByteArrayList{"first", link}));
    QVERIFY(!QFile::exists(QStringLiteral("x")));
}

void TestOpen::link_thatLooksLikeAnOptionIsRefused() {
    const Sandbox box;
    box.addApplication("web");
    for (const QByteArray link : {"--profile=/tmp", "-", ""}) {
        const auto outcome = box.open("web", link);
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.errors, '"' + link + "\" is no link\n");
    }
    QVERIFY(!box.exists("seen/web.pid"));
}

void TestOpen::fileLink_becomesAPath() {
    const Sandbox box;
    box.addBrowser("viewer");
    box.addEntry("viewer", "Exec=viewer %f");
    QCOMPARE(box.open("viewer", "file:///a%20b/%c3%a4.html").status, 0);
    QCOMPARE(box.argumentsOf("viewer"), QByteArrayList{"/a b/\xc3\xa4.html"});
}

void TestOpen::allFieldCodes_reachTheBrowser() {
    const Sandbox box;
    box.addBrowser("web");
    box.addEntry("web", "Icon=globe\nExec=web %i -n %c %k 100%% %d\"a \\\\\"b\\\\\" \\\\$c\" %u");
    QCOMPARE(box.open("web", kLink).status, 0);
    QCOMPARE(box.argumentsOf("web"),
             (QByteArrayList{"--icon", "globe", "-n", "The web", box.path("data/applications/web.desktop"), "100%",
                             "a \"b\" $c", kLink}));
}

void TestOpen::refusals_data() {
    QTest::addColumn<QByteArray>("keys"); // of the entry "web"; none installed when empty
    QTest::addColumn<QByteArray>("reason"); // %1 is the path of the entry, %2 that of the folder of programs
    const auto row = [](const char* name, const QByteArray& keys, const QByteArray& reason) {
        QTest::newRow(name) << keys << reason;
    };
    row("unknown id", "", "no application has the id \"web\"");
    row("hidden", "Exec=good %u\nHidden=true", "%1 is hidden");
    row("absent program", "Exec=absent %u", "program \"absent\" not found (Exec of %1)");
    row("program without permission", "Exec=plain %u", "program \"plain\" is not executable (Exec of %1)");
    row("absent TryExec", "Exec=good %u\nTryExec=absent", "program \"absent\" not found (TryExec of %1)");
    row("no exec", "Comment=x", "%1 names no program to execute");
    row("open quote", "Exec=good \"%u", "the quoting in Exec of %1 is broken");
    row("takes no link", "Exec=good", "\"The web\" takes no link");
    row("unknown code", "Exec=good %z %u", "Exec of %1 has a field code that does not exist");
    row("command text", "Exec=sh -c \"good %u\"", "Exec of %1 makes the link part of a command text");
    row("no folder", "Exec=good %u\nPath=/absent",
        "\"The web\" cannot be started: its working directory /absent: No such file or directory");
    row("no program format", "Exec=noformat %u", "\"The web\" cannot be started: %2/noformat: Exec format error");
    row("no interpreter", "Exec=nointerpreter %u",
        "\"The web\" cannot be started: %2/nointerpreter: No such file or directory (its interpreter may be missing)");
    row("no terminal", "Exec=good %u\nTerminal=true", "\"The web\" needs a terminal emulator, and none is installed");
}

void TestOpen::refusals() {
    QFETCH(QByteArray, keys);
    QFETCH(QByteArray, reason);
    Sandbox box;
    box.addBrowser("good");
    box.write("bin/plain", "text");
    box.write("bin/noformat", "\x01\x02", true);
    box.write("bin/nointerpreter", "#!/absent/interpreter\n", true);
    box.write("bin/sh", "#!/bin/sh\n", true);
    // Terminal emulators of this computer do not count.
    box.environment["PATH"] = box.path("bin");
    if (!keys.isEmpty()) {
        box.addEntry("web", keys);
    }
    const auto outcome = box.open("web", kLink);
    const auto expected =
        reason.replace("%1", box.path("data/applications/web.desktop")).replace("%2", box.path("bin"));
    QCOMPARE(outcome.errors, expected + '\n');
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output, "");
    QVERIFY(!box.exists("seen/good.pid"));
}

void TestOpen::refusal_isOneLineWhateverTheId() {
    const Sandbox box;
    const auto outcome = box.open("a\nb\x1b[1m", kLink);
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.errors, "no application has the id \"a?b?[1m\"\n");
}

void TestOpen::refusal_survivesAClosedErrorPipe() {
    const Sandbox box;
    // Starts the program once nobody reads the pipe any more, and with the signal for that in its default state.
    const QByteArray script = "{ trap '' PIPE; while echo; do :; done; trap - PIPE; "
                              "\"$0\" -b absent x:y; echo $? >\"$1\"; } 2>&1 | :; wait";
    Command({"/bin/sh", "-c", script, VANTOREL_OPEN, box.path("status")}, box.environment).finish();
    QCOMPARE(box.read("status"), "1\n");
}

void TestOpen::failingAtOnce_data() {
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("how");
    QTest::newRow("exit status") << QByteArray("#!/bin/sh\necho oops >&2\nexit 3\n")
                                 << QByteArray("ended at once with exit status 3");
    QTest::newRow("false") << QByteArray("#!/bin/false\n") << QByteArray("ended at once with exit status 1");
    QTest::newRow("signal") << QByteArray("#!/bin/sh\nkill -TERM $$\n")
                            << QByteArray("was ended at once by signal 15 (Terminated)");
    QTest::newRow("after a pipeline") << QByteArray("#!/bin/sh\nfalse | true; exit 4\n")
                                      << QByteArray("ended at once with exit status 4");
    QTest::newRow("after a command") << QByteArray("#!/bin/sh\n/bin/true; exit 5\n")
                                     << QByteArray("ended at once with exit status 5");
}

void TestOpen::failingAtOnce() {
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, how);
    const Sandbox box;
    box.write("bin/web", script, true);
    box.addEntry("web", "Exec=web %u");
    const auto outcome = box.open("web", kLink);
    QCOMPARE(outcome.errors, "\"The web\" " + how + '\n');
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output, "");
}

void TestOpen::failingLater_isNotSeen() {
    const Sandbox box;
    box.addApplication("web", "/bin/sleep 2; exit 3");
    const auto outcome = box.open("web", kLink);
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
}

void TestOpen::endingWell_isSuccess() {
    const Sandbox box;
    box.write("bin/web", "#!/bin/true\n", true);
    box.addEntry("web", "Exec=web %u");
    const auto outcome = box.open("web", kLink);
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
}

void TestOpen::childSignalIgnored_failureIsSeenAllTheSame() {
    const Sandbox box;
    box.write("bin/web", "#!/bin/false\n", true);
    box.addEntry("web", "Exec=web %u");
    const auto outcome =
        Command({"/usr/bin/env", "--ignore-signal=CHLD", VANTOREL_OPEN, "-b", "web", kLink}, box.environment).finish();
    QCOMPARE(outcome.errors, "\"The web\" ended at once with exit status 1\n");
    QCOMPARE(outcome.status, 1);
}

void TestOpen::environment_isPassedOn() {
    Sandbox box;
    box.addApplication("web");
    const QMap<QByteArray, QByteArray> passed = {
        {"XDG_ACTIVATION_TOKEN", "token 1"}, {"DESKTOP_STARTUP_ID", "startup-2"}, {"ODD", "a=b\xff\nc"}};
    box.environment.insert(passed);
    QCOMPARE(box.open("web", kLink).status, 0);
    const auto seen = box.environmentOf("web");
    for (auto it = passed.begin(); it != passed.end(); ++it) {
        QVERIFY2(seen.contains(it.key() + '=' + it.value()), it.key().constData());
    }
    QVERIFY(seen.contains("HOME=" + box.path("home")));
}

void TestOpen::environment_leavesOutWhatIsOurs() {
    Sandbox box;
    box.addApplication("web");
    for (const char* variable : {"DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE", "VANTOREL_TURN"}) {
        box.environment[variable] = "x";
    }
    QCOMPARE(box.open("web", kLink).status, 0);
    for (const auto& variable : box.environmentOf("web")) {
        QVERIFY2(!variable.startsWith("DBUS_STARTER_"), variable.constData());
        QVERIFY2(!variable.startsWith("VANTOREL_") || variable.startsWith("VANTOREL_ROUND="), variable.constData());
    }
}

void TestOpen::environment_namesEntryAndProcess() {
    Sandbox box;
    box.addApplication("web");
    box.environment["GIO_LAUNCHED_DESKTOP_FILE"] = "/old.desktop";
    box.environment["GIO_LAUNCHED_DESKTOP_FILE_PID"] = "1";
    QCOMPARE(box.open("web", kLink).status, 0);
    auto seen = box.environmentOf("web");
    seen.removeIf([](const QByteArray& variable) { return !variable.startsWith("GIO_LAUNCHED"); });
    std::sort(seen.begin(), seen.end());
    QCOMPARE(seen,
             (QByteArrayList{"GIO_LAUNCHED_DESKTOP_FILE=" + box.path("data/applications/web.desktop"),
                             "GIO_LAUNCHED_DESKTOP_FILE_PID=" + QByteArray::number(box.pidOf("web"))}));
}

void TestOpen::workingDirectory_isThatOfTheEntry() {
    const Sandbox box;
    box.addBrowser("web");
    box.addEntry("web", "Exec=web %u\nPath=" + box.path("home"));
    QCOMPARE(box.open("web", kLink).status, 0);
    QCOMPARE(box.folderOf("web"), box.path("home"));
}

void TestOpen::workingDirectory_isInheritedWithoutOne() {
    const Sandbox box;
    box.addApplication("web");
    QCOMPARE(box.open("web", kLink).status, 0);
    QCOMPARE(box.folderOf("web"), QDir::currentPath().toUtf8());
}

void TestOpen::terminal_runsTheProgram() {
    Sandbox box;
    box.environment["PATH"] = box.path("bin");
    box.addBrowser("konsole");
    box.write("bin/web", "#!/bin/sh\n", true);
    box.addEntry("web", "Exec=web -x %u\nTerminal=true");
    const auto outcome = box.open("web", kLink);
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(box.argumentsOf("konsole"), (QByteArrayList{"-e", box.path("bin/web"), "-x", kLink}));
}

void TestOpen::browser_outlivesUs() {
    const Sandbox box;
    box.addApplication("web", kStays);
    auto command = box.start("web", kLink);
    // finish() has seen the end of the output pipes: the browser does not hold them.
    const auto outcome = command.finish();
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
    const auto browser = box.pidOf("web");
    QVERIFY(browser > 0);
    // What a session does when it ends.
    kill(-command.pid(), SIGHUP);
    kill(-command.pid(), SIGTERM);
    QTest::qWait(50);
    QCOMPARE(kill(browser, 0), 0);
    QVERIFY(!statusValue(browser, "State").startsWith('Z'));
    QVERIFY(statusValue(browser, "PPid").toInt() != command.pid());
}

void TestOpen::browser_hasASessionOfItsOwn() {
    const Sandbox box;
    box.addApplication("web", kStays);
    QCOMPARE(box.open("web", kLink).status, 0);
    const auto browser = box.pidOf("web");
    QCOMPARE(getsid(browser), browser);
    QCOMPARE(getpgid(browser), browser);
}

void TestOpen::browser_holdsNoneOfOurDescriptors() {
    const Sandbox box;
    box.addApplication("web", kStays);
    const Pipe ours;
    auto command = box.start("web", kLink, {ours.readEnd(), ours.writeEnd()});
    QCOMPARE(command.finish().status, 0);
    const auto browser = box.pidOf("web");
    QVERIFY(browser > 0);
    const QDir folder(QStringLiteral("/proc/%1/fd").arg(browser));
    QTRY_COMPARE(folder.entryList(QDir::Files | QDir::System, QDir::Name), (QStringList{"0", "1", "2"}));
    for (const auto& name : {"0", "1", "2"}) {
        QCOMPARE(QFile::symLinkTarget(folder.filePath(QString::fromLatin1(name))), QStringLiteral("/dev/null"));
    }
}

void TestOpen::browser_hasDefaultSignalHandling() {
    const Sandbox box;
    // A shell would reset its mask itself, so this browser is a program that copies its own status.
    box.addEntry("web", "Exec=cp --target-directory=" + box.path("seen") + " /proc/self/status %f");
    const QByteArrayList surrounding = {"/usr/bin/env", "--ignore-signal=HUP,INT,PIPE,CHLD",
                                        "--block-signal=TERM,USR1,CHLD"};
    const QByteArrayList command = {VANTOREL_OPEN, "-b", "web", "file://" + box.path("data/applications/web.desktop")};
    const auto outcome = Command(surrounding + command, box.environment).finish();
    QCOMPARE(outcome.errors, "");
    QCOMPARE(outcome.status, 0);
    QVERIFY(box.waitFor("seen/web.desktop"));
    const auto status = box.read("seen/status");
    // The C library keeps 32 and 33 to itself and lets nobody reset them.
    QCOMPARE(valueIn(status, "SigIgn").toULongLong(nullptr, 16) & ~0x180000000ULL, 0ULL);
    QCOMPARE(valueIn(status, "SigBlk"), "0000000000000000");
}

void TestOpen::closedStandardDescriptors_doNoHarm() {
    const Sandbox box;
    box.addApplication("web", kStays);
    const auto outcome =
        Command({"/bin/sh", "-c", "exec \"$0\" -b web \"$1\" <&- >&- 2>&-", VANTOREL_OPEN, kLink}, box.environment)
            .finish();
    QCOMPARE(outcome.status, 0);
    QCOMPARE(box.argumentsOf("web"), QByteArrayList{kLink});
}

QTEST_GUILESS_MAIN(TestOpen)
#include "TestOpen.moc"
