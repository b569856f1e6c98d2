#include "discovery/NameOrder.h"

#include <unicode/ucol.h>

namespace vantorel {

namespace {

// Without the encoding. "C" stands for no language, not for the order of its bytes: a person reads the list.
QByteArray icuName(QByteArray locale) {
    locale = locale.left(locale.indexOf('.') < 0 ? locale.size() : locale.indexOf('.'));
    return locale == "C" || locale == "POSIX" ? QByteArray() : locale;
}

const UChar* units(const QString& text) {
    return reinterpret_cast<const UChar*>(text.utf16());
}

} // namespace

NameOrder::NameOrder(const QByteArray& locale) {
    UErrorCode status = U_ZERO_ERROR;
    m_collator.reset(ucol_open(icuName(locale).constData(), &status));
    if (U_FAILURE(status))
        m_collator.reset();
}

NameOrder::~NameOrder() = default;

void NameOrder::Close::operator()(UCollator* collator) const {
    ucol_close(collator);
}

QByteArray NameOrder::keyOf(const QString& name) const {
    if (!m_collator) {
        QByteArray key;
        for (const QChar unit : name)
            key.append(static_cast<char>(unit.row())).append(static_cast<char>(unit.cell()));
        return key;
    }
    const auto length = static_cast<int32_t>(name.size());
    QByteArray key(name.size() * 4 + 16, Qt::Uninitialized);
    const auto write = [&] {
        return ucol_getSortKey(m_collator.get(), units(name), length, reinterpret_cast<uint8_t*>(key.data()),
                               static_cast<int32_t>(key.size()));
    };
    auto size = write();
    if (size > key.size()) {
        key.resize(size);
        size = write();
    }
    key.truncate(size);
    return key;
}

QByteArray NameOrder::userLocale() {
    for (const char* const variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        if (!qEnvironmentVariableIsEmpty(variable))
            return qgetenv(variable);
    }
    return {};
}

} // namespace vantorel
