#include "routing/PatternList.h"

namespace vantorel {

QList<QStringView> splitPatterns(QStringView text) {
    QList<QStringView> values;
    anyPattern(text, [&values](QStringView value) {
        values.append(value);
        return false;
    });
    return values;
}

} // namespace vantorel
