#pragma once

#include "routing/Rule.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <optional>

namespace vantorel {

class RulesStore;

/// What happens in the sheet in which one rule is created or changed: a working copy of its fields, the check of
/// regular expressions while they are typed, and whether and what to save. Main thread only.
///
/// Typing never waits for long. What compiled before is not compiled again while it stays in the pattern text, and one
/// turn of the event loop goes on to the next expression for `kValidationTurn` at most. With very many new expressions
/// in one text (after pasting a long list, say) the rest is checked in the turns that follow; until then there is no
/// error, and nothing can be saved.
class RuleEditor : public QObject {
    Q_OBJECT

public:
    /// The line below the pattern box.
    struct Caption {
        enum class Kind { none, help, error };
        Kind kind = Kind::none;
        QString text = {}; ///< plain text, an error at most `kLongestCaption` long: the middle is left out

        friend bool operator==(const Caption&, const Caption&) = default;
    };

    static constexpr std::chrono::milliseconds kValidationTurn{20};
    static constexpr qsizetype kLongestCaption = 500;

    /// Edits a rule, or makes a new one. The store must outlive the editor.
    RuleEditor(RulesStore& store, std::optional<Rule> rule, std::chrono::milliseconds validationTurn = kValidationTurn);

    /// To be called once, when the sheet is shown: takes the fields of the rule that is edited. Validates nothing.
    void prefill();

    bool isEditing() const { return m_rule.has_value(); }

    const QString& name() const { return m_name; }
    void setName(const QString& name);

    /// As typed; a change is validated.
    const QString& pattern() const { return m_pattern; }
    void setPattern(const QString& pattern);

    /// A change takes the error away and validates nothing: an expression that was typed as something else is judged
    /// when it is next edited.
    Rule::MatchType matchType() const { return m_matchType; }
    void setMatchType(Rule::MatchType type);

    const QString& browserBundleID() const { return m_browserBundleID; }
    void setBrowserBundleID(const QString& id);

    /// Matters for an edited rule only: a new one is always enabled.
    bool isEnabled() const { return m_isEnabled; }
    void setIsEnabled(bool enabled);

    /// Empty means any application.
    const QString& sourceAppBundleID() const { return m_sourceAppBundleID; }
    void setSourceAppBundleID(const QString& id);

    /// What is wrong with the first value of the pattern text that is no regular expression, naming it in full.
    const std::optional<QString>& regexError() const { return m_regexError; }

    /// Compiles what has not been compiled yet, and sets or clears the error.
    void validateRegex();

    /// Whether it takes later turns of the event loop to know if there is an error.
    bool isValidating() const;

    bool isSaveDisabled() const;

    /// Adds the new rule, or replaces the edited one; does nothing if that has been deleted meanwhile. All texts are
    /// stored exactly as typed.
    void save();

    QString title() const;
    QString saveTitle() const;
    QString patternPlaceholder() const;
    Caption caption() const;
    /// The line below the source application; empty when there is none.
    QString sourceAppCaption() const;

Q_SIGNALS:
    /// After each change of anything above.
    void changed();

private:
    void validateForOneTurn();

    RulesStore& m_store;
    const std::optional<Rule> m_rule;
    QString m_name;
    QString m_pattern;
    Rule::MatchType m_matchType = Rule::MatchType::contains;
    QString m_browserBundleID;
    bool m_isEnabled = true;
    QString m_sourceAppBundleID;
    std::optional<QString> m_regexError;
    // What is wrong with values of the pattern text; null for nothing. All that was known before the text changed, and
    // what is found again or anew in it, up to a position.
    QHash<QString, QString> m_known;
    QHash<QString, QString> m_found;
    qsizetype m_position = 0;
    const std::chrono::milliseconds m_validationTurn;
    QTimer m_nextTurn;
};

} // namespace vantorel
