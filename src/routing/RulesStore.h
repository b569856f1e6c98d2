#pragma once

#include "routing/Rule.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <chrono>

namespace vantorel {

class UserDefaults;

/// The one owner of the user's configuration: the rules in evaluation order, the fallback browser, two switches.
///
/// Main thread only. Every change is announced twice, before the value changes and after. A write to a field persists
/// nothing by itself: its writer calls `scheduleSave()`, and one save follows when no signal has come for the debounce
/// interval. `add`, `update` and `moveRule` do so themselves.
class RulesStore : public QObject {
    Q_OBJECT

public:
    enum class Field { rules, fallbackBrowserID, debugModeEnabled, showTipsEnabled };
    Q_ENUM(Field)

    /// How long a burst of changes must have been over before it is saved.
    static constexpr std::chrono::milliseconds kSaveDebounce{400};

    /// Loads everything from the defaults, which must outlive the store. A list that does not decode leaves the store
    /// without rules; its bytes are put aside before the first save replaces them.
    explicit RulesStore(UserDefaults& defaults, std::chrono::milliseconds saveDebounce = kSaveDebounce);

    const QList<Rule>& rules() const { return m_rules; }
    void setRules(QList<Rule> rules);

    /// The browser for links that no rule takes; empty means none chosen.
    const QString& fallbackBrowserID() const { return m_fallbackBrowserID; }
    void setFallbackBrowserID(const QString& id);

    bool debugModeEnabled() const { return m_debugModeEnabled; }
    void setDebugModeEnabled(bool enabled);

    bool showTipsEnabled() const { return m_showTipsEnabled; }
    void setShowTipsEnabled(bool enabled);

    /// Appends the rule; does not look for a duplicate id.
    void add(const Rule& rule);

    /// Replaces the first rule with the same id; without one it does nothing, and saves nothing.
    void update(const Rule& rule);

    /// Moves the first rule with this id to an index of the list without it; an index out of range means the nearest
    /// end. An unknown id does nothing, and saves nothing.
    void moveRule(const QUuid& id, qsizetype destination);

    void scheduleSave();

    /// Writes all four values at once. Failures are not reported; the next save writes everything again. As long as a
    /// damaged list cannot be put aside, nothing is written over it.
    void performSave();

    /// For termination: drops a pending debounced save, saves at once, and ignores `scheduleSave()` from then on.
    void saveForTermination();

Q_SIGNALS:
    void aboutToChange(vantorel::RulesStore::Field field);
    void changed(vantorel::RulesStore::Field field);

private:
    void load();
    void loadRules();
    qsizetype indexOf(const QUuid& id) const;
    template <typename Value> void assign(Value& member, Value value, Field field);

    UserDefaults& m_defaults;
    QList<Rule> m_rules;
    QString m_fallbackBrowserID;
    bool m_debugModeEnabled = false;
    bool m_showTipsEnabled = true;
    bool m_storedRulesAreDamaged = false;
    bool m_terminating = false;
    QTimer m_saveTimer;
};

} // namespace vantorel
