#include "settings/AppPicker.h"

#include "discovery/InstalledAppDetector.h"

namespace vantorel {

AppPicker::AppPicker(InstalledAppDetector& detector, const QString& placeholder, QWidget* parent)
    : BundlePicker(placeholder, parent) {
    const auto follow = [this, &detector] { setEntries(entriesOf(detector.apps())); };
    connect(&detector, &InstalledAppDetector::appsChanged, this, follow);
    follow();
}

} // namespace vantorel
