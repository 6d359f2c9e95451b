#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>

namespace devbackend {

/// Writes 16 kHz mono signed 16-bit PCM into a WAV file (RIFF/WAVE, format tag 1) that can be read
/// at any time: the header is brought up to date by `sync` and at the end.
class WavWriter {
public:
    static constexpr std::uint32_t framesPerSecond = 16000;

    /// Creates or replaces the file. Throws std::system_error when that fails.
    explicit WavWriter(const std::filesystem::path& path);
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    /// Adds little-endian frames of two bytes. What no longer fits into the format's 4 GiB is left
    /// out.
    void append(std::span<const std::uint8_t> pcm);
    /// Brings the header up to date and hands everything to the file.
    void sync();

    [[nodiscard]] std::uint32_t dataBytes() const { return dataBytes_; }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void writeHeader();

    std::unique_ptr<std::FILE, Closer> file_;
    std::uint32_t dataBytes_ = 0;
    std::uint32_t dataBytesInHeader_ = 0;
};

} // namespace devbackend
