#pragma once

#include <QPalette>

namespace tandrel::test {

/// Palettes as desktops hand them to programs.
[[nodiscard]] QPalette lightPalette();
[[nodiscard]] QPalette darkPalette();
/// Black on white, and white on black.
[[nodiscard]] QPalette highContrastPalette();
[[nodiscard]] QPalette highContrastDarkPalette();

} // namespace tandrel::test
