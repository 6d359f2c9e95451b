#include "Support/CountedSound.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace tandrel::test {

namespace {

/// A pair's number: its low bits stand in the even frame, its high bits, below zero, in the odd
/// one.
constexpr unsigned lowBits = 15;
constexpr std::uint64_t lowMask = (std::uint64_t{1} << lowBits) - 1;

std::uint64_t pairOf(std::int16_t even, std::int16_t odd) {
    return (static_cast<std::uint64_t>(-1 - odd) << lowBits) | static_cast<std::uint64_t>(even);
}

} // namespace

std::int16_t CountedSound::frame(std::uint64_t position) {
    const std::uint64_t pair = position / 2;
    return position % 2 == 0
               ? static_cast<std::int16_t>(pair & lowMask)
               : static_cast<std::int16_t>(-1 - static_cast<std::int64_t>(pair >> lowBits));
}

std::optional<std::uint64_t> CountedSound::positionOf(std::int16_t first, std::int16_t second) {
    if (first >= 0 && second < 0) {
        return 2 * pairOf(first, second);
    }
    if (first < 0 && second >= 0) {
        // The second half of a pair and the first of the next, whose high bits may be new.
        const auto low = static_cast<std::int16_t>((second - 1) & static_cast<int>(lowMask));
        return 2 * pairOf(low, first) + 1;
    }
    return std::nullopt;
}

void CountedSound::write(const std::filesystem::path& file, std::uint64_t first,
                         std::uint64_t count) {
    constexpr std::uint64_t piece = 1U << 16U;
    std::ofstream stream(file, std::ios::binary);
    std::vector<float> samples;
    for (std::uint64_t done = 0; done < count; done += samples.size()) {
        samples.resize(std::min(piece, count - done));
        for (std::uint64_t index = 0; index < samples.size(); ++index) {
            samples[index] = static_cast<float>(frame(first + done + index)) / 32768.0F;
        }
        stream.write(reinterpret_cast<const char*>(samples.data()),
                     static_cast<std::streamsize>(samples.size() * sizeof(float)));
    }
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

bool CountedSoundReader::follows(std::int16_t sample) const {
    return next_ && sample == CountedSound::frame(*next_);
}

std::optional<CountedSoundReader::Break>
CountedSoundReader::read(std::span<const std::int16_t> samples) {
    std::optional<Break> first;
    for (const std::int16_t sample : samples) {
        if (!unplaced_ && follows(sample)) {
            ++*next_;
            ++heard_;
            continue;
        }
        if (sample == 0) {
            // No frame of the sound would stand here: the even ones that are zero were due.
            ++silence_;
            unplaced_.reset();
            continue;
        }
        const auto position =
            unplaced_ ? CountedSound::positionOf(*unplaced_, sample) : std::nullopt;
        if (!position) {
            unplaced_ = sample;
            continue;
        }
        if (!first) {
            first = Break{next_, *position};
        }
        unplaced_.reset();
        next_ = *position + 2;
        heard_ += 2;
        ++breaks_;
    }
    return first;
}

} // namespace tandrel::test
