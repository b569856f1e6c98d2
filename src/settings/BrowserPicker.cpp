#include "settings/BrowserPicker.h"

#include "discovery/BrowserDetector.h"

namespace vantorel {

BrowserPicker::BrowserPicker(BrowserDetector& detector, const QString& placeholder, QWidget* parent)
    : BundlePicker(placeholder, parent) {
    const auto follow = [this, &detector] { setEntries(entriesOf(detector.browsers())); };
    connect(&detector, &BrowserDetector::browsersChanged, this, follow);
    follow();
}

} // namespace vantorel
