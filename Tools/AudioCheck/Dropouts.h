#pragma once

#include "AudioCheck/Alignment.h"

#include <cstddef>
#include <vector>

namespace audiocheck {

/// The shortest fault that counts: 5 ms.
inline constexpr std::size_t dropoutFrames = 80;

/// A place in the recording where something of the reference is missing or too much.
struct Dropout {
    enum class Kind {
        /// Zeros where the reference speaks.
        Zeros,
        /// The recording jumps ahead: frames were lost.
        Lost,
        /// The recording falls back: frames came twice, or others in between.
        Inserted
    };
    Kind kind = Kind::Zeros;
    /// Where in the recording; for a jump, the end of the window before it.
    std::size_t start = 0;
    std::size_t frames = 0;
};

/// How loud `count` frames of the recording from `start` on should be at least, by the found
/// windows next to them; 0 when there is none. Two, because the alignment may jump in a pause
/// between them.
[[nodiscard]] double expectedLoudness(const Samples& reference, bool isLooped,
                                      const std::vector<Window>& windows, std::size_t start,
                                      std::size_t count);

/// What is softer than this, root mean square, is no speech: 16 steps of 16 bits.
inline constexpr double audible = 16.0 / 32768.0;

/// Runs of zeros in `recording` at which the reference is not silent. Both unfiltered, at the
/// comparison rate; `windows` say what belongs to what.
[[nodiscard]] std::vector<Dropout> zerosInSpeech(const Samples& recording, const Samples& reference,
                                                 bool isLooped, const std::vector<Window>& windows);

/// Changes of the alignment from one found window to the next. A change where a looped reference
/// begins anew is none: its player may pause there.
[[nodiscard]] std::vector<Dropout> jumps(std::size_t referenceFrames, bool isLooped,
                                         const std::vector<Window>& windows);

} // namespace audiocheck
