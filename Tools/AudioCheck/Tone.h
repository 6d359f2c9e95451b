#pragma once

#include "AudioCheck/Filters.h"

namespace audiocheck {

/// The strongest tone near a frequency.
struct Tone {
    double hertz = 0.0;
    /// Of its peak; 0 is full scale.
    double levelDbfs = -200.0;
    /// By how much it stands above what surrounds it.
    double prominenceDb = 0.0;

    /// Whether this is the tone that was mixed in: within 0.5 Hz, audible, and no harmonic of a
    /// voice, which wanders and so never gets this narrow.
    [[nodiscard]] bool is(double expectedHertz) const;
};

/// Measures within 50 Hz of `hertz`, over at most eight seconds of `recording` at the comparison
/// rate: Blackman-Harris window, frequency from a parabola through the logarithms of the peak's
/// three bins.
[[nodiscard]] Tone measureTone(const Samples& recording, double hertz);

} // namespace audiocheck
