#pragma once

#include "settings/BundlePicker.h"

namespace vantorel {

class InstalledAppDetector;

/// Lets the user choose one of the installed applications.
class AppPicker : public BundlePicker {
    Q_OBJECT

public:
    /// The detector must outlive the picker.
    AppPicker(InstalledAppDetector& detector, const QString& placeholder, QWidget* parent = nullptr);
};

} // namespace vantorel
