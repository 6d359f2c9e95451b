#pragma once

#include "Doctor/Finding.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tandrel::doctor {

/// What the desktop offers a program.
struct DesktopLook {
    bool hasBus = false;
    /// Whether the program runs already.
    bool isRunning = false;
    /// A host of today's kind of tray icons, and one of the older kind.
    bool hasStatusNotifierHost = false;
    bool hasXEmbedTray = false;
};

/// The session bus and the tray.
[[nodiscard]] Findings desktopFindings(const DesktopLook& look);

/// Which desktop file links of our scheme are opened with; nothing when that could not be asked.
[[nodiscard]] Finding linksFinding(const std::optional<std::string>& handler);

[[nodiscard]] Finding loginStartFinding(bool isOn);

/// What is known of the log file.
struct LogLook {
    std::string path;
    /// Missing when there is no such file yet.
    std::optional<std::uint64_t> size;
    bool isWritable = false;
};

[[nodiscard]] Finding logFinding(const LogLook& look);

} // namespace tandrel::doctor
