#pragma once

#include <QString>
#include <QUuid>

#include <array>
#include <optional>

namespace vantorel {

/// One instruction of the user: links of a given form, opened by a given application, go to a given browser.
///
/// A plain value without behaviour. Nothing is validated here: empty texts are representable.
struct Rule {
    enum class MatchType { contains, domain, prefix, regex };

    /// All match types, in the order in which the editor offers them.
    static constexpr std::array<MatchType, 4> allCases = {MatchType::contains, MatchType::domain, MatchType::prefix,
                                                          MatchType::regex};

    /// The text that is shown to the user and also stored: changing one changes both.
    static QString rawValue(MatchType type);

    /// The match type with exactly this text, letter case included.
    static std::optional<MatchType> matchTypeFromRawValue(QStringView rawValue);

    QUuid id = QUuid::createUuid(); ///< identity; never changes after creation
    QString name = {};
    QString pattern = {}; ///< as typed; may hold several values (see PatternList.h)
    MatchType matchType = MatchType::contains;
    QString browserBundleID = {};
    bool isEnabled = true;
    std::optional<QString> sourceAppBundleID = {}; ///< absent and empty both mean any application, but are stored apart

    friend bool operator==(const Rule&, const Rule&) = default;
};

size_t qHash(Rule::MatchType type, size_t seed = 0);

} // namespace vantorel
