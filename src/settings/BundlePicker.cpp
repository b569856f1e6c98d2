#include "settings/BundlePicker.h"

#include "settings/AppIcon.h"

#include <QAbstractItemView>
#include <QScopedValueRollback>
#include <QWheelEvent>

namespace vantorel {

namespace {

// Narrow enough for any width that a caller may set.
constexpr int kMinimumContents = 4;

} // namespace

BundlePicker::BundlePicker(const QString& placeholder, QWidget* parent)
    : QComboBox(parent)
    , m_lines(new PickerModel(placeholder, appIcon, this)) {
    setAccessibleDescription(placeholder);
    setFocusPolicy(Qt::StrongFocus); // not by the wheel: see wheelEvent()
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(kMinimumContents);
    setModel(m_lines);
    // Unlike activated(), this also comes when a name is typed while the list is closed.
    connect(this, &QComboBox::currentIndexChanged, this, [this](int row) {
        if (!m_isUserChoosing)
            return;
        choose(row);
        markLine();
    });
    connect(view()->selectionModel(), &QItemSelectionModel::selectionChanged, this, &BundlePicker::onLineSelected);
}

void BundlePicker::setSelectedBundleID(const QString& id) {
    m_selectedBundleID = id;
    showSelection();
}

void BundlePicker::setEntries(const QList<PickerModel::Entry>& entries) {
    const QScopedValueRollback following(m_isUserChoosing, false);
    m_lines->setEntries(entries);
    showSelection();
}

void BundlePicker::showSelection() {
    setCurrentIndex(m_lines->rowOf(m_selectedBundleID));
    markLine();
}

void BundlePicker::choose(int row) {
    if (row < 0)
        return;
    const QString id = itemData(row).toString();
    if (id == m_selectedBundleID)
        return;
    m_selectedBundleID = id;
    Q_EMIT selectedBundleIDChanged(id);
}

// Assistive technology selects a line, which by itself is no choice to the toolkit. The pointer and the keys in the
// open menu select as well, but move the current line along.
void BundlePicker::onLineSelected(const QItemSelection& selected) {
    if (!m_isUserChoosing || selected.isEmpty())
        return;
    const QPersistentModelIndex line = selected.indexes().constFirst();
    if (!view()->isVisible()) {
        setCurrentIndex(line.row());
        return;
    }
    const auto chooseUnlessCurrent = [this, line] {
        if (!line.isValid() || line == view()->currentIndex() || !view()->isVisible())
            return;
        setCurrentIndex(line.row());
        hidePopup();
    };
    QMetaObject::invokeMethod(this, chooseUnlessCurrent, Qt::QueuedConnection);
}

// Keeps the selected line of the closed menu that of the choice.
void BundlePicker::markLine() {
    if (!view()->isVisible())
        view()->setCurrentIndex(m_lines->index(currentIndex()));
}

void BundlePicker::hidePopup() {
    QComboBox::hidePopup();
    // Whoever hides it may choose the current line afterwards.
    QMetaObject::invokeMethod(this, &BundlePicker::markLine, Qt::QueuedConnection);
}

// While the pointer only passes, with the wheel turning, nothing must change.
void BundlePicker::wheelEvent(QWheelEvent* event) {
    if (hasFocus())
        QComboBox::wheelEvent(event);
    else
        event->ignore();
}

} // namespace vantorel
