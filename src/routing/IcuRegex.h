#pragma once

#include <QString>

#include <memory>
#include <variant>

struct URegularExpression;

namespace vantorel {

/// Why a regular expression does not compile, as ICU tells it.
struct RegexError {
    QString message; ///< what is wrong, in words
    int position; ///< UTF-16 units of the expression before the place; -1 when ICU names none
};

/// A compiled regular expression with ICU's syntax and meaning, searched over UTF-16.
///
/// One thread at a time: a search uses the expression's own state. Move-only.
class IcuRegex {
public:
    enum class CaseSensitivity { sensitive, insensitive };

    static std::variant<IcuRegex, RegexError> compile(QStringView expression, CaseSensitivity caseSensitivity);

    /// Whether the expression matches anywhere in the text. A search that has taken 80 ms is given up at ICU's next
    /// check (every 10,000 steps back, and at every new start in the text), and a search that outgrows ICU's own limit
    /// on its stack (8 MB) at once; both count as no match.
    bool isFoundIn(QStringView text);

private:
    struct Close {
        void operator()(URegularExpression* regex) const;
    };
    using Handle = std::unique_ptr<URegularExpression, Close>;

    explicit IcuRegex(Handle regex);

    Handle m_regex;
};

} // namespace vantorel
