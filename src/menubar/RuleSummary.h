#pragma once

#include <QString>
#include <QWidget>

#include <optional>
#include <vector>

namespace vantorel {

class RuleSummaryRow;

/// What a row says of a rule.
struct RuleLine {
    QString title;
    std::optional<QString> app; ///< absent without a source application
    QString browser;
    bool isEnabled = true;

    friend bool operator==(const RuleLine&, const RuleLine&) = default;
};

/// Rules to be looked at: a row for each, one under the other. A row that stays the same is not painted again.
class RuleSummary : public QWidget {
    Q_OBJECT

public:
    explicit RuleSummary(QWidget* parent);

    void display(const std::vector<RuleLine>& lines);

    /// Gives the rows that width in logical pixels, and returns how high they are together.
    int fitInto(int width);

private:
    std::vector<RuleSummaryRow*> m_rows; // the shown ones first
    std::size_t m_shown = 0;
};

/// A row of that list.
class RuleSummaryRow : public QWidget {
    Q_OBJECT

public:
    explicit RuleSummaryRow(QWidget* parent);

    void display(const RuleLine& line);
    int fitInto(int width);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void abbreviate();

    RuleLine m_line;
    int m_width = 0;
    QFont m_abbreviatedFor; // what the next ones were made for
    QString m_title;
    QString m_app;
    QString m_browser;
};

} // namespace vantorel
