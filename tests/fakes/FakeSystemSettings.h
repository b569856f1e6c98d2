#pragma once

#include "platform/SystemSettings.h"

namespace vantorel {

/// A desktop that counts how often it is asked for its settings.
class FakeSystemSettings : public SystemSettings {
public:
    int opened = 0;

    void openDefaultBrowserSettings() override { ++opened; }
    bool isDefaultBrowser() const override { return m_isDefault; }

    void setDefaultBrowser(bool isDefault) {
        m_isDefault = isDefault;
        Q_EMIT defaultBrowserChanged();
    }

private:
    bool m_isDefault = false;
};

} // namespace vantorel
