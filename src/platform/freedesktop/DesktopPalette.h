#pragma once

#include <QPalette>

namespace vantorel {

/// Whether nobody has chosen the colours of this palette: it is what Qt takes where no theme brings any.
bool isQtsOwn(const QPalette& palette);

/// Colours for windows where no theme brings any. Every text, also of what is disabled, has a contrast of 4.5 to 1 with
/// what it stands on. `accent` marks what is chosen; an invalid colour means a blue.
QPalette lightPalette(const QColor& accent = {});
QPalette darkPalette(const QColor& accent = {});

} // namespace vantorel
