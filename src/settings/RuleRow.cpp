#include "settings/RuleRow.h"

#include "controls/Switch.h"
#include "controls/Symbol.h"
#include "controls/Theme.h"
#include "settings/AppIcon.h"
#include "settings/MatchTypeName.h"

#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace vantorel {

namespace {

constexpr int kPadding = 10;
constexpr int kSwitchSlot = 38;
constexpr int kGap = 10;
constexpr int kHandle = 18; // the symbol; what can be grasped is larger
constexpr int kLineGap = 3; // between title and caption
constexpr qreal kIcon = 16; // of the browser and of the application, where the line is high enough
constexpr qreal kArrow = 10; // from what is matched to the browser
constexpr qreal kSwitchScale = 0.75;

constexpr qreal kDraggedOpacity = 0.55;
constexpr qreal kDisabledOpacity = 0.45;
constexpr qreal kSelectionOpacity = 0.08;

// A link reads from left to right in every window: its slashes and dots would change sides otherwise.
Qt::LayoutDirection directionOf(const QString& text) {
    return text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
}

} // namespace

RuleRow::RuleRow(QWidget* parent) : QWidget(parent), m_switch(new Switch({}, kSwitchScale, this)) {
    setAttribute(Qt::WA_Hover);
    setMouseTracking(true);
    // The list is one stop for the keyboard; Space switches the selected rule there.
    m_switch->setFocusPolicy(Qt::NoFocus);
    connect(m_switch, &Switch::clicked, this, [this](bool checked) { m_actions.setEnabled(checked); });
}

void RuleRow::display(const Rule& rule, Names names, bool isAnother) {
    if (!isAnother && rule == m_rule && names == m_names)
        return;
    m_rule = rule;
    const auto iconOf = [](const QString& name) { return name.isEmpty() ? QIcon() : appIcon(name); };
    if (names.appIcon != m_names.appIcon)
        m_appIcon = iconOf(names.appIcon);
    if (names.browserIcon != m_names.browserIcon)
        m_browserIcon = iconOf(names.browserIcon);
    m_names = std::move(names);
    if (isAnother)
        m_switch->setCheckedAtOnce(rule.isEnabled);
    else
        m_switch->setChecked(rule.isEnabled);
    m_switch->setAccessibleName(m_names.title);
    m_switch->setOpacity(opacity());
    update();
}

void RuleRow::setActions(Actions actions, std::function<void()> onDragStarted) {
    m_actions = std::move(actions);
    m_onDragStarted = std::move(onDragStarted);
}

void RuleRow::setSelected(bool isSelected) {
    if (m_isSelected != isSelected) {
        m_isSelected = isSelected;
        update();
    }
}

void RuleRow::setDragging(bool isDragging) {
    if (m_isDragging != isDragging) {
        m_isDragging = isDragging;
        m_switch->setOpacity(opacity());
        update();
    }
}

void RuleRow::setFocused(bool isFocused) {
    if (m_isFocused != isFocused) {
        m_isFocused = isFocused;
        update();
    }
}

qreal RuleRow::opacity() const {
    return m_isDragging ? kDraggedOpacity : m_rule.isEnabled ? 1.0 : kDisabledOpacity;
}

int RuleRow::heightFor(const QFont& body) {
    const int title = QFontMetrics(body).height();
    const int caption = std::max(QFontMetrics(theme::font(theme::Type::caption, body)).height(),
                                 QFontMetrics(theme::font(theme::Type::monospacedCaption, body)).height());
    return title + kLineGap + caption + 16;
}

QRect RuleRow::switchSlot(const QRect& row, Qt::LayoutDirection direction) {
    return QStyle::visualRect(direction, row, {row.left() + kPadding, row.top(), kSwitchSlot, row.height()});
}

QRect RuleRow::handle() const {
    const QRect area(width() - kPadding - kHandle - 6, 0, kHandle + 6 + kPadding, height());
    return QStyle::visualRect(layoutDirection(), rect(), area);
}

