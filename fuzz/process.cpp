// What /proc says of processes, from any bytes. In parts between the bytes 1E: environ, cgroup, .flatpak-info, cmdline,
// comm and stat of a process, and a part of a unit's name.

#include "Fuzz.h"

#include "Folder.h"
#include "Text.h"
#include "platform/freedesktop/DesktopEntry.h"
#include "platform/freedesktop/InstalledIndex.h"
#include "platform/freedesktop/ProcessApplications.h"
#include "platform/freedesktop/ProcessFiles.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

using namespace vantorel;

namespace {

const QString kOwnID = QStringLiteral("org.own.Router");
const QString kHelperID = QStringLiteral("org.helper.App");
const QStringList kInstalledIDs = {QStringLiteral("org.mail.App"), QStringLiteral("org.chat.App"),
                                   QStringLiteral("vendor-tool")};

std::shared_ptr<const InstalledIndex> installed() {
    const auto entry = [](const QString& id, const char* command, const char* program) {
        DesktopEntry result;
        result.id = id.toStdString();
        result.command = {command};
        result.program = program;
        return result;
    };
    setenv("XDG_DATA_HOME", "/fuzz", 1);
    setenv("XDG_DATA_DIRS", "/nonexistent", 1);
    return std::make_shared<InstalledIndex>(std::vector<DesktopEntry>{
        entry(kInstalledIDs[0], "sleep", "/bin/sleep"), entry(kInstalledIDs[1], "chat", "/nowhere/chat"),
        entry(kInstalledIDs[2], "tool", "/nowhere/tool"), entry(kHelperID, "xdg-open", "/bin/cat"),
        entry(kOwnID, "router", "/bin/ls")});
}

// As systemd writes what may not stand in the name of a unit.
QByteArray escaped(const QByteArray& text) {
    QByteArray out;
    for (const char c : text) {
        const bool isPlain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_';
        out += isPlain ? QByteArray(1, c) : "\\x" + QByteArray(1, c).toHex();
    }
    return out;
}

QByteArray unescaped(const QByteArray& text) {
    static const QRegularExpression number(QStringLiteral("\\\\x([0-9a-fA-F]{2})"));
    const QString units = QString::fromLatin1(text);
    QByteArray out;
    qsizetype end = 0;
    for (auto matches = number.globalMatch(units); matches.hasNext();) {
        const auto match = matches.next();
        out += text.mid(end, match.capturedStart() - end) + QByteArray::fromHex(match.captured(1).toLatin1());
        end = match.capturedEnd();
    }
    return out + text.mid(end);
}

QString idOf(const QByteArray& unit) {
    const auto application = applicationOfUnit(unit);
    return application ? application->id : QString();
}

void checkUnit(const QByteArray& part) {
    CHECK(idOf("app-" + escaped(part) + "-12.scope") == QString::fromUtf8(part));
    CHECK(idOf("app-launcher-" + escaped(part) + ".slice") == QString::fromUtf8(part));
    CHECK(idOf("app-launcher-" + escaped(part) + "@12.service") == QString::fromUtf8(part));
    QByteArray plain = part;
    plain.replace('-', '_');
    CHECK(idOf("app-" + plain + ".slice") == QString::fromUtf8(unescaped(plain)));
    const auto any = applicationOfUnit(part);
    CHECK(!any || part.startsWith("app-") || part.startsWith("snap."));
}

// The value of a variable as getenv() would find it.
QByteArray valueOf(const QByteArray& environment, const QByteArray& name) {
    for (const QByteArray& variable : environment.split('\0')) {
        if (variable.startsWith(name + '='))
            return variable.mid(name.size() + 1);
    }
    return {};
}

struct Content {
    QByteArray environment, cgroup, sandbox, arguments, name, status;
};

// Whether an id that has no desktop entry may be that of an application in a sandbox.
bool isSandboxed(const QString& id, const Content& content) {
    const bool isPlain = !id.isEmpty() && id.size() <= 255
        && std::none_of(id.begin(), id.end(), [](QChar c) { return !c.isPrint() || c.isSpace() || c == u'/'; });
    if (!isPlain)
        return false;
    const QByteArrayList lines = content.sandbox.split('\n');
    const bool isFlatpak = std::any_of(lines.begin(), lines.end(), [&id](const QByteArray& line) {
        return line.startsWith("name=") && QString::fromUtf8(line.mid(5).trimmed()) == id;
    });
    QByteArray groups = content.cgroup;
    const QByteArrayList units = groups.replace('\n', '/').split('/');
    return isFlatpak || std::any_of(units.begin(), units.end(), [&id](const QByteArray& unit) {
               if (unit.startsWith("app-flatpak-"))
                   return id.contains(u'\ufffd') || QString::fromUtf8(unescaped(unit)).contains(id);
               return unit.startsWith("snap.") && id.contains(u'_');
           });
}

class Proc {
public:
    Proc() : m_applications([index = installed()] { return index; }, kOwnID, fuzz::array(m_folder.path())) { }

