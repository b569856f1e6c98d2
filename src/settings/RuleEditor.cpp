#include "settings/RuleEditor.h"

#include "routing/IcuRegex.h"
#include "routing/PatternList.h"
#include "routing/RulesStore.h"

#include <utility>

namespace vantorel {

namespace {

/// Null when the value compiles.
QString verdictOn(QStringView value) {
    const auto result = IcuRegex::compile(value, IcuRegex::CaseSensitivity::sensitive);
    const auto* const error = std::get_if<RegexError>(&result);
    return error ? error->message : QString();
}

QString withoutMiddle(const QString& text, qsizetype longest) {
    if (text.size() <= longest)
        return text;
    return text.left(longest / 2) + u'…' + text.right((longest - 1) / 2);
}

} // namespace

RuleEditor::RuleEditor(RulesStore& store, std::optional<Rule> rule, std::chrono::milliseconds validationTurn)
    : m_store(store)
    , m_rule(std::move(rule))
    , m_validationTurn(validationTurn) {
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setInterval(0);
    connect(&m_nextTurn, &QTimer::timeout, this, [this] {
        const bool hadError = m_regexError.has_value();
        validateForOneTurn();
        if (!isValidating() && !hadError)
            Q_EMIT changed();
    });
}

void RuleEditor::prefill() {
    if (!m_rule)
        return;
    m_name = m_rule->name;
    m_pattern = m_rule->pattern;
    m_matchType = m_rule->matchType;
    m_browserBundleID = m_rule->browserBundleID;
    m_isEnabled = m_rule->isEnabled;
    m_sourceAppBundleID = m_rule->sourceAppBundleID.value_or(QString());
    Q_EMIT changed();
}

void RuleEditor::setName(const QString& name) {
    if (name == m_name)
        return;
    m_name = name;
    Q_EMIT changed();
}

void RuleEditor::setPattern(const QString& pattern) {
    if (pattern == m_pattern)
        return;
    m_pattern = pattern;
    validateRegex();
    Q_EMIT changed();
}

void RuleEditor::setMatchType(Rule::MatchType type) {
    if (type == m_matchType)
        return;
    m_matchType = type;
    m_regexError.reset();
    m_nextTurn.stop();
    Q_EMIT changed();
}

void RuleEditor::setBrowserBundleID(const QString& id) {
    if (id == m_browserBundleID)
        return;
    m_browserBundleID = id;
    Q_EMIT changed();
}

void RuleEditor::setIsEnabled(bool enabled) {
    if (enabled == m_isEnabled)
        return;
    m_isEnabled = enabled;
    Q_EMIT changed();
}

void RuleEditor::setSourceAppBundleID(const QString& id) {
    if (id == m_sourceAppBundleID)
        return;
    m_sourceAppBundleID = id;
    Q_EMIT changed();
}

void RuleEditor::validateRegex() {
    m_nextTurn.stop();
    m_regexError.reset();
    m_known.insert(std::exchange(m_found, {})); // the last validation may not have come to the end of its text
    m_position = 0;
    if (m_matchType == Rule::MatchType::regex)
        validateForOneTurn();
}

void RuleEditor::validateForOneTurn() {
    using Clock = std::chrono::steady_clock;
    constexpr int kLookUpsBetweenClockReads = 4096;
    const auto begin = Clock::now();
    bool hasCompiled = false;
    int lookUps = 0;
    const auto judge = [&](QStringView value) {
        // Nothing is copied to look a value up.
        const auto key = QString::fromRawData(value.data(), value.size());
        const auto known = m_known.constFind(key);
        const bool isNew = known == m_known.constEnd() && !m_found.contains(key);
        if (isNew && m_regexError)
            return false;
        const bool mayStop = isNew ? hasCompiled : ++lookUps % kLookUpsBetweenClockReads == 0;
        if (mayStop && Clock::now() - begin >= m_validationTurn) {
            m_position = value.data() - m_pattern.constData();
            return true;
        }
        hasCompiled = hasCompiled || isNew;
        if (isNew)
            m_found.insert(value.toString(), verdictOn(value));
        else if (known != m_known.constEnd())
            m_found.insert(known.key(), *known);
        const QString& verdict = m_found[key];
        if (!m_regexError && !verdict.isNull())
            m_regexError = tr("Invalid regex '%1': %2").arg(value.toString(), verdict);
        return false;
    };
    if (anyPattern(QStringView(m_pattern).sliced(m_position), judge))
        m_nextTurn.start();
    else
        m_known = std::exchange(m_found, {});
}

bool RuleEditor::isValidating() const {
    return m_nextTurn.isActive() && !m_regexError;
}

bool RuleEditor::isSaveDisabled() const {
    return m_browserBundleID.isEmpty() || (m_pattern.isEmpty() && m_sourceAppBundleID.isEmpty()) || m_regexError
        || isValidating();
}

void RuleEditor::save() {
    Rule rule = m_rule.value_or(Rule());
    rule.name = m_name;
    rule.pattern = m_pattern;
    rule.matchType = m_matchType;
    rule.browserBundleID = m_browserBundleID;
    rule.isEnabled = !m_rule || m_isEnabled;
    rule.sourceAppBundleID = m_sourceAppBundleID.isEmpty() ? std::nullopt : std::optional(m_sourceAppBundleID);
    if (m_rule)
        m_store.update(rule);
    else
        m_store.add(rule);
}

QString RuleEditor::title() const {
    return isEditing() ? tr("Edit Rule") : tr("Add Rule");
}

QString RuleEditor::saveTitle() const {
    return isEditing() ? tr("Save Changes") : tr("Add Rule");
}

QString RuleEditor::patternPlaceholder() const {
    QString text;
    switch (m_matchType) {
    case Rule::MatchType::contains: text = tr("e.g.  app.example.com, docs.example.com"); break;
    case Rule::MatchType::domain: text = tr("e.g.  www.example.com, mail.example.com"); break;
    case Rule::MatchType::prefix:
        text = tr("e.g.  https://accounts.google.com, https://login.microsoftonline.com");
        break;
    case Rule::MatchType::regex:
        text = tr("e.g.  https?://[^/]+\\.example\\.com/.*, ^https://accounts\\.google\\.com");
        break;
    }
    return m_sourceAppBundleID.isEmpty() ? text : tr("%1 — or leave empty to match all URLs").arg(text);
}

RuleEditor::Caption RuleEditor::caption() const {
    if (m_regexError)
        return {.kind = Caption::Kind::error, .text = withoutMiddle(*m_regexError, kLongestCaption)};
    if (m_pattern.isEmpty()) {
        if (m_sourceAppBundleID.isEmpty())
            return {};
        return {.kind = Caption::Kind::help, .text = tr("Leave empty to match all URLs from this app.")};
    }
    QString text;
    switch (m_matchType) {
    case Rule::MatchType::contains:
        text = tr("Matches if the full URL contains any listed value (case-insensitive). "
                  "Separate values with commas or new lines.");
        break;
    case Rule::MatchType::domain:
        text = tr("Matches if the hostname exactly equals any listed value. "
                  "Separate values with commas or new lines.");
        break;
    case Rule::MatchType::prefix:
        text = tr("Matches if the full URL starts with any listed value. Separate values with commas or new lines.");
        break;
    case Rule::MatchType::regex:
        text = tr("Matches if the full URL matches any listed regular expression. "
                  "Separate values with commas or new lines.");
        break;
    }
    return {.kind = Caption::Kind::help, .text = text};
}

QString RuleEditor::sourceAppCaption() const {
    return m_sourceAppBundleID.isEmpty() ? QString() : tr("Rule only fires when a URL is opened by this app.");
}

} // namespace vantorel
