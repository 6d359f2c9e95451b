#include "DevBackend/MessageLog.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string_view>

namespace devbackend {
namespace {

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(MessageLog, HashesAsFnv1aDoes) {
    // The algorithm's published test values.
    EXPECT_EQ(fnv1a(bytesOf("")), 0xcbf29ce484222325U);
    EXPECT_EQ(fnv1a(bytesOf("a")), 0xaf63dc4c8601ec8cU);
    EXPECT_EQ(fnv1a(bytesOf("foobar")), 0x85944171f73967e8U);
}

TEST(MessageLog, WritesTheSameRecordToFileAndText) {
    const auto path = std::filesystem::path(std::getenv("HOME")) / "log.csv";
    MessageLog log(path);
    log.add(1, bytesOf("foobar"), 12'345);
    log.add(2, bytesOf("a"), 67'890);
    log.sync();
    const std::string expected = "index,connection,bytes,monotonic_ns,fnv1a64\n"
                                 "0,1,6,12345,85944171f73967e8\n"
                                 "1,2,1,67890,af63dc4c8601ec8c\n";
    EXPECT_EQ(log.toCsv(), expected);
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), expected);
}

TEST(MessageLog, ReadsTheClockThatOtherProcessesRead) {
    const std::int64_t before = monotonicNanoseconds();
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t between = std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
    EXPECT_LE(before, between);
    EXPECT_LE(between, monotonicNanoseconds());
}

} // namespace
} // namespace devbackend
