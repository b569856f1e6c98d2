#include "platform/freedesktop/WindowApplications.h"

#include "platform/freedesktop/InstalledIndex.h"

#include <QSet>

#include <algorithm>
#include <tuple>
#include <utility>

namespace vantorel {

namespace {

// Programs whose arguments name the one that it is about.
bool isWrapper(const QString& name) {
    static const QSet<QString> names = {QStringLiteral("env"),     QStringLiteral("flatpak"), QStringLiteral("snap"),
                                        QStringLiteral("python3"), QStringLiteral("perl"),    QStringLiteral("ruby"),
                                        QStringLiteral("gjs"),     QStringLiteral("wine")};
    return names.contains(name) || name.startsWith(u"python3.");
}

// A shell's command line, a virtual machine's class: nothing there is the name of a program for sure.
bool hidesItsProgram(const QString& name) {
    static const QSet<QString> names = {QStringLiteral("sh"),  QStringLiteral("bash"), QStringLiteral("dash"),
                                        QStringLiteral("zsh"), QStringLiteral("java"), QStringLiteral("node")};
    return names.contains(name);
}

QString baseName(const QString& path) {
    return path.mid(path.lastIndexOf(u'/') + 1);
}

// org.example.Mail and mail_mail (of a snap) are both about a program that calls itself mail.
QString lastPartOf(const QString& id) {
    return id.mid(std::max(id.lastIndexOf(u'.'), id.lastIndexOf(u'_')) + 1);
}

// Some toolkits give the path of the entry, or its file name, where its id is asked for.
QString withoutFolderAndSuffix(const QString& desktopFile) {
    const QString name = baseName(desktopFile);
    return name.endsWith(u".desktop") ? name.chopped(8) : name;
}

} // namespace

QString programNameOf(const QStringList& command) {
    QString program = baseName(command.value(0));
    for (qsizetype i = 1; i < command.size() && isWrapper(program); ++i) {
        const QString& argument = command[i];
        if (argument.startsWith(u"--command="))
            return baseName(argument.mid(10));
        const bool isVariable = program == u"env" && argument.contains(u'=');
        const bool isVerb = (program == u"flatpak" || program == u"snap") && argument == u"run";
        if (argument.startsWith(u'-') || isVariable || isVerb)
            continue;
        if (program != u"env")
            return baseName(argument);
        program = baseName(argument); // whose own arguments follow
    }
    return isWrapper(program) || hidesItsProgram(program) ? QString() : program;
}

WindowIndex::WindowIndex(const std::vector<WindowEntry>& entries) {
    for (const WindowEntry& entry : entries) {
        add(m_ids, entry.id, entry);
        add(m_foldedIDs, entry.id.toLower(), entry);
        add(m_classes, entry.startupWMClass, entry);
        add(m_foldedClasses, entry.startupWMClass.toLower(), entry);
        add(m_lastParts, lastPartOf(entry.id).toLower(), entry);
        add(m_programs, programNameOf(entry.command).toLower(), entry);
    }
}

// Of several entries for one key, a shown one that is named for the key comes first, then the shortest id: what is
// added to an application's id tells its entries for special tasks apart.
void WindowIndex::add(Table& table, const QString& key, const WindowEntry& entry) {
    if (key.isEmpty())
        return;
    const auto rank = [&key](const QString& id, bool noDisplay) {
        return std::tuple(noDisplay, id.compare(key, Qt::CaseInsensitive) != 0, id.size(), id);
    };
    const auto known = table.constFind(key);
    if (known == table.constEnd() || rank(entry.id, entry.noDisplay) < rank(known->id, known->noDisplay))
        table.insert(key, {entry.id, entry.noDisplay});
}

std::optional<QString> WindowIndex::find(const Table& table, const QString& key) {
    const auto found = table.constFind(key);
    return key.isEmpty() || found == table.constEnd() ? std::nullopt : std::optional(found->id);
}

std::optional<QString> WindowIndex::named(const WindowIdentity& window) const {
    for (const QString& id : {window.gtkApplicationID, withoutFolderAndSuffix(window.kdeDesktopFile)}) {
        if (auto found = find(m_ids, id))
            return found;
    }
    return std::nullopt;
}

std::optional<QString> WindowIndex::ofClass(const WindowIdentity& window) const {
    // Of a script KWin gives the name of the interpreter, which may be an application of its own.
    const bool isInterpreter = isWrapper(window.instance) || hidesItsProgram(window.instance);
    const QString instance = isInterpreter ? QString() : window.instance;
    const QString& className = window.className;
    const QString foldedInstance = instance.toLower(), foldedClass = className.toLower();
    const std::pair<const Table&, const QString&> steps[] = {
        // A site that a browser shows as an application of its own has an instance of its own and the browser's class.
        {m_classes, instance},
        {m_classes, className},
        {m_foldedClasses, foldedInstance},
        {m_foldedClasses, foldedClass},
        // Everywhere else the instance is the less telling half: a program's file name, or whatever -name says.
        {m_ids, className},
        {m_ids, instance},
        {m_ids, foldedClass},
        {m_ids, foldedInstance},
        {m_foldedIDs, foldedClass},
        {m_foldedIDs, foldedInstance},
        {m_lastParts, foldedClass},
        {m_lastParts, foldedInstance},
        {m_programs, foldedClass},
        {m_programs, foldedInstance},
    };
    for (const auto& [table, key] : steps) {
        if (auto found = find(table, key))
            return found;
    }
    return std::nullopt;
}

WindowApplications::WindowApplications(Index index, OfProcess applicationOfProcess)
    : m_index(std::move(index))
    , m_applicationOfProcess(std::move(applicationOfProcess)) { }

std::optional<QString> WindowApplications::applicationOf(const WindowIdentity& window) const {
    const auto index = m_index();
    if (auto id = index->windows().named(window))
        return id;
    const auto ofProcess = window.process ? m_applicationOfProcess(*window.process) : std::nullopt;
    if (ofProcess && ofProcess->relation == ProcessApplication::Relation::own)
        return ofProcess->id;
    if (auto id = index->windows().ofClass(window))
        return id;
    return ofProcess ? std::optional(ofProcess->id) : std::nullopt;
}

} // namespace vantorel
