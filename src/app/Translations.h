#pragma once

#include <QStringList>

#include <optional>

namespace vantorel {

/// The first of the languages that the program speaks, as its translation is called ("de"); absent when that is
/// English, in which the texts are written, and when it is none of them. Languages are named as by
/// QLocale::uiLanguages().
std::optional<QString> translationFor(const QStringList& languages);

/// From now on texts come in the first of the languages that the program speaks, those of Qt itself as well where they
/// are installed, and windows are laid out in its direction. For before the first window, on the main thread.
void installTranslation(const QStringList& languages);

} // namespace vantorel
