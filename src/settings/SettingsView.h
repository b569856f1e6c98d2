#pragma once

#include "routing/Rule.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <optional>

class QStackedLayout;

namespace vantorel {

class BrowserDetector;
class BrowserPicker;
class IconButton;
class InstalledAppDetector;
class RuleList;
class RuleListModel;
class RulesStore;
class Sheet;
class Switch;
class SystemSettings;

/// The content of the settings window: the rules, the fallback browser and two switches, and the way to become the
/// default browser. It follows every change of the stores, and keeps nothing but what the user is looking at.
class SettingsView : public QWidget {
    Q_OBJECT

public:
    /// Everything given must outlive the view.
    SettingsView(RulesStore& store, BrowserDetector& detector, InstalledAppDetector& appDetector,
                 SystemSettings& systemSettings, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* makeToolbar();
    QWidget* makeTipsBanner();
    QWidget* makeContent();
    QWidget* makeEmptyState();
    QWidget* makeFooter();

    void refresh();
    void setSelectedRuleID(const std::optional<QUuid>& id);
    void setDraggedRuleID(const std::optional<QUuid>& id);
    void deleteSelectedRule();
    void showAddRule();
    void presentEditor(const std::optional<Rule>& rule);
    void dismissEditor();

    RulesStore& m_store;
    BrowserDetector& m_detector;
    InstalledAppDetector& m_appDetector;
    std::optional<QUuid> m_selectedRuleID;
    std::optional<QUuid> m_draggedRuleID;

    SystemSettings& m_systemSettings;
    RuleListModel* m_rules;
    QWidget* m_tipsBanner;
    QStackedLayout* m_content;
    RuleList* m_list;
    QWidget* m_emptyState = nullptr; // made when there is first need of it
    BrowserPicker* m_fallback;
    Switch* m_tips;
    Switch* m_debugMode;
    IconButton* m_minus;
    QWidget* m_defaultMark;
    QPointer<Sheet> m_sheet;
};

} // namespace vantorel
