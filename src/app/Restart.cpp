#include "app/Restart.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {

namespace {

constexpr const char* kAnew = "VANTOREL_ANEW";
constexpr const char* kWithoutDisplay = "VANTOREL_WITHOUT_DISPLAY";
constexpr const char* kShowsSettings = "VANTOREL_SHOWS_SETTINGS";
constexpr const char* kLastActive = "VANTOREL_LAST_ACTIVE";
constexpr const char* kActivationToken = "XDG_ACTIVATION_TOKEN";
constexpr const char* kStartupID = "DESKTOP_STARTUP_ID";

// As it was at the start: it is raised for our own pipes, and the next program hands it to the browsers.
rlimit g_fileLimit;

QByteArray take(const char* variable) {
    QByteArray value = qgetenv(variable);
    qunsetenv(variable);
    return value;
}

void leave(const char* variable, const QByteArray& value) {
    if (value.isEmpty())
        qunsetenv(variable);
    else
        qputenv(variable, value);
}

std::vector<pid_t> children() {
    std::vector<pid_t> found;
    QFile file(QStringLiteral("/proc/self/task/%1/children").arg(getpid()));
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArrayList numbers = file.readAll().simplified().split(' ');
        for (const QByteArray& number : numbers) {
            if (const pid_t pid = number.toInt(); pid > 0)
                found.push_back(pid);
        }
    }
    return found;
}

// They end soon, and nobody else would take notice.
void burySoon(std::vector<pid_t> pids) {
    if (pids.empty())
        return;
    try {
        std::thread([pids = std::move(pids)] {
            for (const pid_t pid : pids)
                waitpid(pid, nullptr, 0);
        }).detach();
    } catch (const std::system_error&) { } // no thread to be had: they stay zombies until the program ends
}

} // namespace

Restart::Legacy Restart::inherit() {
    getrlimit(RLIMIT_NOFILE, &g_fileLimit);
    Legacy legacy;
    legacy.isAnew = !take(kAnew).isEmpty();
    legacy.withoutDisplay = !take(kWithoutDisplay).isEmpty();
    legacy.showsSettings = !take(kShowsSettings).isEmpty();
    if (const QByteArray id = take(kLastActive); !id.isEmpty())
        legacy.lastActiveBundleID = QString::fromUtf8(id);
    if (legacy.showsSettings)
        legacy.context = {.activationToken = take(kActivationToken), .startupID = take(kStartupID)};
    if (legacy.isAnew)
        burySoon(children());
    return legacy;
}

void Restart::execute(const Legacy& legacy) {
    leave(kAnew, "1");
    leave(kWithoutDisplay, legacy.withoutDisplay ? "1" : "");
    leave(kShowsSettings, legacy.showsSettings ? "1" : "");
    leave(kLastActive, legacy.lastActiveBundleID.value_or(QString()).toUtf8());
    leave(kActivationToken, legacy.context.activationToken);
    leave(kStartupID, legacy.context.startupID);
    setrlimit(RLIMIT_NOFILE, &g_fileLimit);
    // Where it has been replaced meanwhile, the new one; where it has been removed, this one.
    QByteArray program = QFile::encodeName(QCoreApplication::applicationFilePath());
    char* const arguments[] = {program.data(), nullptr};
    execv(program.constData(), arguments);
    execv("/proc/self/exe", arguments);
    std::perror("vantorel: cannot start anew");
    std::_Exit(EXIT_FAILURE);
}

} // namespace vantorel