    void add(int id, const QByteArray& status, const Content& content) const {
        const std::string folder = std::to_string(id);
        if (!std::filesystem::exists(m_folder.path(folder))) {
            m_folder.add(folder + "/root");
            std::filesystem::create_symlink("/usr/bin/python3", m_folder.path(folder + "/exe"));
        }
        const auto write = [&](const char* name, const QByteArray& bytes) {
            m_folder.write(folder + '/' + name, {bytes.constData(), static_cast<std::size_t>(bytes.size())});
        };
        write("stat", status);
        write("environ", content.environment);
        write("cgroup", content.cgroup);
        write("root/.flatpak-info", content.sandbox);
        write("cmdline", content.arguments);
        write("comm", content.name);
    }

    std::optional<ProcessFiles> find(int id) const { return ProcessFiles::find(fuzz::array(m_folder.path()), id); }

    // On a busy system an answer may not come in time.
    std::optional<ProcessApplication> applicationOf(int id, bool isExpected = false) {
        auto answer = m_applications.applicationOf(id);
        for (int attempts = 0; isExpected && !answer && attempts < 20; ++attempts)
            answer = m_applications.applicationOf(id);
        return answer;
    }

    QByteArray variableOf(int id, const QByteArray& name) { return m_applications.originOf(id, name).variable; }

private:
    fuzz::Folder m_folder;
    ProcessApplications m_applications;
};

QByteArray status(int id, const QByteArray& name, int parent, int startTime) {
    return QByteArray::number(id) + " (" + name + ") S " + QByteArray::number(parent) + QByteArray(" 0").repeated(17)
        + ' ' + QByteArray::number(startTime) + " 0 0 0\n";
}

void checkAnswer(const std::optional<ProcessApplication>& answer, const Content& content) {
    if (!answer)
        return;
    CHECK(answer->id != kOwnID && answer->id != kHelperID);
    CHECK(kInstalledIDs.contains(answer->id) || isSandboxed(answer->id, content));
}

// With an environment alone, that is all that there is to tell.
void checkEnvironment(Proc& proc, const QByteArray& environment) {
    constexpr int kProcess = 1001;
    Content content;
    content.environment = environment;
    proc.add(kProcess, status(kProcess, "some", 1, 60), content);
    const QByteArray file = valueOf(environment, "GIO_LAUNCHED_DESKTOP_FILE");
    const int launched = valueOf(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID").toInt();
    const QString start = QStringLiteral("/fuzz/applications/");
    std::optional<QString> expected;
    for (const QString& id : kInstalledIDs) {
        if (QString::fromUtf8(file) == start + id + QStringLiteral(".desktop")
            || (id == kInstalledIDs[2] && file == "/fuzz/applications/vendor/tool.desktop"))
            expected = id;
    }
    const auto answer = proc.applicationOf(kProcess, expected.has_value());
    CHECK(!expected || (answer && answer->id == *expected));
    CHECK(expected || !answer || launched > 1);
    CHECK(!expected || (answer->relation == ProcessApplication::Relation::own) == (launched == kProcess)
          || valueOf(environment, "GIO_LAUNCHED_DESKTOP_FILE_PID") != QByteArray::number(launched));
    const QByteArray variable = proc.variableOf(kProcess, "DISPLAY");
    CHECK(variable.isEmpty() || variable == valueOf(environment, "DISPLAY"));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int kProcess = 1000;
    constexpr int kChild = 1002;
    static Proc proc;
    auto input = fuzz::bytes(data, size);
    const auto takePart = [&input] { return fuzz::array(fuzz::takePart(input, '\x1e')); };
    Content content;
    for (QByteArray* const part :
         {&content.environment, &content.cgroup, &content.sandbox, &content.arguments, &content.name, &content.status})
        *part = takePart();
    checkUnit(takePart());

    proc.add(kProcess, status(kProcess, content.name, 1, 50), content);
    const auto files = proc.find(kProcess);
    CHECK(files && files->parent() == 1 && files->startTime() == 50);
    checkAnswer(proc.applicationOf(kProcess), content);

    proc.add(kChild, content.status, content);
    if (const auto child = proc.find(kChild))
        CHECK(!child->isAnotherNow() && child->id() == kChild);
    checkAnswer(proc.applicationOf(kChild), content);

    checkEnvironment(proc, content.environment);
    return 0;
}
