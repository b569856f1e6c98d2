// The least that any program on the session bus pays that has no windows.

#include <QCoreApplication>
#include <QDBusConnection>

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const bool isThere = QDBusConnection::sessionBus().registerService(QStringLiteral("org.example.Floor"));
    return isThere ? QCoreApplication::exec() : 1;
}