void RuleRow::placeSwitch() {
    QRect place({}, m_switch->sizeHint());
    place.moveCenter(switchSlot(rect(), layoutDirection()).center());
    m_switch->setGeometry(place);
}

void RuleRow::resizeEvent(QResizeEvent*) {
    placeSwitch();
}

bool RuleRow::event(QEvent* event) {
    if (event->type() == QEvent::LayoutDirectionChange)
        placeSwitch();
    return QWidget::event(event);
}

void RuleRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colors = palette();

    if (m_isSelected || underMouse()) {
        QColor fill = theme::color(theme::Tone::primary, colors);
        fill.setAlphaF(static_cast<float>(m_isSelected ? kSelectionOpacity : kSelectionOpacity / 2));
        painter.setPen(Qt::NoPen);
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0, 1, 0, -1), theme::kPanelRadius - 2, theme::kPanelRadius - 2);
    }
    if (m_isFocused) {
        painter.setPen(QPen(theme::color(theme::Tone::accent, colors), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 2, -1, -2), theme::kPanelRadius - 3,
                                theme::kPanelRadius - 3);
    }
    painter.setOpacity(opacity());

    const int textLeft = kPadding + kSwitchSlot + kGap;
    const QRect text(textLeft, 0, width() - textLeft - kHandle - 2 * kPadding - kGap, height());
    const QRect area = QStyle::visualRect(layoutDirection(), rect(), text);

    QFont titleFont = font();
    titleFont.setWeight(QFont::Medium);
    const QFontMetrics titleMetrics(titleFont);
    const int captionHeight = heightFor(font()) - 16 - kLineGap - QFontMetrics(font()).height();
    const int top = (height() - titleMetrics.height() - kLineGap - captionHeight) / 2;
    painter.setFont(titleFont);
    painter.setPen(theme::color(theme::Tone::primary, colors));
    const QRect titleArea(area.left(), top, area.width(), titleMetrics.height());
    const QString oneLine = m_names.title.simplified();
    painter.setLayoutDirection(directionOf(oneLine));
    painter.drawText(titleArea,
                     static_cast<int>(Qt::AlignVCenter | Qt::AlignAbsolute) | static_cast<int>(Qt::TextSingleLine)
                         | static_cast<int>(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft)),
                     titleMetrics.elidedText(oneLine, Qt::ElideRight, titleArea.width()));
    paintCaption(painter, QRectF(area.left(), titleArea.bottom() + 1 + kLineGap, area.width(), captionHeight));

    paintSymbol(painter,
                QStyle::visualRect(layoutDirection(), rect(),
                                   QRect(width() - kPadding - kHandle, (height() - kHandle) / 2, kHandle, kHandle)),
                Symbol::lines, theme::color(theme::Tone::secondary, colors));
}

