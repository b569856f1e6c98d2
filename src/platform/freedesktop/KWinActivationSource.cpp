#include "platform/freedesktop/KWinActivationSource.h"

#include "platform/freedesktop/WindowApplications.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDeadlineTimer>
#include <QTemporaryFile>
#include <QThread>

#include <limits>
#include <utility>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

const QString kKWin = QStringLiteral("org.kde.KWin");
const QString kScripting = QStringLiteral("org.kde.kwin.Scripting");
const QString kScriptName = QStringLiteral("com.qorbex.Vantorel");
const QString kReportsPath = QStringLiteral("/com/qorbex/Vantorel/KWin");

// A KWin that is stopped answers when it goes on, however long that takes.
constexpr int kForever = std::numeric_limits<int>::max();

constexpr auto kPatience = 30ms;
constexpr auto kGlance = 200us; // between two looks for an answer
constexpr auto kLongestStart = 10s; // of a script; one that has not reported by then does not run
constexpr int kMostAttempts = 6;

// %1 is our unique name on the bus. KWin 6 calls windows what KWin 5 calls clients.
constexpr auto kScriptText = R"((function () {
    function tell(method, window) {
        function text(value) { return window && value !== undefined && value !== null ? String(value) : ""; }
        callDBus("%1", "%2", "com.qorbex.Vantorel.KWin", method, text(window && window.desktopFileName),
                 text(window && window.resourceClass), text(window && window.resourceName), text(window && window.pid));
    }
    var isNew = workspace.windowActivated !== undefined;
    var activated = isNew ? workspace.windowActivated : workspace.clientActivated;
    activated.connect(function (window) { tell("Activated", window); });
    tell("Active", isNew ? workspace.activeWindow : workspace.activeClient);
})();
)";

QDBusMessage callToBus(const QString& method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                          QStringLiteral("/org/freedesktop/DBus"),
                                          QStringLiteral("org.freedesktop.DBus"), method);
}

bool isError(const QDBusMessage& answer) {
    return answer.type() != QDBusMessage::ReplyMessage;
}

} // namespace

KWinActivationSource::KWinActivationSource(QDBusConnection bus, QString ownBundleID, Identify identify,
                                           std::chrono::milliseconds firstRetry)
    : m_bus(std::move(bus))
    , m_ownBundleID(std::move(ownBundleID))
    , m_identify(std::move(identify))
    , m_firstRetry(firstRetry) {
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &KWinActivationSource::load);
    m_reportOverdue.setSingleShot(true);
    m_reportOverdue.setInterval(kLongestStart);
    connect(&m_reportOverdue, &QTimer::timeout, this, &KWinActivationSource::fail);
    // What is known still serves the links that are taken after this.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, &KWinActivationSource::unload);
}

KWinActivationSource::~KWinActivationSource() {
    KWinActivationSource::stop();
}

void KWinActivationSource::start(ActivationSource::Activated activated) {
    m_activated = std::move(activated);
    m_bus.registerObject(kReportsPath, this, QDBusConnection::ExportScriptableSlots);
    m_bus.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                  QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"), {kKWin}, QString(), this,
                  SLOT(onOwnerChanged(QString, QString, QString)));
    QDBusMessage question = callToBus(QStringLiteral("GetNameOwner"));
    question << kKWin;
    ask(question, &KWinActivationSource::takeOwner);
}

void KWinActivationSource::stop() {
    if (!m_activated)
        return;
    unload();
    m_bus.disconnect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                     QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"), {kKWin}, QString(),
                     this, SLOT(onOwnerChanged(QString, QString, QString)));
    m_bus.unregisterObject(kReportsPath);
    m_activated = nullptr;
    m_owner.clear();
    m_frontmost.reset();
    setState(State::unknown);
}

void KWinActivationSource::forgetScript() {
    m_script.reset();
    m_awaitsReport = false;
    m_reportOverdue.stop();
}

void KWinActivationSource::ask(const QDBusMessage& question, Next next) {
    m_question = std::make_unique<QDBusPendingCallWatcher>(m_bus.asyncCall(question, kForever));
    m_next = next;
    connect(m_question.get(), &QDBusPendingCallWatcher::finished, this, &KWinActivationSource::takeAnswer);
}

void KWinActivationSource::takeAnswer() {
    m_isLate = false;
    auto* const question = m_question.release();
    question->disconnect(this);
    question->deleteLater(); // we may have been called by it
    (this->*m_next)(question->reply());
}

void KWinActivationSource::takeOwner(const QDBusMessage& answer) {
    setOwner(isError(answer) ? QString() : answer.arguments().value(0).toString());
}

void KWinActivationSource::onOwnerChanged(const QString&, const QString&, const QString& newOwner) {
    if (m_activated)
        setOwner(newOwner);
}

void KWinActivationSource::setOwner(const QString& owner) {
    m_retry.stop();
    m_question.reset();
    forgetScript();
    m_frontmost.reset();
    m_owner = owner;
    m_failures = 0;
    if (m_owner.isEmpty())
        setState(State::absent);
    else
        load();
}

