#pragma once

#include "routing/Rule.h"
#include "settings/AppNames.h"

#include <QAbstractListModel>

#include <optional>

namespace vantorel {

class BrowserDetector;
class InstalledAppDetector;
class RulesStore;

/// The rules of the store in their order, with the texts that their rows show.
///
/// Follows the store and both detectors, all of which must outlive it, and never resets: a change removes, moves,
/// inserts or changes no more rows than it must, so that a row keeps what the view knows of it. Main thread only.
class RuleListModel : public QAbstractListModel {
    Q_OBJECT

public:
    /// Qt::DisplayRole is the title, Qt::CheckStateRole whether the rule is enabled, which can be set.
    enum Role {
        IDRole = Qt::UserRole, ///< QUuid
        AppNameRole, ///< invalid for a rule for links from any application
        BrowserNameRole,
    };

    RuleListModel(RulesStore& store, BrowserDetector& browsers, InstalledAppDetector& apps, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // Rows are from 0 to below rowCount().
    const Rule& rule(int row) const;
    /// The name of the rule, else its pattern as stored, else a text that says that it has neither.
    QString title(int row) const;
    /// Absent for a rule for links from any application.
    std::optional<QString> appName(int row) const;
    QString browserName(int row) const;
    // As appIcon() takes them; empty for what is not installed, and without a source application.
    QString appIconName(int row) const;
    QString browserIconName(int row) const;

    /// The first row with this id; -1 without one.
    int rowOf(const QUuid& id) const;

    // What the user does; all of it is saved. Where several rules share an id, the store acts on the first of them.

    void setEnabled(int row, bool enabled);

    /// Puts a rule in the place of another one. False, and nothing happens, when they are the same or one is unknown.
    bool moveRule(const QUuid& dragged, const QUuid& target);

    /// Moves a rule up (below 0) or down by some rows, at most to the end. False when it is there already.
    bool moveBy(int row, int delta);

    /// False when there is no rule with this id.
    bool removeRule(const QUuid& id);

private:
    void followStore();
    void takeRules(const QList<Rule>& rules);
    void followBrowsers();
    void followApps();

    RulesStore& m_store;
    BrowserDetector& m_browsers;
    InstalledAppDetector& m_apps;
    QList<Rule> m_rules; // what has been announced, not always what the store has by now
    AppNames m_browserNames;
    AppNames m_appNames;
    bool m_following = false;
    bool m_storeChangedMeanwhile = false;
};

} // namespace vantorel
