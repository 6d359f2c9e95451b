#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

namespace tandrel::test {

/// A sound whose every frame says which one it is, to be heard for hours: any two neighbours hold
/// the number of their pair, so that a gap of any length is known for what it is. Bit for bit the
/// same as 16-bit samples and as floating-point ones.
class CountedSound {
public:
    /// Frames before the numbers begin again: 37 h at 16 kHz.
    static constexpr std::uint64_t length = std::uint64_t{1} << 31U;

    /// Frame `position`, which is less than `length`.
    [[nodiscard]] static std::int16_t frame(std::uint64_t position);
    /// Which frame `first` is when `second` follows it; nothing when these are no neighbours.
    [[nodiscard]] static std::optional<std::uint64_t> positionOf(std::int16_t first,
                                                                 std::int16_t second);
    /// Writes `count` frames from `first` on as raw floating-point samples; throws
    /// std::runtime_error when the disk does not take them.
    static void write(const std::filesystem::path& file, std::uint64_t first, std::uint64_t count);
};

/// Follows a counted sound through what arrives of it, piece by piece.
class CountedSoundReader {
public:
    /// A place at which the sound does not go on with the frame that is next.
    struct Break {
        /// Unset where the sound begins.
        std::optional<std::uint64_t> expected;
        std::uint64_t found = 0;
    };

    /// What `samples`, which follow those of the last call, hold beside the next frames; the first
    /// break alone, since one piece of sound has one at most unless things are very wrong.
    std::optional<Break> read(std::span<const std::int16_t> samples);

    /// Frames of silence that stood where a frame of the sound was due: a feeder that came late.
    [[nodiscard]] std::uint64_t silence() const { return silence_; }
    /// Frames of the sound that have come.
    [[nodiscard]] std::uint64_t heard() const { return heard_; }
    [[nodiscard]] std::uint64_t breaks() const { return breaks_; }

private:
    bool follows(std::int16_t sample) const;

    std::optional<std::uint64_t> next_;
    /// The last sample, as long as its place in the sound is not known.
    std::optional<std::int16_t> unplaced_;
    std::uint64_t silence_ = 0;
    std::uint64_t heard_ = 0;
    std::uint64_t breaks_ = 0;
};

} // namespace tandrel::test
