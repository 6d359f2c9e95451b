#include "AudioCheck/Verdict.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace audiocheck {

namespace {

template <typename... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
    std::array<char, 256> text{};
    // The patterns are literals of this file.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::snprintf(text.data(), text.size(), pattern, arguments...);
#pragma GCC diagnostic pop
    return text.data();
}

double seconds(std::size_t frames) {
    return static_cast<double>(frames) / comparisonRate;
}

/// The part of the band that both recordings can hold.
Band commonBand(double referenceRate) {
    Band band;
    band.high = std::min(band.high, 0.42 * referenceRate);
    return band;
}

void summarise(const std::vector<Window>& windows, Verdict& verdict) {
    std::vector<double> found;
    for (const Window& window : windows) {
        if (!window.isActive) {
            continue;
        }
        ++verdict.countedWindows;
        verdict.bestCorrelation = std::max(verdict.bestCorrelation, window.correlation);
        if (window.isFound()) {
            found.push_back(window.correlation);
        }
    }
    verdict.foundWindows = found.size();
    if (!found.empty()) {
        const auto middle = found.begin() + static_cast<std::ptrdiff_t>(found.size() / 2);
        std::nth_element(found.begin(), middle, found.end());
        verdict.medianCorrelation = *middle;
    }
}

std::optional<long> offsetOf(const std::vector<Window>& windows, bool isLooped,
                             std::size_t referenceFrames) {
    const auto first = std::find_if(windows.begin(), windows.end(),
                                    [](const Window& window) { return window.isFound(); });
    if (first == windows.end()) {
        return std::nullopt;
    }
    const long offset = static_cast<long>(first->referenceStart) - static_cast<long>(first->start);
    const auto size = static_cast<long>(referenceFrames);
    return isLooped ? (offset % size + size) % size : offset;
}

/// The windows that are soft where the reference speaks up: at least 12 dB softer than it.
std::size_t silencedWindows(const std::vector<Window>& windows, const Samples& recording,
                            const Question& question) {
    return static_cast<std::size_t>(
        std::count_if(windows.begin(), windows.end(), [&](const Window& window) {
            const double expected = expectedLoudness(*question.reference, question.isLooped,
                                                     windows, window.start, windowFrames);
            const double actual = loudness(recording.data() + window.start, windowFrames);
            return !window.isActive && expected >= audible && expected >= 4.0 * actual;
        }));
}

void compare(const Samples& recording, const Question& question, Verdict& verdict) {
    const Samples& reference = *question.reference;
    const Band band = commonBand(question.referenceRate);
    const Aligner aligner(inBand(reference, band, question.tones), question.isLooped);
    const std::vector<Window> windows = aligner.align(inBand(recording, band, question.tones));
    verdict.referenceFrames = reference.size();
    summarise(windows, verdict);
    verdict.offsetFrames = offsetOf(windows, question.isLooped, reference.size());

    verdict.dropouts = zerosInSpeech(recording, reference, question.isLooped, windows);
    verdict.countedWindows += silencedWindows(windows, recording, question);
    const std::vector<Dropout> changes = jumps(reference.size(), question.isLooped, windows);
    verdict.dropouts.insert(verdict.dropouts.end(), changes.begin(), changes.end());

    if (verdict.foundWindows < leastWindows || verdict.foundShare() < leastShare) {
        verdict.complaints.emplace_back("the recording does not hold what was spoken");
    }
    if (question.maxDropouts && verdict.dropouts.size() > *question.maxDropouts) {
        verdict.complaints.emplace_back("too many dropouts");
    }
}

std::string describe(const Dropout& dropout) {
    constexpr std::array names{"zeros", "frames lost", "frames inserted"};
    return format("dropout: %.1f ms of %s at %.3f s\n", 1000.0 * seconds(dropout.frames),
                  names[static_cast<std::size_t>(dropout.kind)], seconds(dropout.start));
}

} // namespace

double Verdict::foundShare() const {
    return countedWindows == 0
               ? 0.0
               : static_cast<double>(foundWindows) / static_cast<double>(countedWindows);
}

Verdict judge(const Samples& recording, const Question& question) {
    Verdict verdict;
    if (question.reference) {
        compare(recording, question, verdict);
    }
    for (const double hertz : question.tones) {
        const Tone tone = measureTone(recording, hertz);
        verdict.tones.emplace_back(hertz, tone);
        if (!tone.is(hertz)) {
            verdict.complaints.push_back(format("no tone of %.1f Hz", hertz));
        }
    }
    return verdict;
}

std::string toText(const Verdict& verdict) {
    std::string text;
    if (verdict.referenceFrames > 0) {
        text += format("correlation: %.4f at best, %.4f in the middle of what matches\n",
                       verdict.bestCorrelation, verdict.medianCorrelation);
        text += format("matches: %.1f %% (%zu of %zu windows)\n", 100.0 * verdict.foundShare(),
                       verdict.foundWindows, verdict.countedWindows);
        if (verdict.offsetFrames) {
            text += format("offset: %ld frames (%.3f s) of the reference's %zu, at 16 kHz\n",
                           *verdict.offsetFrames,
                           static_cast<double>(*verdict.offsetFrames) / comparisonRate,
                           verdict.referenceFrames);
        }
        text += format("dropouts: %zu\n", verdict.dropouts.size());
    }
    for (const Dropout& dropout : verdict.dropouts) {
        text += describe(dropout);
    }
    for (const auto& [hertz, tone] : verdict.tones) {
        text += format("tone %.1f Hz: %.2f Hz, %.1f dBFS, %.0f dB above its surroundings\n", hertz,
                       tone.hertz, tone.levelDbfs, tone.prominenceDb);
    }
    for (const std::string& complaint : verdict.complaints) {
        text += "failed: " + complaint + '\n';
    }
    return verdict.isGood() ? text + "good\n" : text;
}

} // namespace audiocheck
