#include "controls/ElidedText.h"

#include <QTextLayout>
#include <QToolTip>

#include <algorithm>

namespace vantorel {

namespace {

constexpr qsizetype kMostLetters = 2000; // more do not fit into any place that we have
constexpr int kToolTipWidth = 420;
constexpr int kToolTipLines = 16;
constexpr QChar kEllipsis(0x2026);

} // namespace

QString Elided::joined() const {
    return lines.join(QString());
}

Elided elided(const QString& text, const QFont& font, qreal width, int mostLines) {
    const QStringView trimmed = QStringView(text).trimmed();
    QString seen = trimmed.left(kMostLetters).toString().simplified();
    if (seen.isEmpty())
        return {};
    const bool isLonger = trimmed.size() > kMostLetters;
    if (isLonger) {
        if (seen.back().isHighSurrogate())
            seen.chop(1);
        seen += kEllipsis;
    }
    const QFontMetricsF metrics(font);
    const auto lastLine = [&](const QString& rest) { return metrics.elidedText(rest, Qt::ElideRight, width); };
    if (mostLines == 1) {
        const QString line = lastLine(seen);
        return {{line}, isLonger || line != seen};
    }

    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(seen.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    QTextLayout layout(seen, font);
    layout.setTextOption(option);
    layout.beginLayout();
    Elided result{{}, isLonger};
    while (true) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(width);
        if (result.lines.size() == mostLines - 1) {
            const QString rest = seen.mid(line.textStart());
            result.lines.append(lastLine(rest));
            result.isElided |= result.lines.last() != rest;
            break;
        }
        result.lines.append(seen.mid(line.textStart(), line.textLength()));
    }
    layout.endLayout();
    return result;
}

QString toolTipFor(const QString& text) {
    QString lines;
    for (const QString& line : elided(text, QToolTip::font(), kToolTipWidth, kToolTipLines).lines)
        lines += (lines.isEmpty() ? QString() : QStringLiteral("<br>")) + line.toHtmlEscaped();
    const auto direction = text.isRightToLeft() ? QLatin1StringView("rtl") : QLatin1StringView("ltr");
    return QStringLiteral("<p dir=\"%1\" style=\"white-space:pre\">").arg(direction) + lines + QStringLiteral("</p>");
}

ElidedText::ElidedText(theme::Type type, theme::Tone tone, int mostLines, QWidget* parent)
    : Text({}, type, tone, parent)
    , m_mostLines(mostLines) { }

void ElidedText::setWholeText(const QString& text) {
    m_whole = text;
}

int ElidedText::fitInto(int width) {
    if (m_broken != m_whole || m_brokenWidth != width || m_brokenFont != font()) {
        m_broken = m_whole;
        m_brokenWidth = width;
        m_brokenFont = font();
        const Elided shown = elided(m_whole, font(), width, m_mostLines);
        QStringList lines;
        for (const QString& line : shown.lines)
            lines.append(line.trimmed()); // a space at the end would take room in a line that is mirrored
        setText(lines.join(u'\n'));
        setAccessibleName(shown.joined());
        setToolTip(shown.isElided ? toolTipFor(m_whole) : QString());
        setAccessibleDescription(shown.isElided ? m_whole : QString());
    }
    const auto lines = std::max<qsizetype>(text().count(u'\n') + 1, 1);
    return fontMetrics().height() + static_cast<int>(lines - 1) * fontMetrics().lineSpacing();
}

} // namespace vantorel
