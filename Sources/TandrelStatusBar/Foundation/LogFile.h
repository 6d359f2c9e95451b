#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tandrel {

/// A log line as it stands in the file: `time` in UTC and whole seconds (ISO 8601, "Z"), a space,
/// `message` unchanged, a line feed. Absent when `message` is not UTF-8. Any thread.
[[nodiscard]] std::optional<std::string> formatLogLine(std::chrono::system_clock::time_point time,
                                                       std::string_view message);

/// One log file. It is created (mode 0600) by the first line and never again: lines written after
/// it was deleted are lost. What a full disk cuts short is left so. Nothing here fails visibly. Any
/// thread, also several processes at once: each line is one appending write, so lines never mix.
class LogFile {
public:
    explicit LogFile(std::string path);
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    ~LogFile() = default;

    /// Appends one line with the present time.
    void write(std::string_view message);

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    void createIfMissing() const;

    const std::string path_;
    std::once_flag created_;
    /// A full disk has taken a part of the last line only.
    std::atomic<bool> isCutShort_ = false;
};

} // namespace tandrel
