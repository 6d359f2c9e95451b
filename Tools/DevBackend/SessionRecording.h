#pragma once

#include "DevBackend/MessageLog.h"
#include "DevBackend/StreamStatistics.h"
#include "DevBackend/WavWriter.h"

#include <filesystem>
#include <span>
#include <string>

namespace devbackend {

/// All that a session received: the audio as a WAV file, the record of its messages next to it, and
/// the statistics.
class SessionRecording {
public:
    /// Makes `<folder>/<name>.wav` and `<folder>/<name>.messages.csv`. Throws std::system_error
    /// when that fails.
    SessionRecording(const std::filesystem::path& folder, const std::string& name);

    void add(std::uint32_t connection, std::span<const std::uint8_t> message,
             std::int64_t arrivalNanoseconds);
    /// Makes the files hold everything received so far.
    void sync();

    [[nodiscard]] const std::filesystem::path& wavPath() const { return wavPath_; }
    [[nodiscard]] const std::filesystem::path& logPath() const { return logPath_; }
    [[nodiscard]] const MessageLog& log() const { return log_; }
    [[nodiscard]] const StreamStatistics& statistics() const { return statistics_; }
    [[nodiscard]] StreamStatistics& statistics() { return statistics_; }

private:
    std::filesystem::path wavPath_;
    std::filesystem::path logPath_;
    WavWriter wav_;
    MessageLog log_;
    StreamStatistics statistics_;
};

} // namespace devbackend
