#pragma once

#include "AudioCheck/Dropouts.h"
#include "AudioCheck/Tone.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace audiocheck {

/// What is asked of a recording.
struct Question {
    /// At the comparison rate; nothing: only the tones are looked for.
    std::optional<Samples> reference;
    double referenceRate = comparisonRate;
    bool isLooped = false;
    std::vector<double> tones;
    /// More dropouts than this fail.
    std::optional<std::size_t> maxDropouts;
};

/// What was found in it.
struct Verdict {
    /// Of all windows.
    double bestCorrelation = 0.0;
    /// Of the found windows.
    double medianCorrelation = 0.0;
    /// Which frame of the reference stands at the start of the recording; negative when the
    /// recording begins before a reference that is not looped.
    std::optional<long> offsetFrames;
    std::size_t referenceFrames = 0;
    std::size_t foundWindows = 0;
    /// Windows in which something should have been found: those that are loud, and those that are
    /// silent while the reference speaks.
    std::size_t countedWindows = 0;
    std::vector<Dropout> dropouts;
    /// The frequencies asked for and what was measured.
    std::vector<std::pair<double, Tone>> tones;
    /// Why it failed; empty when it did not.
    std::vector<std::string> complaints;

    [[nodiscard]] double foundShare() const;
    [[nodiscard]] bool isGood() const { return complaints.empty(); }
};

/// The recording holds what was spoken when at least this share of it was found (31 % of a sentence
/// that begins with the same words was, 8 % of the same sentence spoken 7 % faster)…
inline constexpr double leastShare = 0.8;
/// …and at least this many windows: one second and a quarter of speech.
inline constexpr std::size_t leastWindows = 4;

/// Judges `recording`, at the comparison rate.
[[nodiscard]] Verdict judge(const Samples& recording, const Question& question);

/// The verdict for people and scripts: lines of `name: value`.
[[nodiscard]] std::string toText(const Verdict& verdict);

} // namespace audiocheck
