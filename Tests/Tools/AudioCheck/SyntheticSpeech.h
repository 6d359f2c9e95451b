#pragma once

#include "AudioCheck/Filters.h"

namespace audiocheck::test {

/// Something like a voice: a wandering pitch with harmonics, in syllables with pauses. Two seeds
/// are two sentences; one seed is the same one at any rate and from any moment on.
Samples speech(unsigned seed, double seconds, double rate, double fromSecond = 0.0);

Samples noise(unsigned seed, std::size_t frames, double loudness);
void addTone(Samples& samples, double hertz, double amplitude, double rate = comparisonRate);
/// As 16 bits would hold them.
void quantise(Samples& samples);

} // namespace audiocheck::test
