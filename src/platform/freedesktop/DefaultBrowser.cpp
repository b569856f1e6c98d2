#include <gio/gdesktopappinfo.h>

#include "platform/freedesktop/DefaultBrowser.h"

#include "platform/freedesktop/LinkHandOn.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <memory>
#include <optional>

namespace vantorel {

namespace {

// XFCE's stand-in for whichever browser is chosen in its own settings, which it knows by their command.
const QByteArray kXfceBrowser = "xfce4-web-browser";
const QByteArray kXfceHelper = "custom-WebBrowser";
const QByteArray kXfceChoice = "WebBrowser=";

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename T> using Owned = std::unique_ptr<T, Unref>;

Owned<GDesktopAppInfo> application(const QByteArray& id) {
    return Owned<GDesktopAppInfo>(g_desktop_app_info_new((id + ".desktop").constData()));
}

QByteArray idForScheme(const char* scheme) {
    const Owned<GAppInfo> info(g_app_info_get_default_for_uri_scheme(scheme));
    QByteArray id(info ? g_app_info_get_id(info.get()) : nullptr);
    if (id.endsWith(".desktop"))
        id.chop(8);
    return id;
}

bool opensLinks(const QByteArray& id) {
    return idForScheme("http") == id && idForScheme("https") == id;
}

QString xfceChoices() {
    return QFile::decodeName(g_get_user_config_dir()) + QStringLiteral("/xfce4/helpers.rc");
}

QString xfceHelper() {
    return QFile::decodeName(g_get_user_data_dir()) + QStringLiteral("/xfce4/helpers/")
        + QString::fromLatin1(kXfceHelper) + QStringLiteral(".desktop");
}

/// Absent where there is something that cannot be read.
std::optional<QByteArrayList> linesOf(const QString& path) {
    QFile file(path);
    if (!file.exists())
        return QByteArrayList();
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArrayList lines = file.readAll().split('\n');
    if (lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

bool write(const QString& path, const QByteArrayList& lines) {
    if (!QDir().mkpath(QFileInfo(path).path()))
        return false;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(lines.join('\n') + '\n') >= 0 && file.commit();
}

bool setXfceChoice(const QByteArray& program) {
    auto choices = linesOf(xfceChoices());
    if (!choices)
        return false;
    choices->removeIf([](const QByteArray& line) { return line.startsWith(kXfceChoice); });
    choices->append(kXfceChoice + kXfceHelper);
    const QByteArrayList helper = {"[Desktop Entry]",
                                   "NoDisplay=true",
                                   "Version=1.0",
                                   "Type=X-XFCE-Helper",
                                   "X-XFCE-Category=WebBrowser",
                                   "X-XFCE-CommandsWithParameter=" + program + " \"%s\"",
                                   "X-XFCE-Commands=" + program,
                                   "Icon=com.qorbex.Vantorel",
                                   "Name=Vantorel"};
    return write(xfceHelper(), helper) && write(xfceChoices(), *choices);
}

bool setForTypes(const QByteArray& id) {
    const auto info = application(id);
    if (!info)
        return false;
    for (const char* const type : {"x-scheme-handler/http", "x-scheme-handler/https", "text/html"}) {
        if (!g_app_info_set_as_default_for_type(G_APP_INFO(info.get()), type, nullptr))
            return false;
    }
    return opensLinks(id);
}

// XFCE's own list of browsers names our program without its folder.
bool isChosenInXfce(const std::string& program) {
    const auto command = splitExec(xfceBrowser()).value_or(std::vector<std::string>());
    if (command.empty())
        return false;
    const auto file = LinkHandOn::programFile(command.front());
    return command.front() == program || (!file.empty() && file == LinkHandOn::programFile(program));
}

} // namespace

bool DefaultBrowser::isApplication(const QByteArray& id, const QByteArray& program) {
    return opensLinks(id) || (opensLinks(kXfceBrowser) && isChosenInXfce(program.toStdString()));
}

bool DefaultBrowser::setApplication(const QByteArray& id, const QByteArray& program, const QByteArray& currentDesktop) {
    if (currentDesktop.split(':').contains("XFCE") && application(kXfceBrowser))
        return setXfceChoice(program) && setForTypes(kXfceBrowser);
    return setForTypes(id);
}

} // namespace vantorel