// To the one KWin that is there, by its unique name, which nothing can be started under.
QDBusMessage KWinActivationSource::callTo(const QString& path, const QString& interface, const QString& method) const {
    return QDBusMessage::createMethodCall(m_owner, path, interface, method);
}

// A script that an earlier run of the program left behind is unloaded before ours takes its name. Unloading is over
// only when it is answered.
void KWinActivationSource::load() {
    QDBusMessage question = callTo(QStringLiteral("/Scripting"), kScripting, QStringLiteral("unloadScript"));
    question << kScriptName;
    ask(question, &KWinActivationSource::loadUnloaded);
}

void KWinActivationSource::loadUnloaded(const QDBusMessage&) {
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    m_script = std::make_unique<QTemporaryFile>(folder + QStringLiteral("/vantorel-kwin-XXXXXX.js"));
    const QByteArray text = QString::fromLatin1(kScriptText).arg(m_bus.baseService(), kReportsPath).toUtf8();
    const bool isWritten =
        !folder.isEmpty() && m_script->open() && m_script->write(text) == text.size() && m_script->flush();
    if (!isWritten) {
        fail();
        return;
    }
    QDBusMessage question = callTo(QStringLiteral("/Scripting"), kScripting, QStringLiteral("loadScript"));
    question << m_script->fileName() << kScriptName;
    ask(question, &KWinActivationSource::runLoaded);
}

// Not `run` of the script itself: KWin gives its scripts numbers that others of them may have, and would then run one
// of those. `start` runs every script that does not run yet.
void KWinActivationSource::runLoaded(const QDBusMessage& answer) {
    bool isNumber = false;
    const int number = answer.arguments().value(0).toInt(&isNumber);
    if (isError(answer) || !isNumber || number < 0) {
        fail();
        return;
    }
    ask(callTo(QStringLiteral("/Scripting"), kScripting, QStringLiteral("start")), &KWinActivationSource::finishStart);
}

// The script reports when it begins, which is after this answer.
void KWinActivationSource::finishStart(const QDBusMessage& answer) {
    if (isError(answer)) {
        fail();
    } else if (m_script) {
        m_awaitsReport = true;
        m_reportOverdue.start();
    }
}

// KWin may be about to start still, or not want scripts at all.
void KWinActivationSource::fail() {
    forgetScript();
    if (++m_failures < kMostAttempts)
        m_retry.start(m_firstRetry * (1 << (m_failures - 1)));
    setState(State::absent);
}

// Behind whatever else was asked of KWin: a script that is being loaded right now goes as well.
void KWinActivationSource::unload() {
    m_retry.stop();
    m_question.reset();
    forgetScript();
    if (m_owner.isEmpty())
        return;
    QDBusMessage message = callTo(QStringLiteral("/Scripting"), kScripting, QStringLiteral("unloadScript"));
    message << kScriptName;
    m_bus.send(message);
}

bool KWinActivationSource::isFromKWin() {
    return m_activated && !m_owner.isEmpty() && message().service() == m_owner;
}

void KWinActivationSource::remember(const QString& desktopFile, const QString& className, const QString& instance,
                                    const QString& process) {
    forgetScript(); // KWin has read it
    m_isLate = false;
    m_failures = 0;
    bool isNumber = false;
    const pid_t pid = process.toInt(&isNumber);
    const bool isKnown = isNumber && pid > 0;
    if (isKnown && pid == QCoreApplication::applicationPid())
        m_frontmost = m_ownBundleID;
    else
        m_frontmost = m_identify({.gtkApplicationID = {},
                                  .kdeDesktopFile = desktopFile,
                                  .instance = instance,
                                  .className = className,
                                  .process = isKnown ? std::optional(pid) : std::nullopt});
    setState(State::present);
}

void KWinActivationSource::Active(const QString& desktopFile, const QString& className, const QString& instance,
                                  const QString& process) {
    if (isFromKWin())
        remember(desktopFile, className, instance, process);
}

void KWinActivationSource::Activated(const QString& desktopFile, const QString& className, const QString& instance,
                                     const QString& process) {
    if (!isFromKWin())
        return;
    remember(desktopFile, className, instance, process);
    if (m_isWaiting)
        QMetaObject::invokeMethod(
            this,
            [this, id = m_frontmost] {
                if (m_activated)
                    m_activated(id);
            },
            Qt::QueuedConnection);
    else
        m_activated(m_frontmost);
}

// Answers arrive on the bus's own thread, so the event loop need not run for them.
void KWinActivationSource::awaitAnswers() {
    const QDeadlineTimer deadline(m_isLate ? 0ms : std::chrono::milliseconds(kPatience));
    while (m_question || m_awaitsReport) {
        if (m_question && m_question->isFinished()) {
            takeAnswer();
        } else if (deadline.hasExpired()) {
            m_isLate = true;
            return;
        } else {
            QThread::usleep(kGlance.count());
        }
        // Reports wait for us in the event queue.
        m_isWaiting = true;
        QCoreApplication::sendPostedEvents(this);
        m_isWaiting = false;
    }
}

// Reports arrive in order with the links, so the last one is what was true when the link was sent.
std::optional<QString> KWinActivationSource::frontmost() {
    if (m_question || m_awaitsReport)
        awaitAnswers();
    return m_frontmost;
}

} // namespace vantorel
