// What a scan for applications costs by their number, beside a floor: reading the same files once, which any scan must
// at least pay for. Entries are like those of real applications: 2 KiB with translations, every tenth a browser.

#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "platform/freedesktop/ApplicationSnapshot.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vantorel;

namespace {

constexpr auto kOwn = "com.qorbex.Vantorel";

QByteArray entryText(int number) {
    QByteArray text = "[Desktop Entry]\nType=Application\nVersion=1.0\nExec=true %u\nTryExec=true\nTerminal=false\n"
                      "Icon=application\nCategories=Network;WebBrowser;\nStartupNotify=true\nName=Application "
        + QByteArray::number(number * 7919 % 10'007) + '\n';
    for (const char* const language : {"ar", "bg", "ca", "cs", "da", "de", "el", "es", "et",    "fi", "fr", "he", "hu",
                                       "it", "ja", "ko", "lt", "nb", "nl", "pl", "pt", "pt_BR", "ru", "sv", "tr"}) {
        text += QByteArray("Name[") + language + "]=Application in another language\nComment[" + language
            + "]=What it is good for\n";
    }
    return number % 10 == 0 ? text + "MimeType=x-scheme-handler/http;x-scheme-handler/https;\n" : text;
}

/// A system with so many applications, made once.
class Tree {
public:
    explicit Tree(int count) {
        const QString folder = m_root.filePath("applications");
        QDir().mkpath(folder);
        QByteArray handlers;
        for (int i = 0; i < count; ++i) {
            const QString name = QStringLiteral("org.example.App%1.desktop").arg(i);
            QFile file(folder + "/" + name);
            if (!file.open(QIODevice::WriteOnly))
                std::abort();
            file.write(entryText(i));
            m_files.append(QFile::encodeName(file.fileName()));
            if (i % 10 == 0) {
                handlers += name.toUtf8() + ";";
                m_browserFiles.append(m_files.constLast());
            }
        }
        QFile cache(folder + "/mimeinfo.cache");
        if (!cache.open(QIODevice::WriteOnly))
            std::abort();
        cache.write("[MIME Cache]\nx-scheme-handler/https=" + handlers + '\n');
    }

    QString path() const { return m_root.path(); }
    const QByteArrayList& files() const { return m_files; }
    const QByteArrayList& browserFiles() const { return m_browserFiles; }

private:
    QTemporaryDir m_root;
    QByteArrayList m_files;
    QByteArrayList m_browserFiles;
};

const Tree& treeOf(std::int64_t count) {
    static std::map<std::int64_t, std::unique_ptr<Tree>> trees;
    auto& tree = trees[count];
    if (!tree)
        tree = std::make_unique<Tree>(static_cast<int>(count));
    return *tree;
}

void read(benchmark::State& state, const QByteArrayList& files) {
    std::vector<char> buffer(1 << 20);
    for (auto _ : state) {
        for (const QByteArray& file : files) {
            const int fd = open(file.constData(), O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(fd, buffer.data(), buffer.size()));
            close(fd);
        }
    }
}

// GIO looks for its folders once per process: this one has one tree at a time, chosen before anything asks.
std::int64_t chosenCount() {
    return qEnvironmentVariableIntValue("VANTOREL_BENCH_ENTRIES");
}

void floorOfApps(benchmark::State& state) {
    read(state, treeOf(chosenCount()).files());
}

void scanApps(benchmark::State& state) {
    for (auto _ : state) {
        const auto snapshot = std::make_shared<ApplicationSnapshot>(ApplicationSnapshot::Content::shownInMenus);
        const auto apps = InstalledAppDetector::scan({snapshot, snapshot}, kOwn);
        if (apps.size() != chosenCount())
            state.SkipWithError("not all applications were found");
    }
}

void floorOfBrowsers(benchmark::State& state) {
    read(state, treeOf(chosenCount()).browserFiles());
}

void detectBrowsers(benchmark::State& state) {
    for (auto _ : state) {
        const auto snapshot = std::make_shared<ApplicationSnapshot>(ApplicationSnapshot::Content::everything);
        const auto browsers = BrowserDetector::detect({snapshot, snapshot}, knownBrowserIDs(), kOwn);
        if (browsers.size() != treeOf(chosenCount()).browserFiles().size())
            state.SkipWithError("not all browsers were found");
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const Tree& tree = treeOf(chosenCount());
    qputenv("XDG_DATA_HOME", QFile::encodeName(tree.path()));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(tree.path() + "/none"));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(tree.path() + "/config"));
    const std::string suffix = '/' + std::to_string(chosenCount());
    benchmark::RegisterBenchmark(("apps_floor" + suffix).c_str(), floorOfApps);
    benchmark::RegisterBenchmark(("apps_scan" + suffix).c_str(), scanApps);
    benchmark::RegisterBenchmark(("browsers_floor" + suffix).c_str(), floorOfBrowsers);
    benchmark::RegisterBenchmark(("browsers_scan" + suffix).c_str(), detectBrowsers);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
