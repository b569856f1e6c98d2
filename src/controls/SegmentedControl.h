#pragma once

#include <QStringList>
#include <QWidget>

class QAbstractButton;

namespace vantorel {

/// A row of choices of which exactly one holds; radio buttons to the keyboard and to assistive technology.
class SegmentedControl : public QWidget {
    Q_OBJECT

public:
    explicit SegmentedControl(const QStringList& choices, QWidget* parent = nullptr);

    int currentIndex() const;
    /// Emits nothing: only the user's own choice is announced.
    void setCurrentIndex(int index);

Q_SIGNALS:
    void chosen(int index);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QList<QAbstractButton*> m_segments;
};

} // namespace vantorel
