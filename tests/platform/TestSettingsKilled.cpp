#include "platform/freedesktop/IniUserDefaults.h"
#include "routing/RulesStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstring>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr int kKills = 200;
constexpr int kRules = 40;

QStringList filesIn(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

QList<Rule> rulesOf(int generation) {
    QList<Rule> rules;
    for (int i = 0; i < kRules + generation % 7; ++i) {
        Rule rule;
        rule.name = QString::number(generation);
        rule.pattern = QString(100, QChar('a' + generation % 26));
        rules.append(rule);
    }
    return rules;
}

// Edits and saves until it is killed, and tells each generation that has been saved.
[[noreturn]] void edit(const QString& file, int generation) {
    IniUserDefaults defaults(file);
    RulesStore store(defaults);
    while (true) {
        store.setRules(rulesOf(++generation));
        store.setFallbackBrowserID(QString::number(generation));
        store.performSave();
        if (write(STDOUT_FILENO, &generation, sizeof generation) != sizeof generation)
            _exit(1);
    }
}

/// A process that edits.
class Editor {
public:
    Editor(const QString& file, int generation) {
        int ends[2];
        if (pipe(ends) != 0)
            qFatal("no pipe");
        const QByteArray program = QFile::encodeName(QCoreApplication::applicationFilePath());
        const QByteArray path = QFile::encodeName(file);
        const QByteArray number = QByteArray::number(generation);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl(program.constData(), program.constData(), "edit", path.constData(), number.constData(), nullptr);
            _exit(1);
        }
        close(ends[1]);
        m_reports = ends[0];
    }

    ~Editor() { close(m_reports); }

    /// The next generation that has been saved; absent at the end.
    std::optional<int> next() const {
        int generation = 0;
        return read(m_reports, &generation, sizeof generation) == sizeof generation ? std::optional(generation)
                                                                                    : std::nullopt;
    }

    void kill() const {
        ::kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }

private:
    pid_t m_pid = -1;
    int m_reports = -1;
};

} // namespace

/// A program that is killed while it saves.
class TestSettingsKilled : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void settings_areTheOldOrTheNewOnes();
};

void TestSettingsKilled::settings_areTheOldOrTheNewOnes() {
    const QByteArray given = qgetenv("VANTOREL_SEED");
    const quint32 seed = given.isEmpty() ? QRandomGenerator::global()->generate() : given.toUInt();
    qInfo("seed %u (VANTOREL_SEED repeats it)", seed);
    QRandomGenerator random(seed);
    const QTemporaryDir folder;
    const QString file = folder.filePath("settings.ini");
    int saved = 0;
    int cutShort = 0;
    for (int i = 0; i < kKills; ++i) {
        const Editor editor(file, saved);
        // Some saves on, and then anywhere within the next ones.
        const auto first = editor.next();
        QVERIFY(first);
        QCOMPARE(*first, saved + 1);
        saved = *first;
        usleep(random.bounded(8000));
        editor.kill();
        while (const auto more = editor.next())
            saved = *more;

        const QStringList files = filesIn(folder.path());
        for (const QString& name : files)
            QVERIFY2(name == "settings.ini" || name == "settings.ini.new", qPrintable(name));
        cutShort += files.size() > 1 ? 1 : 0;
        IniUserDefaults defaults(file);
        const RulesStore store(defaults);
        QVERIFY2(!store.rules().isEmpty(), qPrintable(QString::number(i)));
        const int found = store.rules().first().name.toInt();
        QVERIFY2(found == saved || found == saved + 1, qPrintable(QString::number(found - saved)));
        QCOMPARE(store.fallbackBrowserID(), QString::number(found));
        const auto expected = rulesOf(found);
        QCOMPARE(store.rules().size(), expected.size());
        for (const Rule& rule : store.rules()) {
            QCOMPARE(rule.name, expected.first().name);
            QCOMPARE(rule.pattern, expected.first().pattern);
        }
        saved = found;
    }
    qInfo("%d of %d kills hit a save", cutShort, kKills);
    QVERIFY(cutShort > 0);

    IniUserDefaults defaults(file);
    defaults.write();
    QCOMPARE(filesIn(folder.path()), QStringList("settings.ini"));
}

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc == 4 && std::strcmp(argv[1], "edit") == 0)
        edit(QFile::decodeName(argv[2]), QByteArray(argv[3]).toInt());
    TestSettingsKilled test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestSettingsKilled.moc"
