#include "StreamSocketFixture.h"

#include <atomic>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double mebibyte = 1024.0 * 1024.0;

/// Memory that the process occupies, in bytes.
double residentBytes() {
    std::ifstream statm("/proc/self/statm");
    double total = 0;
    double resident = 0;
    statm >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

/// Whether memory figures mean anything: sanitizers keep freed memory and shadows.
#ifdef TANDREL_SANITIZED
constexpr bool measuresMemory = false;
#else
constexpr bool measuresMemory = true;
#endif

void expectGrowthWithin(double before, double limit, const char* what) {
    const double growth = residentBytes() - before;
    std::printf("%s: memory grew by %.2f MB\n", what, growth / mebibyte);
    if (measuresMemory) {
        EXPECT_LE(growth, limit);
    }
}

/// Counts what a server could write, and tells when it is stuck.
struct Flood {
    std::atomic<std::size_t> written{0};

    void run(Peer& peer, const std::string& bytes) {
        while (peer.write(bytes)) {
            written += bytes.size();
        }
    }
    /// Until nothing more could be written for 300 ms.
    [[nodiscard]] bool waitUntilStuck() const {
        const Stopwatch whole;
        std::size_t last = 0;
        Stopwatch quiet;
        while (whole.seconds() < 15) {
            if (written != last) {
                last = written;
                quiet = Stopwatch();
            }
            if (quiet.seconds() > 0.3 && last > 0) {
                return true;
            }
            std::this_thread::sleep_for(5ms);
        }
        return false;
    }
};

class StreamSocketBounds : public StreamSocketOverBoth {
protected:
    StreamSocketBounds() { limits.closingHandshake = 60ms; }
};

INSTANTIATE_TEST_SUITE_P(Schemes, StreamSocketBounds, testing::Bool(), schemeName);

TEST_P(StreamSocketBounds, AStalledServerCostsLessThanOneMegabyte) {
    auto options = serverOptions();
    options.receiveBuffer = 4096;
    const ScriptedServer server(
        [](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            peer.stall();
        },
        options);
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const double before = residentBytes();
    double peak = before;
    int offered = 0;
    const Stopwatch watch;
    // Much faster than sound, so that the bytes hit their bound before the age does.
    ASSERT_TRUE(client.waitFor([&] {
        for (int count = 0; count < 20; ++count, ++offered) {
            client.send(std::string(audioMessageBytes, 'a'));
        }
        peak = std::max(peak, residentBytes());
        return !client.receiveErrors().empty();
    }));
    EXPECT_LT(watch.seconds(), 5.0);
    EXPECT_THAT(client.loss().description, HasSubstr("fast enough"));
    ASSERT_TRUE(
        client.waitFor([&] { return client.sends().ok + client.sends().failed == offered; }));
    const double taken = client.sends().ok * static_cast<double>(audioMessageBytes);
    std::printf("%s stalled server: %.0f kB left for the system, memory grew by %.2f MB\n",
                scheme(), taken / 1000, (peak - before) / mebibyte);
    EXPECT_LE(taken + static_cast<double>(limits.waitingBytes), mebibyte);
    if (measuresMemory) {
        EXPECT_LE(peak - before, mebibyte);
    }
}

TEST_P(StreamSocketBounds, AFloodOfPingsStopsReadingInsteadOfPilingUpPongs) {
    Flood flood;
    std::atomic<bool> release{false};
    const std::string pings = [] {
        std::string bytes;
        for (int count = 0; count < 1000; ++count) {
            bytes += serverFrame(opcode::ping, std::string(50, 'p'));
        }
        return bytes;
    }();
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            // Never reads the pongs.
            flood.run(peer, pings);
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const double before = residentBytes();
    EXPECT_TRUE(flood.waitUntilStuck()) << "the client goes on reading";
    expectGrowthWithin(before, mebibyte, "a flood of pings");
    EXPECT_THAT(client.receiveErrors(), IsEmpty());
    client.task->cancel(1000);
    EXPECT_TRUE(socket().drain());
}

TEST_P(StreamSocketBounds, AFloodOfMessagesWaitsForABusyMainThread) {
    Flood flood;
    std::size_t number = 0;
    std::atomic<bool> release{false};
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            while (!release) {
                std::string bytes;
                const std::size_t first = number;
                for (; number < first + 100; ++number) {
                    bytes += serverFrame(opcode::text, std::to_string(number));
                }
                if (!peer.write(bytes)) {
                    return;
                }
                flood.written += bytes.size();
            }
            peer.write(serverFrame(opcode::text, "end"));
            peer.stall();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const double before = residentBytes();
    // The main thread is busy: nothing runs on it.
    EXPECT_TRUE(flood.waitUntilStuck()) << "the client goes on reading";
    expectGrowthWithin(before, mebibyte, "a flood of messages");
    release = true;
    ASSERT_TRUE(client.waitFor(
        [&] { return !client.messages().empty() && client.messages().back().payload == "end"; }));
    for (std::size_t index = 0; index + 1 < client.messages().size(); ++index) {
        ASSERT_EQ(client.messages()[index].payload, std::to_string(index));
    }
}

struct BrokenFrame {
    const char* name;
    std::string bytes;
    /// The code of the close frame that the server must see, 0 for one without a code.
    int answer;
};

std::vector<BrokenFrame> brokenFrames() {
    const std::string megabyte(1'048'577, 'x');
    return {
        {"reserved bit", "\xc1\x01x", 1002},
        {"masked frame", std::string("\x81\x81\0\0\0\0x", 7), 1002},
        {"unknown data opcode", "\x83\x01x", 1002},
        {"unknown control opcode", "\x8b\x01x", 1002},
        {"continuation of nothing", serverFrame(opcode::continuation, "x"), 1002},
        {"message within a message",
         serverFrame(opcode::text, "x", false) + serverFrame(opcode::text, "y"), 1002},
        {"ping in fragments", serverFrame(opcode::ping, "x", false), 0},
        {"long ping", std::string("\x89\x7e\0\x7e", 4) + std::string(126, 'x'), 0},
        {"length not minimal", std::string("\x82\x7e\0\x01x", 5), 0},
        {"length beyond 63 bits", std::string("\x82\x7f\xff\xff\xff\xff\xff\xff\xff\xff", 10), 0},
        {"1 GB announced", std::string("\x82\x7f\0\0\0\0\x40\0\0\0", 10) + "x", 1009},
        {"one byte beyond 1 MiB", serverFrame(opcode::binary, megabyte), 1009},
        {"fragments beyond 1 MiB",
         serverFrame(opcode::binary, megabyte.substr(1), false) +
             serverFrame(opcode::continuation, "x"),
         1009},
        {"invalid UTF-8", serverFrame(opcode::text, "\xc3\x28"), 1007},
        {"UTF-8 that ends too early", serverFrame(opcode::text, "\xe2\x82"), 1007},
        {"a surrogate in UTF-8", serverFrame(opcode::text, "\xed\xa0\x80"), 1007},
        {"close with a code that must not be sent", closeFrame(1005), 1002},
        {"close with a code out of range", closeFrame(999), 1002},
        {"close with a reason that is no UTF-8",
         serverFrame(opcode::close, std::string("\x0f\xa1\xff", 3)), 1007},
    };
}

TEST_P(StreamSocketBounds, EveryBrokenFrameIsALossWithoutACodeAndAnsweredWithItsClose) {
    for (const BrokenFrame& broken : brokenFrames()) {
        SCOPED_TRACE(broken.name);
        std::atomic<int> answer{-1};
        const ScriptedServer server(
            [&](Peer& peer) {
                ASSERT_TRUE(peer.openWithPong());
                peer.write(broken.bytes);
                int seen = -2;
                while (const auto frame = peer.readFrame()) {
                    if (frame->opcode == opcode::close) {
                        seen = frame->closeCode();
                    }
                }
                answer = seen;
            },
            serverOptions());
        StreamClient client = connectTo(server);
        ASSERT_TRUE(client.waitForLoss());
        EXPECT_THAT(client.messages(), IsEmpty());
        EXPECT_EQ(client.loss().code, 0);
        EXPECT_EQ(client.loss().description, "The server broke the WebSocket protocol.");
        EXPECT_EQ(client.task->closeCode(), 0);
        ASSERT_TRUE(client.waitFor([&] { return answer != -1; }));
        EXPECT_EQ(answer, broken.answer);
    }
}

TEST_P(StreamSocketBounds, AMessageOfExactlyOneMebibyteIsTaken) {
    const ScriptedServer server(
        [](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            peer.write(serverFrame(opcode::binary, std::string(1'048'576, 'x')));
            peer.stall();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitFor([&] { return !client.messages().empty(); }));
    EXPECT_EQ(client.messages().front().payload.size(), 1'048'576U);
}

TEST_P(StreamSocketBounds, RandomBytesAfterTheUpgradeNeverHang) {
    limits.openToPong = 2s;
    std::mt19937 random(20261120);
    for (int run = 0; run < 40; ++run) {
        std::string bytes(static_cast<std::size_t>(random() % 20'000), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        const ScriptedServer server(
            [&](Peer& peer) {
                ASSERT_TRUE(peer.upgrade());
                peer.write(bytes);
                peer.finish();
            },
            serverOptions());
        StreamClient client = connectTo(server);
        ASSERT_TRUE(client.waitForLoss()) << "run " << run;
        EXPECT_THAT(client.pings(), SizeIs(1));
        EXPECT_THAT(client.receiveErrors(), SizeIs(1));
    }
}

} // namespace
} // namespace tandrel::test
