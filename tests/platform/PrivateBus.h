#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QString>

/// A bus of a test's own, which ends with it.
class PrivateBus {
public:
    /// `dataFolder` may hold dbus-1/services.
    explicit PrivateBus(const QString& dataFolder = "/nonexistent") {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_DATA_HOME", dataFolder);
        environment.insert("XDG_DATA_DIRS", dataFolder);
        m_daemon.setProcessEnvironment(environment);
        m_daemon.setProgram("/usr/bin/dbus-daemon");
        m_daemon.setArguments(
            {"--session", "--nofork", "--nopidfile", "--print-address", "--address=unix:tmpdir=/tmp"});
        m_daemon.start();
        if (m_daemon.waitForReadyRead())
            m_address = QString::fromUtf8(m_daemon.readLine().trimmed());
    }
    ~PrivateBus() { end(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    void end() {
        m_daemon.kill();
        m_daemon.waitForFinished();
    }

    qint64 process() const { return m_daemon.processId(); }
    QString address() const { return m_address; }

    /// Another connection each time, for QDBusConnection::disconnectFromBus(its name) to close.
    QDBusConnection connect() const {
        static int count = 0;
        return QDBusConnection::connectToBus(m_address, QString("test-%1").arg(++count));
    }

private:
    QProcess m_daemon;
    QString m_address;
};
