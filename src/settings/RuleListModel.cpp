#include "settings/RuleListModel.h"

#include "discovery/BrowserDetector.h"
#include "discovery/InstalledAppDetector.h"
#include "routing/RulesStore.h"
#include "settings/RowDiff.h"

#include <QScopedValueRollback>

#include <algorithm>

namespace vantorel {

namespace {

QList<QUuid> idsOf(const QList<Rule>& rules) {
    QList<QUuid> ids;
    ids.reserve(rules.size());
    for (const Rule& rule : rules)
        ids.append(rule.id);
    return ids;
}

qsizetype indexOf(const QList<Rule>& rules, const QUuid& id) {
    const auto found = std::find_if(rules.begin(), rules.end(), [&id](const Rule& rule) { return rule.id == id; });
    return found == rules.end() ? -1 : found - rules.begin();
}

bool hasApp(const Rule& rule) {
    return rule.sourceAppBundleID && !rule.sourceAppBundleID->isEmpty();
}

} // namespace

RuleListModel::RuleListModel(RulesStore& store, BrowserDetector& browsers, InstalledAppDetector& apps, QObject* parent)
    : QAbstractListModel(parent)
    , m_store(store)
    , m_browsers(browsers)
    , m_apps(apps)
    , m_rules(store.rules())
    , m_browserNames(browsers.browsers())
    , m_appNames(apps.apps()) {
    connect(&store, &RulesStore::changed, this, [this](RulesStore::Field field) {
        if (field == RulesStore::Field::rules)
            followStore();
    });
    connect(&browsers, &BrowserDetector::browsersChanged, this, &RuleListModel::followBrowsers);
    connect(&apps, &InstalledAppDetector::appsChanged, this, &RuleListModel::followApps);
}

// Whoever hears of one step may change the store in turn; that has to wait for the steps that are left.
void RuleListModel::followStore() {
    m_storeChangedMeanwhile = true;
    if (m_following)
        return;
    const QScopedValueRollback following(m_following, true);
    while (m_storeChangedMeanwhile) {
        m_storeChangedMeanwhile = false;
        takeRules(QList<Rule>(m_store.rules()));
    }
}

void RuleListModel::takeRules(const QList<Rule>& rules) {
    struct Rows {
        RuleListModel& model;
        const QList<Rule>& rules;

        void remove(qsizetype first, qsizetype count) {
            model.beginRemoveRows({}, first, first + count - 1);
            model.m_rules.remove(first, count);
            model.endRemoveRows();
        }
        void move(qsizetype row, qsizetype destination) {
            model.beginMoveRows({}, row, row, {}, destination > row ? destination + 1 : destination);
            model.m_rules.move(row, destination);
            model.endMoveRows();
        }
        void insert(qsizetype first, qsizetype count) {
            model.beginInsertRows({}, first, first + count - 1);
            // One growth of the list, however long the run.
            model.m_rules.insert(first, count, Rule{.id = {}});
            std::copy_n(rules.begin() + first, count, model.m_rules.begin() + first);
            model.endInsertRows();
        }
    };
    changeRows(idsOf(m_rules), idsOf(rules), Rows{*this, rules});
    eachRun(
        rules.size(), [this, &rules](qsizetype row) { return m_rules.at(row) != rules.at(row); },
        [this, &rules](qsizetype first, qsizetype last) {
            std::copy(rules.begin() + first, rules.begin() + last + 1, m_rules.begin() + first);
            Q_EMIT dataChanged(index(first), index(last));
        });
}

void RuleListModel::followBrowsers() {
    const AppNames before = std::exchange(m_browserNames, AppNames(m_browsers.browsers()));
    eachRun(
        m_rules.size(),
        [this, &before](qsizetype row) {
            const QString& id = rule(row).browserBundleID;
            return before.nameOf(id) != browserName(row) || before.iconOf(id) != browserIconName(row);
        },
        [this](qsizetype first, qsizetype last) { Q_EMIT dataChanged(index(first), index(last), {BrowserNameRole}); });
}

void RuleListModel::followApps() {
    const AppNames before = std::exchange(m_appNames, AppNames(m_apps.apps()));
    eachRun(
        m_rules.size(),
        [this, &before](qsizetype row) {
            if (!hasApp(rule(row)))
                return false;
            const QString& id = *rule(row).sourceAppBundleID;
            return before.nameOf(id) != appName(row) || before.iconOf(id) != appIconName(row);
        },
        [this](qsizetype first, qsizetype last) { Q_EMIT dataChanged(index(first), index(last), {AppNameRole}); });
}

int RuleListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rules.size();
}

QVariant RuleListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    switch (role) {
    case Qt::DisplayRole: return title(index.row());
    case Qt::CheckStateRole: return rule(index.row()).isEnabled ? Qt::Checked : Qt::Unchecked;
    case IDRole: return rule(index.row()).id;
    case AppNameRole: {
        const auto name = appName(index.row());
        return name ? QVariant(*name) : QVariant();
    }
    case BrowserNameRole: return browserName(index.row());
    default: return {};
    }
}

bool RuleListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || !index.isValid())
        return false;
    setEnabled(index.row(), value.toInt() == Qt::Checked);
    return true;
}

Qt::ItemFlags RuleListModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable | Qt::ItemNeverHasChildren;
}

const Rule& RuleListModel::rule(int row) const {
    return m_rules.at(row);
}

QString RuleListModel::title(int row) const {
    const Rule& shown = rule(row);
    if (!shown.name.isEmpty())
        return shown.name;
    return shown.pattern.isEmpty() ? tr("App Rule") : shown.pattern;
}

std::optional<QString> RuleListModel::appName(int row) const {
    if (!hasApp(rule(row)))
        return std::nullopt;
    return m_appNames.nameOf(*rule(row).sourceAppBundleID);
}

QString RuleListModel::browserName(int row) const {
    return m_browserNames.nameOf(rule(row).browserBundleID);
}

QString RuleListModel::appIconName(int row) const {
    return hasApp(rule(row)) ? m_appNames.iconOf(*rule(row).sourceAppBundleID) : QString();
}

QString RuleListModel::browserIconName(int row) const {
    return m_browserNames.iconOf(rule(row).browserBundleID);
}

int RuleListModel::rowOf(const QUuid& id) const {
    return indexOf(m_rules, id);
}

void RuleListModel::setEnabled(int row, bool enabled) {
    Rule changed = rule(row);
    changed.isEnabled = enabled;
    m_store.update(changed);
}

bool RuleListModel::moveRule(const QUuid& dragged, const QUuid& target) {
    const qsizetype destination = indexOf(m_store.rules(), target);
    if (dragged == target || destination < 0 || indexOf(m_store.rules(), dragged) < 0)
        return false;
    m_store.moveRule(dragged, destination);
    return true;
}

bool RuleListModel::moveBy(int row, int delta) {
    const QUuid id = rule(row).id;
    const qsizetype from = indexOf(m_store.rules(), id);
    const auto destination = std::clamp(from + delta, qsizetype{0}, m_store.rules().size() - 1);
    if (from < 0 || destination == from)
        return false;
    m_store.moveRule(id, destination);
    return true;
}

bool RuleListModel::removeRule(const QUuid& id) {
    QList<Rule> rules = m_store.rules();
    const qsizetype index = indexOf(rules, id);
    if (index < 0)
        return false;
    rules.removeAt(index);
    m_store.setRules(std::move(rules));
    m_store.scheduleSave();
    return true;
}

} // namespace vantorel
