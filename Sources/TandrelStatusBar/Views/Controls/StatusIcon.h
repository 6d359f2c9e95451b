#pragma once

#include <QIcon>

namespace tandrel {

/// The status item's icon: the theme's symbolic one, which the tray colours to match its panel,
/// else drawn with an edge in the opposite shade, so that it reads on any. A dot marks streaming.
[[nodiscard]] QIcon statusIcon(bool isStreaming);

} // namespace tandrel
