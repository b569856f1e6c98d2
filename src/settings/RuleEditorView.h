#pragma once

#include "routing/Rule.h"

#include <QWidget>

#include <optional>

class QLineEdit;
class QPushButton;

namespace vantorel {

class AppPicker;
class BrowserDetector;
class BrowserPicker;
class InstalledAppDetector;
class RuleEditor;
class RulesStore;
class SegmentedControl;
class Text;

/// The sheet in which one rule is made or changed. Everything that it decides is `RuleEditor`'s.
class RuleEditorView : public QWidget {
    Q_OBJECT

public:
    /// Without a rule it makes a new one.
    RuleEditorView(RulesStore& store, BrowserDetector& detector, InstalledAppDetector& appDetector,
                   const std::optional<Rule>& rule, QWidget* parent = nullptr);

Q_SIGNALS:
    /// The sheet is done with: saved, or given up.
    void dismissed();

private:
    QWidget* makeHeader();
    QWidget* makeGrid(BrowserDetector& detector, InstalledAppDetector& appDetector);
    QWidget* makeButtons();
    void refresh();

    RuleEditor* m_editor;
    bool m_isNew;
    QLineEdit* m_name;
    AppPicker* m_sourceApp;
    Text* m_sourceAppCaption;
    SegmentedControl* m_matchType;
    class PatternBox;
    PatternBox* m_pattern;
    Text* m_patternCaption;
    BrowserPicker* m_browser;
    QPushButton* m_save;
};

} // namespace vantorel
