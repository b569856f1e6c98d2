#include "routing/RulesStore.h"

#include "platform/UserDefaults.h"
#include "routing/RuleJson.h"

#include <algorithm>

namespace vantorel {

namespace {

constexpr QLatin1String kRulesKey("com.qorbex.Vantorel.rules.v2");
constexpr QLatin1String kLegacyRulesKey("com.qorbex.Vantorel.rules");
constexpr QLatin1String kFallbackKey("com.qorbex.Vantorel.fallback");
constexpr QLatin1String kDebugModeKey("com.qorbex.Vantorel.debugMode");
constexpr QLatin1String kShowTipsKey("com.qorbex.Vantorel.showTips");

} // namespace

RulesStore::RulesStore(UserDefaults& defaults, std::chrono::milliseconds saveDebounce) : m_defaults(defaults) {
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(saveDebounce);
    load();
    connect(&m_saveTimer, &QTimer::timeout, this, &RulesStore::performSave);
}

void RulesStore::load() {
    loadRules();
    m_fallbackBrowserID = m_defaults.string(kFallbackKey).value_or(QString());
    m_debugModeEnabled = m_defaults.boolean(kDebugModeKey).value_or(false);
    m_showTipsEnabled = m_defaults.boolean(kShowTipsKey).value_or(true);
}

// A list under the older key is saved at once, before the other settings have been read: carrying rules over starts
// them from their initial values, as it always has.
void RulesStore::loadRules() {
    const auto current = m_defaults.data(kRulesKey);
    const auto stored = current ? current : m_defaults.data(kLegacyRulesKey);
    if (!stored)
        return;
    auto rules = decodeRules(*stored);
    if (!rules) {
        m_storedRulesAreDamaged = current.has_value();
        return;
    }
    m_rules = std::move(*rules);
    if (!current) {
        performSave();
        m_defaults.remove(kLegacyRulesKey);
        m_defaults.write();
    }
}

template <typename Value> void RulesStore::assign(Value& member, Value value, Field field) {
    Q_EMIT aboutToChange(field);
    member = std::move(value);
    Q_EMIT changed(field);
}

void RulesStore::setRules(QList<Rule> rules) {
    assign(m_rules, std::move(rules), Field::rules);
}

void RulesStore::setFallbackBrowserID(const QString& id) {
    assign(m_fallbackBrowserID, id, Field::fallbackBrowserID);
}

void RulesStore::setDebugModeEnabled(bool enabled) {
    assign(m_debugModeEnabled, enabled, Field::debugModeEnabled);
}

void RulesStore::setShowTipsEnabled(bool enabled) {
    assign(m_showTipsEnabled, enabled, Field::showTipsEnabled);
}

qsizetype RulesStore::indexOf(const QUuid& id) const {
    const auto found = std::find_if(m_rules.begin(), m_rules.end(), [&id](const Rule& rule) { return rule.id == id; });
    return found == m_rules.end() ? -1 : found - m_rules.begin();
}

void RulesStore::add(const Rule& rule) {
    QList<Rule> rules = m_rules;
    rules.append(rule);
    setRules(std::move(rules));
    scheduleSave();
}

void RulesStore::update(const Rule& rule) {
    const qsizetype index = indexOf(rule.id);
    if (index < 0)
        return;
    QList<Rule> rules = m_rules;
    rules[index] = rule;
    setRules(std::move(rules));
    scheduleSave();
}

void RulesStore::moveRule(const QUuid& id, qsizetype destination) {
    const qsizetype index = indexOf(id);
    if (index < 0)
        return;
    QList<Rule> rules = m_rules;
    const Rule moved = rules.takeAt(index);
    rules.insert(std::clamp(destination, qsizetype{0}, rules.size()), moved);
    setRules(std::move(rules));
    scheduleSave();
}

void RulesStore::scheduleSave() {
    if (!m_terminating)
        m_saveTimer.start();
}

void RulesStore::performSave() {
    // Where not even a copy can be made, the damaged list is still all that there is of the user's rules.
    m_storedRulesAreDamaged = m_storedRulesAreDamaged && !m_defaults.keepDamaged(kRulesKey);
    if (m_storedRulesAreDamaged)
        return;
    m_defaults.setData(kRulesKey, encodeRules(m_rules));
    m_defaults.setString(kFallbackKey, m_fallbackBrowserID);
    m_defaults.setBoolean(kDebugModeKey, m_debugModeEnabled);
    m_defaults.setBoolean(kShowTipsKey, m_showTipsEnabled);
    m_defaults.write();
}

void RulesStore::saveForTermination() {
    m_terminating = true;
    m_saveTimer.stop();
    performSave();
}

} // namespace vantorel
