#pragma once

#include <QObject>

namespace vantorel {

/// What the desktop's own settings say about this program. Main thread only.
class SystemSettings : public QObject {
    Q_OBJECT

public:
    /// Takes the user to where the default browser is chosen, or makes this program the default browser where the
    /// desktop has no such place. Returns at once; nothing is told when it cannot be done.
    virtual void openDefaultBrowserSettings() = 0;

    /// Whether this program is the default browser, as far as is known by now: false until the desktop has answered.
    virtual bool isDefaultBrowser() const = 0;

Q_SIGNALS:
    void defaultBrowserChanged();
};

} // namespace vantorel
