#pragma once

#include "platform/ActivationSource.h"

namespace vantorel {

/// For desktops that do not tell which application is active: names none, ever.
class NoActivationSource : public ActivationSource {
public:
    void start(Activated) override { }
    std::optional<QString> frontmost() override { return std::nullopt; }
};

} // namespace vantorel
