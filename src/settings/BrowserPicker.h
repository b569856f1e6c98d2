#pragma once

#include "settings/BundlePicker.h"

namespace vantorel {

class BrowserDetector;

/// Lets the user choose one of the installed browsers.
class BrowserPicker : public BundlePicker {
    Q_OBJECT

public:
    /// The detector must outlive the picker.
    BrowserPicker(BrowserDetector& detector, const QString& placeholder, QWidget* parent = nullptr);
};

} // namespace vantorel
