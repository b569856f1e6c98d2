#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QRegularExpression>
#include <QStringList>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {

/// An X server of the test's own. Ends with this object, by its process id.
class PrivateDisplay {
public:
    PrivateDisplay() {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        m_server = spawn({"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", "1024x768x24", "-nolisten",
                          "tcp", "-noreset"});
        close(ends[1]);
        for (char digit = 0; read(ends[0], &digit, 1) == 1 && digit != '\n';)
            m_name += digit;
        close(ends[0]);
        if (m_name.isEmpty())
            throw std::runtime_error("Xvfb did not start");
        m_name.prepend(':');
    }
    ~PrivateDisplay() { end(); }
    PrivateDisplay(const PrivateDisplay&) = delete;
    PrivateDisplay& operator=(const PrivateDisplay&) = delete;

    const QByteArray& name() const { return m_name; }
    pid_t server() const { return m_server; }

    void end() {
        if (m_server > 0)
            endProcess(m_server);
        m_server = 0;
    }

    /// The process id of a program that says nothing.
    static pid_t spawn(const std::vector<std::string>& words) {
        std::vector<char*> arguments;
        for (const std::string& word : words)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        pid_t pid = 0;
        const int error = posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0)
            throw std::runtime_error("cannot start " + words.front());
        return pid;
    }

    static void endProcess(pid_t pid) {
        kill(pid, SIGCONT);
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }

private:
    QByteArray m_name;
    pid_t m_server = 0;
};

/// What a command says, on the display in the environment.
inline QByteArray outputOf(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}

inline void xdotool(const QStringList& words) {
    outputOf(QStringLiteral("xdotool"), words);
}

} // namespace vantorel
