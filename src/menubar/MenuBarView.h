#pragma once

#include <QTimer>
#include <QWidget>

#include <functional>

namespace vantorel {

class BrowserDetector;
class ElidedText;
class InstalledAppDetector;
class InterceptDebugStore;
class RowButton;
class RuleSummary;
class RulesStore;
class StatusDot;
class Text;

/// What the panel under the icon shows: whether rules are active, the last link in debug mode, the first rules, and two
/// commands.
///
/// It stores nothing and changes nothing. It shows what the four objects, which must outlive it, hold when it is made,
/// and follows them; a burst of their changes is taken over at once when the loop runs again. Main thread only.
class MenuBarView : public QWidget {
    Q_OBJECT

public:
    struct Commands {
        std::function<void()> openSettings;
        std::function<void()> quit;
    };

    MenuBarView(const RulesStore& store, const BrowserDetector& detector, const InstalledAppDetector& appDetector,
                const InterceptDebugStore& debugStore, Commands commands, QWidget* parent = nullptr);

    /// The size that fits, in logical pixels, right from the start. A view that is given more height leaves it empty
    /// between the rules and the commands.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

    /// How many rules are enabled.
    qsizetype activeCount() const;

    /// What to call a browser and an application: see displayName().
    QString browserName(const QString& bundleID) const;
    QString shortAppName(const QString& bundleID) const;

Q_SIGNALS:
    /// After `sizeHint` has changed. A parent with a layout, or without one, is asked to lay out anew as well.
    void fittingSizeChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void refresh();
    void refreshDebugSection();
    void refreshRules();
    void arrange();

    const RulesStore& m_store;
    const BrowserDetector& m_detector;
    const InstalledAppDetector& m_appDetector;
    const InterceptDebugStore& m_debugStore;
    QTimer m_refreshTimer;

    Text* m_name;
    Text* m_credit;
    StatusDot* m_status;
    Text* m_debugTitle;
    ElidedText* m_url;
    ElidedText* m_source;
    ElidedText* m_decision;
    RuleSummary* m_rules;
    ElidedText* m_note; // instead of rules, or of those that are not shown
    RowButton* m_settings;
    RowButton* m_quit;

    int m_fittingHeight = 0;
    QRect m_symbol;
    QList<int> m_dividers; // from the top
};

} // namespace vantorel
