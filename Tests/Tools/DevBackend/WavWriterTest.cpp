#include "DevBackend/WavWriter.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

namespace devbackend {
namespace {

using testing::ElementsAre;

std::filesystem::path newFile() {
    static int count = 0;
    return std::filesystem::path(std::getenv("HOME")) / ("w" + std::to_string(++count) + ".wav");
}

std::vector<std::uint8_t> contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::uint32_t number(const std::vector<std::uint8_t>& bytes, std::size_t at, int width) {
    std::uint32_t value = 0;
    for (int byte = width - 1; byte >= 0; --byte) {
        value = value << 8 | bytes.at(at + static_cast<std::size_t>(byte));
    }
    return value;
}

TEST(WavWriter, WritesTheHeaderOf16kHzMono16BitPcm) {
    const auto path = newFile();
    {
        WavWriter wav(path);
        wav.append(std::vector<std::uint8_t>{1, 2, 3, 4});
    }
    const auto bytes = contents(path);
    ASSERT_EQ(bytes.size(), 48U);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RIFF");
    EXPECT_EQ(number(bytes, 4, 4), 40U);
    EXPECT_EQ(std::string(bytes.begin() + 8, bytes.begin() + 16), "WAVEfmt ");
    EXPECT_EQ(number(bytes, 16, 4), 16U);
    EXPECT_EQ(number(bytes, 20, 2), 1U) << "PCM";
    EXPECT_EQ(number(bytes, 22, 2), 1U) << "channels";
    EXPECT_EQ(number(bytes, 24, 4), 16000U) << "frames per second";
    EXPECT_EQ(number(bytes, 28, 4), 32000U) << "bytes per second";
    EXPECT_EQ(number(bytes, 32, 2), 2U) << "bytes per frame";
    EXPECT_EQ(number(bytes, 34, 2), 16U) << "bits per sample";
    EXPECT_EQ(std::string(bytes.begin() + 36, bytes.begin() + 40), "data");
    EXPECT_EQ(number(bytes, 40, 4), 4U);
    EXPECT_THAT(std::vector(bytes.begin() + 44, bytes.end()), ElementsAre(1, 2, 3, 4));
}

TEST(WavWriter, IsAWholeFileAfterEachSyncAndGoesOn) {
    const auto path = newFile();
    WavWriter wav(path);
    EXPECT_EQ(number(contents(path), 40, 4), 0U);
    wav.append(std::vector<std::uint8_t>(100, 7));
    wav.sync();
    EXPECT_EQ(number(contents(path), 40, 4), 100U);
    EXPECT_EQ(contents(path).size(), 144U);
    wav.append(std::vector<std::uint8_t>(50, 8));
    wav.sync();
    const auto bytes = contents(path);
    EXPECT_EQ(number(bytes, 40, 4), 150U);
    EXPECT_EQ(number(bytes, 4, 4), 186U);
    ASSERT_EQ(bytes.size(), 194U);
    EXPECT_EQ(bytes[143], 7);
    EXPECT_EQ(bytes[144], 8);
}

TEST(WavWriter, LeavesOutHalfAFrame) {
    const auto path = newFile();
    WavWriter wav(path);
    wav.append(std::vector<std::uint8_t>{1, 2, 3});
    wav.append(std::vector<std::uint8_t>{4, 5});
    wav.sync();
    const auto bytes = contents(path);
    EXPECT_THAT(std::vector(bytes.begin() + 44, bytes.end()), ElementsAre(1, 2, 4, 5));
}

TEST(WavWriter, SaysWhenTheFileCannotBeMade) {
    EXPECT_THROW(WavWriter("/nowhere/at/all.wav"), std::system_error);
}

} // namespace
} // namespace devbackend
