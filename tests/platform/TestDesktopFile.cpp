#include "platform/freedesktop/DesktopFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <random>

#include <sys/stat.h>

#include <glib.h>

using vantorel::DesktopFile;
using Key = DesktopFile::Key;

namespace {

struct Unref {
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, Unref>;

constexpr const char* kGroup = "Desktop Entry";

/// What GLib reads, which is what the rest of the desktop goes by.
KeyFile glibReads(const std::string& text) {
    KeyFile file(g_key_file_new());
    if (!g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr))
        return nullptr;
    const std::unique_ptr<char, decltype(&g_free)> first(g_key_file_get_start_group(file.get()), &g_free);
    return first && std::string(first.get()) == kGroup ? std::move(file) : nullptr;
}

std::string taken(char* text) {
    const std::unique_ptr<char, decltype(&g_free)> owner(text, &g_free);
    return text ? text : "";
}

std::string difference(const std::string& text) {
    const auto ours = DesktopFile::parse(text, vantorel::userLanguages());
    const auto theirs = glibReads(text);
    if (ours.has_value() != (theirs != nullptr))
        return ours ? "accepted, but GLib refuses it" : "refused, but GLib accepts it";
    if (!ours)
        return {};
    const std::pair<Key, const char*> plain[] = {{Key::type, "Type"},
                                                 {Key::exec, "Exec"},
                                                 {Key::tryExec, "TryExec"},
                                                 {Key::path, "Path"},
                                                 {Key::startupWMClass, "StartupWMClass"}};
    for (const auto& [key, name] : plain) {
        if (const auto value = taken(g_key_file_get_string(theirs.get(), kGroup, name, nullptr));
            ours->value(key) != value)
            return std::string(name) + " is \"" + ours->value(key) + "\", for GLib \"" + value + '"';
    }
    const std::pair<Key, const char*> localised[] = {{Key::name, "Name"}, {Key::icon, "Icon"}};
    for (const auto& [key, name] : localised) {
        const auto value = taken(g_key_file_get_locale_string(theirs.get(), kGroup, name, nullptr, nullptr));
        if (ours->value(key) != value)
            return std::string(name) + " is \"" + ours->value(key) + "\", for GLib \"" + value + '"';
    }
    const std::pair<Key, const char*> flags[] = {{Key::hidden, "Hidden"},
                                                 {Key::noDisplay, "NoDisplay"},
                                                 {Key::terminal, "Terminal"},
                                                 {Key::dbusActivatable, "DBusActivatable"}};
    for (const auto& [key, name] : flags) {
        if (ours->isSet(key) != (g_key_file_get_boolean(theirs.get(), kGroup, name, nullptr) != FALSE))
            return std::string(name) + " differs";
    }
    return {};
}

} // namespace

/// GLib is the second opinion on everything that the desktop must agree on.
class TestDesktopFile : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void agreesWithGLib_data();
    void agreesWithGLib();
    void agreesWithGLib_onEveryEntryOfThisSystem();
    void agreesWithGLib_onDamagedEntries();
    void lists_areSplit();
    void notRegularOrTooLarge_isRefusedWithoutWaiting();
};

void TestDesktopFile::initTestCase() {
    qputenv("LANGUAGE", "pt_BR:de");
}

void TestDesktopFile::agreesWithGLib_data() {
    QTest::addColumn<QByteArray>("text");
    const QByteArray head = "[Desktop Entry]\nType=Application\nName=Web\n";
    const auto row = [](const char* name, const QByteArray& text) { QTest::newRow(name) << text; };
    row("plain", head + "Exec=web %u\n");
    row("without a last line end", head + "Exec=web %u");
    row("with carriage returns", "[Desktop Entry]\r\nType=Application\r\nName=Web\r\nHidden=true\r\n");
    row("carriage return at the very end, of a group", "[Desktop Entry]\r");
    row("carriage return at the very end, of a value", head + "Exec=web\r");
    row("carriage return at the very end, on a line of its own", head + "\r");
    row("blanks around", "  [Desktop Entry] \t\n  Type = Application \n\tName\t=\t Web  \nHidden=true  \n");
    row("other blanks around", "\f[Desktop Entry]\nType=\f\rApplication\nName\f=Web\nHidden=true\f\n");
    row("vertical tab before the group", '\v' + head);
    row("vertical tabs around values", head + "Exec=\vweb\nHidden=true\v\n");
    row("vertical tab on a line of its own", head + "\v\n");
    row("blanks in a key", head + "Ex ec=web\n");
    row("comments and empty lines", "# first\n\n  # second\n" + head + "\n#Exec=other\nExec=web\n");
    row("other groups", head + "[Desktop Action new]\nName=New\nExec=new\nHidden=true\n");
    row("group twice", head + "[Other]\nName=x\n[Desktop Entry]\nName=Again\nExec=web\n");
    row("other group first", "[Other]\nName=x\n" + head);
    row("key before the group", "Name=x\n" + head);
    row("line of no kind", head + "hello\n");
    row("line of no kind in another group", head + "[Other]\nhello\n");
    row("no key", head + "=value\n");
    row("empty value", head + "Exec=\nName=\n");
    row("same key twice", head + "Name=Second\n");
    row("equals in the value", head + "Exec=env A=B web %u\n");
    row("escapes", head + "Exec=a\\sb\\tc\\nd\\re\\\\f\n");
    row("escape that is none", head + "Exec=sh -c \"echo \\$1\"\n");
    row("backslash at the end", head + "Exec=web\\\n");
    row("languages", head + "Name[de]=Netz\nName[fr]=Toile\n");
    row("best language first", head + "Name[pt_BR]=Teia\nName[de]=Netz\n");
    row("best language last", head + "Name[de]=Netz\nName[pt]=Rede\nName[pt_BR]=Teia\n");
    row("empty translation", head + "Name[pt_BR]=\n");
    row("language with encoding", head + "Name[pt_BR.UTF-8]=Teia\n");
    row("translation before the key", "[Desktop Entry]\nName[de]=Netz\nName=Web\nType=Application\n");
    row("translation alone", "[Desktop Entry]\nName[de]=Netz\nType=Application\n");
    row("empty language", head + "Name[]=Odd\n");
    row("bracket left open", head + "Name[de=Netz\n");
    row("bracket without an opening", head + "Name]=Netz\n");
    row("something behind the bracket", head + "Name[de]x=Netz\n");
    row("invalid UTF-8", head + "Exec=\xff\xfe\nName[de]=\xc3\n");
    row("invalid UTF-8 in a comment", "# \xff\n" + head);
    row("byte order mark", "\xef\xbb\xbf" + head);
    row("true in other words", head + "Hidden=True\nNoDisplay=1\nTerminal=yes\nDBusActivatable=true \n");
    row("empty", "");
    row("comment alone", "# nothing\n");
    row("group alone", "[Desktop Entry]\n");
    row("group with a bracket", head + "[a[b]\n");
    row("group without an end", head + "[Other\nName=x\n");
    row("empty group name", head + "[]\n");
    row("text behind a group", head + "[Other] x\n");
}

