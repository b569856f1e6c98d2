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

    /// ICU cannot be stopped while it compiles: an expression that could take very long is refused as too big
    /// (see RegexCost.h).
    static std::variant<IcuRegex, RegexError> compile(QStringView expression, CaseSensitivity caseSensitivity);

    /// Whether the expression matches anywhere in the text. A search takes at most a tenth of a second: it is given up
    /// at ICU's first check after 50 ms (every 10,000 steps back, and at every new start in the text), and at once when
    /// it outgrows ICU's own limit on its stack (8 MB). A step back over a back-reference costs as much as the text is
    /// long, so that an expression with one is not searched for in a text of more than 4,096 UTF-16 units. All these
    /// count as no match.
    bool isFoundIn(QStringView text);

private:
    struct Close {
        void operator()(URegularExpression* regex) const;
    };
    using Handle = std::unique_ptr<URegularExpression, Close>;

    IcuRegex(Handle regex, bool hasBackReference);

    Handle m_regex;
    bool m_hasBackReference;
};

} // namespace vantorel
