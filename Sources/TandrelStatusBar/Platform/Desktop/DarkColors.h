#pragma once

#include <QPalette>

namespace tandrel {

/// Dark colours for a desktop that wants such and brings none: quiet greys, bright text, one blue.
[[nodiscard]] QPalette darkColors();

} // namespace tandrel