// The parts of the caption, one after another from the leading edge; what no longer fits is cut there.
void RuleRow::paintCaption(QPainter& painter, QRectF area) const {
    const QPalette& colors = palette();
    const bool mirrored = layoutDirection() == Qt::RightToLeft;
    const QFont caption = theme::font(theme::Type::caption, font());
    qreal left = area.left(), right = area.right();
    const auto take = [&](qreal width) {
        const QRectF place(mirrored ? right - width : left, area.top(), width, area.height());
        (mirrored ? right : left) += mirrored ? -width : width;
        return place;
    };
    const auto write = [&](const QString& text, const QFont& face, theme::Tone tone, qreal reserve = 0) {
        const QFontMetricsF metrics(face);
        const qreal space = std::max<qreal>(right - left - reserve, 0);
        // Shaping text is most of what a row costs: what fits is measured once and drawn once.
        QString shown = text.simplified();
        qreal width = std::ceil(metrics.horizontalAdvance(shown));
        if (width > space) {
            shown = metrics.elidedText(shown, Qt::ElideRight, space);
            width = std::min(space, std::ceil(metrics.horizontalAdvance(shown)));
        }
        const QRectF place = take(width);
        painter.setFont(face);
        painter.setPen(theme::color(tone, colors));
        painter.setLayoutDirection(directionOf(text));
        painter.drawText(QPointF(place.left(), place.center().y() + (metrics.ascent() - metrics.descent()) / 2), shown);
    };
    constexpr qreal kSpace = 4;
    const bool hasPattern = !m_rule.pattern.isEmpty();
    // However long the pattern is, where its links go stays readable.
    const QString target = m_names.browser;
    const qreal side = std::min(area.height(), kIcon);
    const qreal iconWidth = m_browserIcon.isNull() ? 0 : side + kSpace;
    const qreal targetWidth = std::min<qreal>(
        QFontMetricsF(caption).horizontalAdvance(target) + kArrow + iconWidth + 3 * kSpace + 4, area.width() / 2);

    const auto paintIcon = [&](const QIcon& icon) {
        const QRectF place = take(side);
        const int size = qRound(side);
        icon.paint(&painter, QRect(qRound(place.left()), qRound(area.center().y() - side / 2), size, size));
    };

    if (m_names.app) {
        paintSymbol(painter, take(side - 2), Symbol::appBadge, theme::color(theme::Tone::purple, colors));
        take(kSpace - 1);
        if (!m_appIcon.isNull()) {
            paintIcon(m_appIcon);
            take(kSpace - 1);
        }
        write(*m_names.app, caption, theme::Tone::purple, targetWidth);
        take(kSpace);
        if (hasPattern) {
            write(QStringLiteral("·"), caption, theme::Tone::tertiary, targetWidth);
            take(kSpace);
        }
    }
    if (hasPattern) {
        write(QCoreApplication::translate("RuleRow", "%1:", "match type, before a pattern")
                  .arg(matchTypeName(m_rule.matchType)),
              caption, theme::Tone::secondary, targetWidth);
        take(kSpace);
        write(m_rule.pattern, theme::font(theme::Type::monospacedCaption, font()), theme::Tone::blue, targetWidth);
        take(kSpace);
    }
    paintArrow(painter, take(kArrow), theme::color(theme::Tone::secondary, colors), layoutDirection());
    take(kSpace);
    if (!m_browserIcon.isNull()) {
        paintIcon(m_browserIcon);
        take(kSpace);
    }
    write(target, caption, theme::Tone::secondary);
}

void RuleRow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    m_pressedHandle =
        handle().contains(event->position().toPoint()) ? std::optional(event->position().toPoint()) : std::nullopt;
    m_actions.select();
}

void RuleRow::mouseMoveEvent(QMouseEvent* event) {
    const QPoint position = event->position().toPoint();
    setCursor(handle().contains(position) ? Qt::OpenHandCursor : Qt::ArrowCursor);
    const bool isHeld = m_pressedHandle && (event->buttons() & Qt::LeftButton);
    if (isHeld && (position - *m_pressedHandle).manhattanLength() >= QApplication::startDragDistance()) {
        const QPoint grasped = *m_pressedHandle;
        m_pressedHandle.reset();
        startDrag(grasped);
    }
}

void RuleRow::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        m_actions.edit();
}

void RuleRow::startDrag(const QPoint& position) {
    const QPixmap picture = grab();
    const QString payload = m_rule.id.toString(QUuid::WithoutBraces).toUpper();
    m_onDragStarted();
    auto* const contents = new QMimeData;
    contents->setText(payload);
    // The drag belongs to the list: this row may show another rule, or be gone, before it ends.
    auto* const drag = new QDrag(parentWidget());
    drag->setMimeData(contents);
    drag->setPixmap(picture);
    drag->setHotSpot(position);
    drag->exec(Qt::MoveAction);
}

} // namespace vantorel