void TestDesktopFile::agreesWithGLib() {
    QFETCH(QByteArray, text);
    QCOMPARE(difference(text.toStdString()).c_str(), "");
}

void TestDesktopFile::agreesWithGLib_onEveryEntryOfThisSystem() {
    int count = 0;
    for (const QFileInfo& info : QDir("/usr/share/applications").entryInfoList({"*.desktop"}, QDir::Files)) {
        QFile file(info.filePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto problem = difference(file.readAll().toStdString());
        QVERIFY2(problem.empty(), (info.filePath().toStdString() + ": " + problem).c_str());
        ++count;
    }
    QVERIFY(count > 5);
}

// Whatever happens to a file, both refuse it or both read the same.
void TestDesktopFile::agreesWithGLib_onDamagedEntries() {
    const std::string good = "[Desktop Entry]\nType=Application\nName=Web\nName[de]=Netz\nName[pt_BR]=Teia\n"
                             "Exec=web \\s%u\nHidden=false\n# comment\n[Desktop Action a]\nName=x\nExec=y\n";
    const std::string alphabet = "[]=#\n\r \t\\;%aN_.-\xc3\xa4\xff";
    std::mt19937 random(20261121);
    for (int round = 0; round < 20'000; ++round) {
        std::string text = good;
        for (auto changes = 1 + random() % 3; changes > 0; --changes) {
            const auto at = random() % text.size();
            const char with = alphabet[random() % alphabet.size()];
            switch (random() % 3) {
            case 0: text[at] = with; break;
            case 1: text.insert(at, 1, with); break;
            default: text.erase(at, 1 + random() % 4);
            }
        }
        const auto problem = difference(text);
        QVERIFY2(problem.empty(), (problem + '\n' + text).c_str());
    }
}

void TestDesktopFile::lists_areSplit() {
    const auto file = DesktopFile::parse("[Desktop Entry]\nOnlyShowIn=GNOME;KDE;;XFCE\nNotShowIn=\n", {});
    QVERIFY(file);
    QCOMPARE(file->list(Key::onlyShowIn), (std::vector<std::string>{"GNOME", "KDE", "XFCE"}));
    QCOMPARE(file->list(Key::notShowIn), std::vector<std::string>());
    QVERIFY(file->has(Key::notShowIn));
}

void TestDesktopFile::notRegularOrTooLarge_isRefusedWithoutWaiting() {
    const QTemporaryDir folder;
    const std::string fifo = folder.filePath("fifo").toStdString();
    QCOMPARE(mkfifo(fifo.c_str(), 0600), 0);
    std::string whyNot;
    QVERIFY(!DesktopFile::read(fifo, {}, &whyNot));
    QCOMPARE(whyNot.c_str(), (fifo + " is no desktop entry").c_str());
    QVERIFY(!DesktopFile::read(folder.path().toStdString(), {}, &whyNot));
    QVERIFY(!DesktopFile::read(folder.filePath("absent").toStdString(), {}, &whyNot));
    QVERIFY(whyNot.find("cannot be read") != std::string::npos);

    QFile large(folder.filePath("large"));
    QVERIFY(large.open(QIODevice::WriteOnly));
    large.write("[Desktop Entry]\nType=Application\n" + QByteArray(1 << 20, '#'));
    large.close();
    QVERIFY(!DesktopFile::read(large.fileName().toStdString(), {}));
    QVERIFY(large.resize(1 << 20));
    QVERIFY(DesktopFile::read(large.fileName().toStdString(), {}).has_value());
}

QTEST_GUILESS_MAIN(TestDesktopFile)
#include "TestDesktopFile.moc"
