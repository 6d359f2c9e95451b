#include "Support/CountedSound.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

/// Across an end of the low bits, where the high ones change.
constexpr std::uint64_t begin = 65536 - 500;
constexpr std::size_t frames = 4000;

std::vector<std::int16_t> sound(std::uint64_t first = begin, std::size_t count = frames) {
    std::vector<std::int16_t> samples(count);
    for (std::size_t index = 0; index < count; ++index) {
        samples[index] = CountedSound::frame(first + index);
    }
    return samples;
}

/// The breaks in `samples` after the one that is their beginning, read in pieces of `piece`.
std::vector<CountedSoundReader::Break> breaksIn(const std::vector<std::int16_t>& samples,
                                                std::size_t piece = 341) {
    CountedSoundReader reader;
    std::vector<CountedSoundReader::Break> breaks;
    for (std::size_t at = 0; at < samples.size(); at += piece) {
        const std::size_t count = std::min(piece, samples.size() - at);
        if (const auto found = reader.read(std::span(samples).subspan(at, count));
            found && found->expected) {
            breaks.push_back(*found);
        }
    }
    return breaks;
}

TEST(CountedSound, AnyTwoNeighboursTellWhereTheyStand) {
    for (const std::uint64_t start :
         {std::uint64_t{2}, begin, std::uint64_t{100'000'001}, CountedSound::length - 5000}) {
        for (std::uint64_t position = start; position < start + frames; ++position) {
            ASSERT_EQ(CountedSound::positionOf(CountedSound::frame(position),
                                               CountedSound::frame(position + 1)),
                      position);
        }
    }
}

TEST(CountedSound, AWholeOneHasNoBreakHoweverItIsCut) {
    for (const std::size_t piece : {1U, 2U, 341U, 1024U}) {
        EXPECT_TRUE(breaksIn(sound(), piece).empty()) << piece;
    }
}

TEST(CountedSound, ALostFrameIsABreak) {
    for (const std::ptrdiff_t at : {1000, 1001}) {
        auto samples = sound();
        samples.erase(samples.begin() + at);
        const auto breaks = breaksIn(samples);
        ASSERT_EQ(breaks.size(), 1U);
        EXPECT_EQ(breaks[0].expected, begin + static_cast<std::uint64_t>(at));
        EXPECT_EQ(breaks[0].found, begin + static_cast<std::uint64_t>(at) + 1);
    }
}

TEST(CountedSound, ALossOfAnyLengthIsKnownForWhatItIs) {
    auto samples = sound();
    const auto later = sound(begin + 65536 * 9);
    samples.insert(samples.end(), later.begin(), later.end());
    const auto breaks = breaksIn(samples);
    ASSERT_EQ(breaks.size(), 1U);
    EXPECT_EQ(breaks[0].expected, begin + frames);
    EXPECT_EQ(breaks[0].found, begin + 65536 * 9);
}

TEST(CountedSound, ARepeatedFrameAndPiecesInTheWrongOrderAreBreaks) {
    auto repeated = sound();
    repeated.insert(repeated.begin() + 1000, repeated[999]);
    EXPECT_FALSE(breaksIn(repeated).empty());
    auto swapped = sound();
    std::rotate(swapped.begin() + 682, swapped.begin() + 1023, swapped.begin() + 1364);
    EXPECT_EQ(breaksIn(swapped).size(), 3U);
}

TEST(CountedSound, AWrongSampleIsABreak) {
    for (const std::int16_t wrong : {std::int16_t{7}, std::int16_t{-7}}) {
        auto samples = sound();
        samples[1000] = wrong;
        EXPECT_FALSE(breaksIn(samples).empty());
    }
}

TEST(CountedSound, SilenceBetweenFramesIsCountedAndNoBreak) {
    auto samples = sound();
    samples.insert(samples.begin() + 1001, 300, 0);
    EXPECT_TRUE(breaksIn(samples).empty());
    CountedSoundReader reader;
    reader.read(samples);
    EXPECT_EQ(reader.silence(), 300U);
    EXPECT_EQ(reader.heard(), frames);
    EXPECT_EQ(reader.breaks(), 1U);
}

TEST(CountedSound, AFileOfItHoldsTheSameFrames) {
    const std::filesystem::path path = std::filesystem::path(std::getenv("HOME")) / "sound.raw";
    CountedSound::write(path, begin, 70000);
    std::vector<float> samples(70001);
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(samples.data()),
              static_cast<std::streamsize>(samples.size() * sizeof(float)));
    ASSERT_EQ(file.gcount(), 70000 * static_cast<std::streamsize>(sizeof(float)));
    for (const std::size_t index : {0U, 1U, 65536U, 69999U}) {
        EXPECT_EQ(samples[index] * 32768.0F, CountedSound::frame(begin + index)) << index;
    }
}

} // namespace
} // namespace tandrel::test
