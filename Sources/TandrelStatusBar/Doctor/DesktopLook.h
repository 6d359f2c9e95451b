#pragma once

#include "Doctor/DesktopFindings.h"

#include <optional>
#include <string>

namespace tandrel::doctor {

/// Asks session bus and screen what they offer, and takes no name on either. Blocks; not on the
/// main thread.
[[nodiscard]] DesktopLook lookAtDesktop();

/// The desktop file that links of our scheme are opened with, empty when there is none; nothing
/// when the desktop's own tool does not say. Blocks for at most 5 s; not on the main thread.
[[nodiscard]] std::optional<std::string> linkHandler();

/// Creates nothing. Blocks on the disk.
[[nodiscard]] LogLook lookAtLog(const std::string& path);

} // namespace tandrel::doctor
