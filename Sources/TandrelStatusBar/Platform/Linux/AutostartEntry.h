#pragma once

#include <string>
#include <string_view>

namespace tandrel {

/// What matters of a file in an autostart folder (Desktop Application Autostart Specification 0.5).
struct AutostartEntry {
    /// Whether this program wrote it.
    bool isOurs = false;
    /// False when the file, or a desktop's own tool through the file, says not to start it.
    bool isEnabled = false;
    /// Without this program the entry is ignored; empty when it names none.
    std::string tryExec;
};

/// Any thread. Text that is no desktop entry yields one that is neither ours nor enabled.
[[nodiscard]] AutostartEntry parseAutostartEntry(std::string_view text);

/// The file that starts `program`, an absolute path, at login without a window; not enabled, the
/// file that keeps desktops from starting it. Any thread.
[[nodiscard]] std::string autostartEntryText(const std::string& program, bool isEnabled);

} // namespace tandrel
