#include "Headless/RecordingStreamSocket.h"
#include "Support/AllocationCounter.h"
#include "Support/FakeStreamSocket.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::headless {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string recordPath() {
    return std::string(std::getenv("HOME")) + "/record.csv";
}

TEST(SendRecord, HoldsNothingOfTheMessagesWhoseLinesItWrites) {
    for (const auto& path : {std::optional<std::string>(), std::optional(recordPath())}) {
        SendRecord record(path);
        const Bytes message(682, 1);
        record.add(1, message);
        const test::AllocationCounter allocations;
        for (int count = 0; count < 50'000; ++count) {
            record.add(1, message);
        }
        EXPECT_EQ(allocations.count(), 0U);
        EXPECT_EQ(record.messageCount(), 50'001U);
        EXPECT_EQ(record.byteCount(), 50'001U * 682);
    }
    EXPECT_EQ(linesOf(recordPath()).size(), 50'002U);
}

TEST(SendRecord, SaysWhichConnectionCarriedAMessage) {
    test::FakeStreamSocket sockets;
    const auto record = std::make_shared<SendRecord>(recordPath());
    RecordingStreamSocket socket(sockets, record);
    for (const std::uint8_t byte : Bytes{1, 2}) {
        const auto task = socket.webSocketTask("ws://backend.test/");
        task->send(Bytes{byte}, [](const auto&) {});
    }
    EXPECT_TRUE(record->close());
    EXPECT_THAT(linesOf(recordPath()), ElementsAre("index,connection,bytes,monotonic_ns,fnv1a64",
                                                   StartsWith("0,1,1,"), StartsWith("1,2,1,")));
}

TEST(SendRecord, SaysWhenItsFileDoesNotHoldAll) {
    SendRecord record("/proc/self/cwd/unwritable/record");
    record.add(1, Bytes{1});
    EXPECT_FALSE(record.close());
}

} // namespace
} // namespace tandrel::headless
