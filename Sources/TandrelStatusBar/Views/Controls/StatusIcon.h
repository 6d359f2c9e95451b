#pragma once

#include <QIcon>

namespace tandrel {

/// The status item's icon. Where the program is installed it bears the name of the theme's symbolic
/// icon, which trays colour to match their panel; others take the drawing, which has an edge in the
/// opposite shade, so that it reads on any panel. A dot marks an open microphone. Nothing is drawn
/// before a tray asks.
[[nodiscard]] QIcon statusIcon(bool isMicrophoneOpen);

} // namespace tandrel
