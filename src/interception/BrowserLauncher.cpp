#include "interception/BrowserLauncher.h"

#include "platform/AppCatalog.h"
#include "platform/ProcessRunner.h"
#include "routing/Link.h"

#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QStringDecoder>

namespace vantorel::BrowserLauncher {

namespace {

Q_LOGGING_CATEGORY(launcherLog, "com.qorbex.Vantorel.launcher")

// The text of standard error, or the status where that is no text.
QString detail(const ProcessRunner::Exit& exit) {
    using Flag = QStringDecoder::Flag;
    QStringDecoder decoder(QStringDecoder::Utf8, Flag::Stateless | Flag::ConvertInitialBom); // which is text as well
    const QString text = decoder.decode(exit.standardError);
    return decoder.hasError() ? QStringLiteral("exit code ") + QString::number(exit.status) : text.trimmed();
}

// Texts are put together piece by piece: a link may hold what a formatting routine would take for a placeholder.
void logExit(const QString& url, const QString& bundleID, const ProcessRunner::Exit& exit) {
    if (exit.status == 0)
        qCDebug(launcherLog).noquote().nospace() << "Successfully opened " << url << " in " << bundleID;
    else
        qCCritical(launcherLog).noquote().nospace()
            << "Failed to open " << url << " in " << bundleID << ": " << detail(exit);
}

} // namespace

QByteArray program() {
    return QFile::encodeName(QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/vantorel-open"));
}

void open(const Link& url, const QString& bundleID, const AppCatalog& catalog, ProcessRunner& runner) {
    if (!catalog.isInstalled(bundleID)) {
        qCCritical(launcherLog).noquote().nospace() << "No application found for bundle ID: " << bundleID;
        return;
    }
    const QString& link = url.absoluteString();
    const auto failure =
        runner.start(program(), {"-b", bundleID.toUtf8(), link.toLatin1()},
                     [link, bundleID](const ProcessRunner::Exit& exit) { logExit(link, bundleID, exit); });
    // The words name the command that opens links on the platform where these messages were first written.
    if (failure)
        qCCritical(launcherLog).noquote().nospace()
            << "Failed to launch /usr/bin/open for " << link << " in " << bundleID << ": " << *failure;
}

} // namespace vantorel::BrowserLauncher
