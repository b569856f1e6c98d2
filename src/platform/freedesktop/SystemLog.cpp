#include "platform/freedesktop/SystemLog.h"

#include <QByteArray>
#include <QString>

#include <cstdio>

#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace vantorel {

namespace {

struct Level {
    int priority;
    const char* name;
};

Level levelOf(QtMsgType type) {
    switch (type) {
    case QtDebugMsg: return {LOG_DEBUG, "debug"};
    case QtInfoMsg: return {LOG_INFO, "info"};
    case QtWarningMsg: return {LOG_WARNING, "warning"};
    case QtCriticalMsg: return {LOG_ERR, "error"};
    case QtFatalMsg: return {LOG_CRIT, "fatal"};
    }
    return {LOG_NOTICE, "notice"};
}

bool hasJournal() {
    static const bool has = access("/run/systemd/journal/socket", W_OK) == 0;
    return has;
}

iovec field(const QByteArray& text) {
    return {.iov_base = const_cast<char*>(text.constData()), .iov_len = static_cast<size_t>(text.size())};
}

void log(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    const Level level = levelOf(type);
    const QByteArray category(context.category ? context.category : "default");
    const QByteArray text = message.toUtf8();
    if (hasJournal()) {
        const QByteArray messageField = "MESSAGE=" + text;
        const QByteArray priorityField = "PRIORITY=" + QByteArray::number(level.priority);
        const QByteArray categoryField = "QT_CATEGORY=" + category;
        const QByteArray identifierField = "SYSLOG_IDENTIFIER=vantorel";
        const iovec fields[] = {field(messageField), field(priorityField), field(categoryField),
                                field(identifierField)};
        if (sd_journal_sendv(fields, std::size(fields)) == 0)
            return;
    }
    // One write, so that lines of several processes do not mix.
    const QByteArray line = category + ": " + level.name + ": " + text + '\n';
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.constData(), static_cast<size_t>(line.size()));
}

} // namespace

void installSystemLog() {
    qInstallMessageHandler(log);
}

} // namespace vantorel
