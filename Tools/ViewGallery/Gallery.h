#pragma once

#include "Options.h"

namespace tandrel::gallery {

/// Draws the scenes that the options ask for; false when a file cannot be written.
[[nodiscard]] bool drawGallery(const Options& options);

} // namespace tandrel::gallery
