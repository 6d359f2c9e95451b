#pragma once

#include <string>
#include <string_view>

namespace tandrel {

/// The diagnostic log: a plain-text file that lines with a timestamp are appended to.
class DebugLog {
public:
    DebugLog() = delete;

    /// Appends one line: UTC time in whole seconds (ISO 8601), a space, `message` as it stands, a
    /// line feed. The file is opened and closed for each line, so the line is with the system when
    /// this returns. Never fails visibly: what cannot be written is lost. Any thread.
    static void write(std::string_view message);

    /// The log's path: `.local/state/quorvane-tandrel/tandrel-debug.log` in the home directory,
    /// fixed at first use for the life of the process. Any thread.
    static const std::string& path();

    /// Makes the log's folder, mode 0700. The entry point calls it once, before the first line.
    static void createDirectory();
};

} // namespace tandrel
