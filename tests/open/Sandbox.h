#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QMap>
#include <QTemporaryDir>

#include <vector>

#include <sys/types.h>

// How many are started at once where the order is looked at. A process waits for its turn no longer than a second, and
// a sanitizer makes each of them a good deal slower.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kManyAtOnce = 10;
#else
constexpr int kManyAtOnce = 50;
#endif

/// How a command ended and what it said.
struct Outcome {
    int status = -1; ///< exit status; the negative signal when one ended it
    QByteArray output;
    QByteArray errors;
};

/// A command that has been started. It is ended, by its id, when it still runs at the end of this object.
class Command {
public:
    /// `inherited` are the descriptors it gets besides the standard ones, under the same numbers.
    Command(const QByteArrayList& arguments, const QMap<QByteArray, QByteArray>& environment,
            const std::vector<int>& inherited = {});
    ~Command();
    Command(Command&& other) noexcept;
    Command& operator=(Command&&) = delete;

    pid_t pid() const { return m_pid; }
    bool isRunning();
    /// Waits for its first output, which stays to be read; false when that takes too long.
    bool waitForOutput() const;
    /// Reads until nobody holds the other ends of its output and error pipes any more, then waits for it. When that
    /// takes too long, the status says that a signal ended it.
    Outcome finish();

private:
    void reap(int options);

    pid_t m_pid = -1;
    int m_output = -1;
    int m_errors = -1;
    int m_status = 0;
    bool m_reaped = false;
};

/// A pipe whose ends are closed on execution and with this object.
class Pipe {
public:
    Pipe();
    ~Pipe();
    Pipe(Pipe&& other) noexcept;
    Pipe& operator=(Pipe&&) = delete;

    int readEnd() const { return m_ends[0]; }
    int writeEnd() const { return m_ends[1]; }
    void closeReadEnd() { close(0); }
    void closeWriteEnd() { close(1); }
    /// True once nobody holds the write end any more; waits for that as long as `milliseconds`.
    bool hungUp(int milliseconds) const;

private:
    void close(int end);

    int m_ends[2] = {-1, -1};
};

/// Private folders for one test, with applications that write down how they were started.
class Sandbox {
public:
    Sandbox();
    ~Sandbox(); ///< also ends the browsers that still run, by the ids they wrote down

    QByteArray path(const QByteArray& name) const { return m_root.path().toUtf8() + '/' + name; }
    void write(const QByteArray& name, const QByteArray& content, bool executable = false) const;
    QByteArray read(const QByteArray& name) const;
    bool exists(const QByteArray& name) const;
    /// Waits until there is such a file; false when that takes too long.
    bool waitFor(const QByteArray& name) const;

    /// Installs the entry `id`; `keys` are the lines besides Type and Name.
    void addEntry(const QByteArray& id, const QByteArray& keys) const;
    /// Installs `bin/NAME`, which writes down its arguments, environment and folder and then goes on with `end`.
    void addBrowser(const QByteArray& name, const QByteArray& end = "exit 0") const;
    /// The same with an entry of that id, `Exec=NAME %u`.
    void addApplication(const QByteArray& id, const QByteArray& end = "exit 0") const;

    /// What the browser was started with; waits for it.
    QByteArrayList argumentsOf(const QByteArray& name) const;
    QByteArrayList environmentOf(const QByteArray& name) const;
    QByteArray folderOf(const QByteArray& name) const;
    /// The id of the process that the browser runs as; waits for it. -1 when it does not come.
    pid_t pidOf(const QByteArray& name) const;

    Command start(const QByteArray& id, const QByteArray& link, const std::vector<int>& inherited = {}) const;
    Outcome open(const QByteArray& id, const QByteArray& link) const { return start(id, link).finish(); }

    QMap<QByteArray, QByteArray> environment; ///< of every command; changed freely by tests

private:
    QTemporaryDir m_root;
};
