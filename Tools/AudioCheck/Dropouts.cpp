#include "AudioCheck/Dropouts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <optional>

namespace audiocheck {

namespace {

constexpr float zeroBelow = 1.5F / 32768.0F;

/// How loud the reference is, as recorded, at the place that `window` gives to these frames.
double loudnessBy(const Window& window, const Samples& reference, bool isLooped, std::size_t start,
                  std::size_t count) {
    const auto size = static_cast<std::int64_t>(reference.size());
    double sum = 0.0;
    for (std::size_t index = 0; index < count; ++index) {
        std::int64_t at = static_cast<std::int64_t>(window.referenceStart + start + index) -
                          static_cast<std::int64_t>(window.start);
        if (isLooped) {
            at = (at % size + size) % size;
        }
        if (at >= 0 && at < size) {
            const double sample = static_cast<double>(reference[static_cast<std::size_t>(at)]);
            sum += sample * sample;
        }
    }
    return window.gain * std::sqrt(sum / static_cast<double>(count));
}

/// The length of the run of zeros that begins at `start`.
std::size_t zerosFrom(const Samples& recording, std::size_t start) {
    std::size_t end = start;
    while (end < recording.size() && std::abs(recording[end]) < zeroBelow) {
        ++end;
    }
    return end - start;
}

} // namespace

double expectedLoudness(const Samples& reference, bool isLooped, const std::vector<Window>& windows,
                        std::size_t start, std::size_t count) {
    const auto isFound = [](const Window& window) { return window.isFound(); };
    const auto next =
        std::partition_point(windows.begin(), windows.end(), [start, count](const Window& window) {
            return window.start + windowFrames / 2 < start + count / 2;
        });
    const auto before = std::find_if(std::reverse_iterator(next), windows.rend(), isFound);
    const auto after = std::find_if(next, windows.end(), isFound);
    std::optional<double> least;
    if (before != windows.rend()) {
        least = loudnessBy(*before, reference, isLooped, start, count);
    }
    if (after != windows.end()) {
        const double other = loudnessBy(*after, reference, isLooped, start, count);
        least = least ? std::min(*least, other) : other;
    }
    return least.value_or(0.0);
}

std::vector<Dropout> zerosInSpeech(const Samples& recording, const Samples& reference,
                                   bool isLooped, const std::vector<Window>& windows) {
    std::vector<Dropout> found;
    for (std::size_t start = 0; start < recording.size();) {
        const std::size_t count = zerosFrom(recording, start);
        if (count >= dropoutFrames &&
            expectedLoudness(reference, isLooped, windows, start, count) >= audible) {
            found.push_back({.kind = Dropout::Kind::Zeros, .start = start, .frames = count});
        }
        start += std::max<std::size_t>(count, 1);
    }
    return found;
}

std::vector<Dropout> jumps(std::size_t referenceFrames, bool isLooped,
                           const std::vector<Window>& windows) {
    std::vector<Dropout> found;
    std::optional<Window> last;
    const auto size = static_cast<std::int64_t>(referenceFrames);
    for (const Window& window : windows) {
        if (!window.isFound()) {
            continue;
        }
        if (last) {
            const auto passed = static_cast<std::int64_t>(window.start - last->start);
            const auto from = static_cast<std::int64_t>(last->referenceStart);
            std::int64_t jump = static_cast<std::int64_t>(window.referenceStart) - from - passed;
            bool isSeam = false;
            if (isLooped) {
                jump = ((jump % size + size) % size + size / 2) % size - size / 2;
                isSeam = from + passed + static_cast<std::int64_t>(windowFrames) >= size;
            }
            if (!isSeam && std::abs(jump) > static_cast<std::int64_t>(dropoutFrames)) {
                found.push_back({.kind = jump > 0 ? Dropout::Kind::Lost : Dropout::Kind::Inserted,
                                 .start = last->start + windowFrames,
                                 .frames = static_cast<std::size_t>(std::abs(jump))});
            }
        }
        last = window;
    }
    return found;
}

} // namespace audiocheck
