#pragma once

#include "settings/PickerModel.h"

#include <QComboBox>

class QItemSelection;

namespace vantorel {

/// A drop-down list in which the user chooses an installed application by name, while its id is what counts.
///
/// An id that is not listed stays the selected one and is shown as no selection, until the list has it or the user
/// chooses something. The list may change at any time, also while it is open; that changes no selection. The width does
/// not depend on the names.
class BundlePicker : public QComboBox {
    Q_OBJECT

public:
    /// `placeholder` is the text of the line that stands for no choice.
    explicit BundlePicker(const QString& placeholder, QWidget* parent = nullptr);

    /// Empty means no choice.
    const QString& selectedBundleID() const { return m_selectedBundleID; }
    void setSelectedBundleID(const QString& id);

Q_SIGNALS:
    /// After the user has chosen another line than before, in whatever way.
    void selectedBundleIDChanged(const QString& id);

protected:
    /// The lines for what a detector has found (BrowserInfo or AppInfo).
    template <typename Found> static QList<PickerModel::Entry> entriesOf(const QList<Found>& found) {
        QList<PickerModel::Entry> entries;
        entries.reserve(found.size());
        for (const Found& each : found)
            entries.append({.id = each.id, .name = each.name, .icon = each.icon});
        return entries;
    }

    void hidePopup() override;

    void setEntries(const QList<PickerModel::Entry>& entries);

    void wheelEvent(QWheelEvent* event) override;

private:
    void showSelection();
    void choose(int row);
    void onLineSelected(const QItemSelection& selected);
    void markLine();

    PickerModel* m_lines;
    QString m_selectedBundleID;
    bool m_isUserChoosing = true; // else the current line changes because the list, or the selection from outside, does
};

} // namespace vantorel
