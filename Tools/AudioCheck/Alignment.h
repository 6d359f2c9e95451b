#pragma once

#include "AudioCheck/Filters.h"
#include "AudioCheck/Fourier.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace audiocheck {

/// Length of a compared window and the distance between two, frames.
inline constexpr std::size_t windowFrames = 8000;
inline constexpr std::size_t windowDistance = 4000;

/// A window counts as found from this correlation on. Measured with a speech synthesiser: intact
/// windows reach 0.99 and more, the best one of another sentence in the same voice 0.58. Half of a
/// window may be missing before it drops below.
inline constexpr double foundCorrelation = 0.8;

/// One window of the recording and where in the reference it was found.
struct Window {
    /// First frame in the recording.
    std::size_t start = 0;
    /// Loud enough to be compared.
    bool isActive = false;
    /// Normalised cross-correlation, -1…1, at the best place.
    double correlation = 0.0;
    /// First frame in the reference, at the best place.
    std::size_t referenceStart = 0;
    /// By how much the recording is louder than the reference there.
    double gain = 0.0;

    [[nodiscard]] bool isFound() const { return isActive && correlation >= foundCorrelation; }
};

/// Finds, window by window, where in the reference a recording was taken from. The reference may
/// have been played over and over.
class Aligner {
public:
    /// `reference`: at the comparison rate and in the compared band.
    Aligner(const Samples& reference, bool isLooped);

    /// `recording`: the same way.
    [[nodiscard]] std::vector<Window> align(const Samples& recording) const;

    [[nodiscard]] std::size_t referenceFrames() const { return frames_; }

private:
    struct Place {
        std::size_t referenceStart = 0;
        double correlation = -1.0;
        double gain = 0.0;
    };

    [[nodiscard]] Place placeAt(const float* window, std::size_t referenceStart) const;
    [[nodiscard]] Place placeNear(const float* window, std::size_t referenceStart) const;
    [[nodiscard]] Place placeAnywhere(const float* window) const;
    [[nodiscard]] double energyAt(std::size_t referenceStart) const;
    [[nodiscard]] std::size_t places() const;

    std::size_t frames_;
    bool isLooped_;
    /// With its beginning again behind the end, when it is looped.
    Samples reference_;
    /// Sums of squares up to each frame.
    std::vector<double> energy_;
    /// Less energy than this is silence, in which nothing is found.
    double leastEnergy_;
    Fourier fourier_;
    Spectrum spectrum_;
};

/// Root mean square.
[[nodiscard]] double loudness(const float* samples, std::size_t count);

} // namespace audiocheck
