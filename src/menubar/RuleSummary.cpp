#include "menubar/RuleSummary.h"

#include "controls/AccessibleRole.h"
#include "controls/ElidedText.h"
#include "controls/Symbol.h"
#include "controls/Theme.h"

#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace vantorel {

namespace {

constexpr int kSides = 12;
constexpr int kPadding = 5; // above and below
constexpr int kDot = 6;
constexpr int kGap = 8; // from the dot to the texts
constexpr int kLineGap = 2; // between title and caption
constexpr int kPartGap = 4; // between the parts of the caption
constexpr int kBadge = 12;
constexpr int kArrow = 10;
constexpr int kTextLeft = kSides + kDot + kGap;
constexpr qreal kDisabledOpacity = 0.4;

QFont titleFont(const QFont& body) {
    QFont font = theme::font(theme::Type::footnote, body);
    font.setWeight(QFont::Medium);
    return font;
}

QFont captionFont(const QFont& body) {
    return theme::font(theme::Type::caption2, body);
}

QString joinedOf(const QString& text, const QFont& font, qreal width, bool& isElided) {
    const Elided shown = elided(text, font, width, 1);
    isElided |= shown.isElided;
    return shown.joined();
}

} // namespace

RuleSummary::RuleSummary(QWidget* parent) : QWidget(parent) {
    setAccessibleRole(staticMetaObject, QAccessible::List);
}

void RuleSummary::display(const std::vector<RuleLine>& lines) {
    while (m_rows.size() < lines.size())
        m_rows.push_back(new RuleSummaryRow(this));
    m_shown = lines.size();
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        if (i < m_shown)
            m_rows[i]->display(lines[i]);
        // What is shown already would be laid out once more.
        if (m_rows[i]->isHidden() == (i < m_shown))
            m_rows[i]->setVisible(i < m_shown);
    }
}

int RuleSummary::fitInto(int width) {
    int top = 0;
    for (std::size_t i = 0; i < m_shown; ++i) {
        const int height = m_rows[i]->fitInto(width);
        m_rows[i]->setGeometry(0, top, width, height);
        top += height;
    }
    return top;
}

RuleSummaryRow::RuleSummaryRow(QWidget* parent) : QWidget(parent) {
    setAccessibleRole(staticMetaObject, QAccessible::ListItem);
}

void RuleSummaryRow::display(const RuleLine& line) {
    if (line == m_line)
        return;
    m_line = line;
    setAccessibleName(line.title.simplified());
    const QString way = line.app ? tr("%1 → %2", "application and browser").arg(*line.app, line.browser)
                                 : tr("→ %1", "browser").arg(line.browser);
    setAccessibleDescription(line.isEnabled ? way : tr("%1 (disabled)", "what a rule does").arg(way));
    m_width = 0;
    update();
}

int RuleSummaryRow::fitInto(int width) {
    if (m_width != width || m_abbreviatedFor != font()) {
        m_width = width;
        m_abbreviatedFor = font();
        abbreviate();
        update();
    }
    return 2 * kPadding + QFontMetrics(titleFont(font())).height() + kLineGap
        + QFontMetrics(captionFont(font())).height();
}

// Text is measured here, once, and not with each painting.
void RuleSummaryRow::abbreviate() {
    const QFont caption = captionFont(font());
    const QFontMetricsF metrics(caption);
    const qreal space = m_width - kTextLeft - kSides;
    bool isElided = false;
    m_title = joinedOf(m_line.title, titleFont(font()), space, isElided);
    qreal captionSpace = space - kArrow - kPartGap;
    m_app.clear();
    if (m_line.app) {
        captionSpace -= kBadge + 2 * kPartGap;
        // However long the application's name is, where its links go stays readable.
        const QString whole = elided(m_line.browser, caption, captionSpace, 1).joined();
        const qreal browser = std::min(metrics.horizontalAdvance(whole), captionSpace / 2);
        m_app = joinedOf(*m_line.app, caption, std::floor(captionSpace - browser), isElided);
        captionSpace -= metrics.horizontalAdvance(m_app);
    }
    m_browser = joinedOf(m_line.browser, caption, std::ceil(captionSpace), isElided);
    setToolTip(isElided ? toolTipFor(m_line.title) + toolTipFor(accessibleDescription()) : QString());
}

void RuleSummaryRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!m_line.isEnabled)
        painter.setOpacity(kDisabledOpacity);
    const bool mirrored = layoutDirection() == Qt::RightToLeft;
    const QPalette& colors = palette();
    const auto placeAt = [&](qreal left, qreal top, qreal wide, qreal high) {
        return QRectF(mirrored ? width() - left - wide : left, top, wide, high);
    };

    QColor dot = theme::color(m_line.isEnabled ? theme::Tone::green : theme::Tone::gray, colors);
    if (!m_line.isEnabled)
        dot.setAlphaF(0.5F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(dot);
    painter.drawEllipse(placeAt(kSides, (height() - kDot) / 2.0, kDot, kDot));
    painter.setBrush(Qt::NoBrush);

    // A line of text from the leading edge, in the direction of its own script.
    const auto write = [&](const QString& text, const QFont& face, theme::Tone tone, qreal left, qreal top) {
        const QFontMetricsF metrics(face);
        const qreal wide = metrics.horizontalAdvance(text);
        painter.setFont(face);
        painter.setPen(theme::color(tone, colors));
        painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
        painter.drawText(placeAt(left, top, wide, 0).topLeft() + QPointF(0, metrics.ascent()), text);
        return wide;
    };
    const QFont title = titleFont(font()), caption = captionFont(font());
    write(m_title, title, theme::Tone::primary, kTextLeft, kPadding);

    const qreal top = kPadding + QFontMetrics(title).height() + kLineGap;
    const qreal high = QFontMetrics(caption).height();
    qreal left = kTextLeft;
    if (m_line.app) {
        paintSymbol(painter, placeAt(left, top, kBadge, high), Symbol::appBadge,
                    theme::color(theme::Tone::purple, colors));
        left += kBadge + kPartGap;
        left += write(m_app, caption, theme::Tone::purple, left, top) + kPartGap;
    }
    paintArrow(painter, placeAt(left, top, kArrow, high), theme::color(theme::Tone::secondary, colors),
               layoutDirection());
    left += kArrow + kPartGap;
    write(m_browser, caption, theme::Tone::secondary, left, top);
}

} // namespace vantorel
