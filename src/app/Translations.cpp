#include "app/Translations.h"

#include <QFile>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace vantorel {

namespace {

const auto kFolder = QStringLiteral(":/translations");
const auto kFile = QStringLiteral("vantorel_%1.qm");

void install(const QString& file, const QString& folder) {
    auto* const translator = new QTranslator(qApp);
    if (!translator->load(file, folder) || !QCoreApplication::installTranslator(translator))
        delete translator;
}

} // namespace

std::optional<QString> translationFor(const QStringList& languages) {
    for (const QString& language : languages) {
        // What comes after English is for programs that speak none. (A language that Qt does not know comes as "C".)
        if (QLocale(language).language() == QLocale::English)
            return std::nullopt;
        // "de_AT" can read "de".
        QString name = QString(language).replace(u'-', u'_');
        while (!name.isEmpty() && !QFile::exists(kFolder + u'/' + kFile.arg(name)))
            name.truncate(std::max<qsizetype>(name.lastIndexOf(u'_'), 0));
        if (!name.isEmpty())
            return name;
    }
    return std::nullopt;
}

void installTranslation(const QStringList& languages) {
    const auto name = translationFor(languages);
    if (!name)
        return;
    install(QStringLiteral("qtbase_") + *name, QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    install(kFile.arg(*name), kFolder);
    QGuiApplication::setLayoutDirection(QLocale(*name).textDirection());
}

} // namespace vantorel
