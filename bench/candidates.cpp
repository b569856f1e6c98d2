// What it costs to name the application of a link's sender: six real processes, the last of which sends and the first
// of which is one of 500 installed applications, so that all six are looked at. Beside a floor: reading the same files
// of /proc once. The index of what is installed is ready, as it is when a link comes; its own cost stands apart.

#include "platform/freedesktop/InstalledIndex.h"
#include "platform/freedesktop/ProcessApplications.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr int kProcesses = 6;
constexpr int kEntries = 500;
constexpr auto kSender = "org.example.App250";

void require(bool condition) {
    if (!condition)
        std::abort();
}

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

/// A system with 500 applications, each with a program of its own.
class System {
public:
    System() {
        require(QDir(m_root.path()).mkpath("applications") && QDir(m_root.path()).mkpath("bin"));
        for (int i = 0; i < kEntries; ++i) {
            const QString id = QStringLiteral("org.example.App%1").arg(i);
            const bool sends = id == kSender;
            if (sends)
                require(QFile::copy("/bin/dash", program(id)));
            else
                write(program(id), "#!/bin/sh\n");
            require(QFile::setPermissions(program(id), QFile::ReadOwner | QFile::ExeOwner));
            write(m_root.filePath("applications/" + id + ".desktop"),
                  "[Desktop Entry]\nType=Application\nName=x\nExec=" + program(id).toUtf8() + " %u\n");
        }
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_root.path()));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(m_root.filePath("none")));
    }

    QString program(const QString& id) const { return m_root.filePath("bin/" + id); }
    QString path() const { return m_root.path(); }

private:
    QTemporaryDir m_root;
};

/// The application, whose shell has started a shell, and so on; the last one waits until we end.
class Chain {
public:
    explicit Chain(const System& system) {
        const QString script = system.path() + "/chain";
        write(script, "if [ $1 -gt 1 ]; then sh $0 $(($1 - 1)); exit; fi\necho $$\nread -r end\n");
        m_process.start(system.program(kSender), {script, QString::number(kProcesses)});
        require(m_process.waitForStarted() && m_process.waitForReadyRead());
        m_ids.push_back(m_process.readLine().toInt());
        while (m_ids.back() != m_process.processId()) {
            QFile stat(QStringLiteral("/proc/%1/stat").arg(m_ids.back()));
            require(stat.open(QIODevice::ReadOnly));
            const QByteArray text = stat.readAll();
            m_ids.push_back(text.mid(text.lastIndexOf(')') + 2).split(' ').value(1).toInt());
        }
        require(m_ids.size() == kProcesses);
    }
    ~Chain() {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;

    const std::vector<int>& ids() const { return m_ids; }

private:
    QProcess m_process;
    std::vector<int> m_ids; // from the sender up
};

struct Floor {
    explicit Floor(const Chain& chain);
    void read();

    QByteArrayList files, programs;
    std::vector<char> buffer = std::vector<char>(1 << 16);
};

Floor::Floor(const Chain& chain) {
    for (const int id : chain.ids()) {
        const QByteArray folder = "/proc/" + QByteArray::number(id);
        for (const char* const name : {"/stat", "/cgroup", "/root/.flatpak-info", "/environ", "/cmdline"})
            files.append(folder + name);
        programs.append(folder + "/exe");
    }
}

void Floor::read() {
    for (const QByteArray& file : files) {
        const int fd = open(file.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        benchmark::DoNotOptimize(::read(fd, buffer.data(), buffer.size()));
        close(fd);
    }
    for (const QByteArray& program : programs)
        benchmark::DoNotOptimize(readlink(program.constData(), buffer.data(), buffer.size()));
}

// Turn by turn with the floor, so that both see the same load of the machine.
void nameSender(benchmark::State& state, const Chain& chain) {
    Floor floor(chain);
    double floorSeconds = 0;
    using Clock = std::chrono::steady_clock;
    const auto since = [](Clock::time_point start) {
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    CurrentIndex index;
    ProcessApplications applications([&index] { return index.get(); }, QStringLiteral("com.qorbex.Vantorel"));
    for (auto _ : state) {
        auto start = Clock::now();
        floor.read();
        floorSeconds += since(start);
        start = Clock::now();
        const auto found = applications.applicationOf(chain.ids().front());
        state.SetIterationTime(since(start));
        if (!found || found->id != kSender)
            state.SkipWithError("the sender was not found");
    }
    state.counters["floor"] = benchmark::Counter(floorSeconds, benchmark::Counter::kAvgIterations);
}

void readIndex(benchmark::State& state) {
    for (auto _ : state) {
        const auto index = InstalledIndex::read();
        if (!index->contains(kSender))
            state.SkipWithError("the sender is not installed");
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const System system;
    const Chain chain(system);
    benchmark::RegisterBenchmark("sender", nameSender, std::cref(chain))
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("index", readIndex)->UseRealTime()->Unit(benchmark::kMicrosecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
