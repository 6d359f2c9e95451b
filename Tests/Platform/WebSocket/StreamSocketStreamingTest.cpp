#include "StreamSocketFixture.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::SizeIs;

/// An audio message that carries its number.
std::string numbered(std::uint32_t number) {
    std::string payload = std::to_string(number);
    payload.resize(audioMessageBytes, '.');
    return payload;
}

/// Judges the numbers of the messages as they arrive.
struct Sequence {
    std::atomic<std::uint32_t> received{0};
    std::atomic<int> wrong{0};

    void take(const WireFrame& frame) {
        if (frame.opcode != opcode::binary || !frame.fin || frame.payload != numbered(received)) {
            ++wrong;
        }
        ++received;
    }
};

class StreamSocketStreaming : public StreamSocketOverBoth {
protected:
    ScriptedServer::Script collector(Sequence& sequence) {
        return [&sequence](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            while (const auto frame = peer.readFrame()) {
                if (frame->opcode == opcode::close) {
                    peer.write(closeFrame(1000));
                    peer.finish();
                    return;
                }
                sequence.take(*frame);
            }
        };
    }
};

INSTANTIATE_TEST_SUITE_P(Schemes, StreamSocketStreaming, testing::Bool(), schemeName);

TEST_P(StreamSocketStreaming, LosesAndReordersNothingAt1000MessagesASecond) {
    Sequence sequence;
    const ScriptedServer server(collector(sequence), serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    std::atomic<std::uint32_t> sent{0};
    {
        Pacer audio(1ms, [&] {
            if (sent < 2000) {
                client.send(numbered(sent));
                ++sent;
            }
        });
        ASSERT_TRUE(client.waitFor([&] { return sent == 2000; }));
    }
    ASSERT_TRUE(client.waitFor([&] { return sequence.received == sent.load(); }));
    std::printf("%s: %u messages at 1000/s, %d lost or reordered\n", scheme(), sent.load(),
                sequence.wrong.load());
    EXPECT_EQ(sequence.wrong, 0);
    EXPECT_EQ(client.sends().ok, 2000);
    EXPECT_EQ(client.sends().failed, 0);
}

TEST_P(StreamSocketStreaming, TakesABurstInOrder) {
    Sequence sequence;
    const ScriptedServer server(collector(sequence), serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    for (std::uint32_t number = 0; number < 400; ++number) {
        client.send(numbered(number));
    }
    ASSERT_TRUE(client.waitFor([&] { return sequence.received == 400U; }));
    EXPECT_EQ(sequence.wrong, 0);
}

TEST_P(StreamSocketStreaming, CompletesSendsOnTheNetworkThread) {
    Sequence sequence;
    const ScriptedServer server(collector(sequence), serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    std::mutex mutex;
    std::set<std::thread::id> threads;
    std::atomic<int> completed{0};
    for (int count = 0; count < 20; ++count) {
        client.task->send(Bytes(10), [&](const std::optional<SocketError>& error) {
            EXPECT_FALSE(error);
            const std::lock_guard lock(mutex);
            threads.insert(std::this_thread::get_id());
            ++completed;
        });
    }
    ASSERT_TRUE(client.waitFor([&] { return completed == 20; }));
    EXPECT_THAT(threads, SizeIs(1));
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_P(StreamSocketStreaming, SendsEverySizeAsOneMaskedBinaryMessage) {
    const std::vector<std::size_t> sizes = {0, 1, 125, 126, 127, 65'535, 65'536, 200'000};
    std::vector<WireFrame> frames;
    std::atomic<bool> done{false};
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            while (frames.size() < sizes.size()) {
                const auto frame = peer.readFrame();
                ASSERT_TRUE(frame);
                frames.push_back(*frame);
            }
            done = true;
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    std::vector<std::string> payloads;
    for (const std::size_t size : sizes) {
        std::string payload(size, '\0');
        for (std::size_t index = 0; index < size; ++index) {
            payload[index] = static_cast<char>(index * 7 + size);
        }
        payloads.push_back(payload);
        client.send(payload);
    }
    ASSERT_TRUE(client.waitFor([&] { return done.load(); }));
    for (std::size_t index = 0; index < sizes.size(); ++index) {
        EXPECT_EQ(frames[index].opcode, opcode::binary);
        EXPECT_TRUE(frames[index].fin);
        EXPECT_TRUE(frames[index].payload == payloads[index]) << sizes[index] << " bytes";
    }
}

TEST_P(StreamSocketStreaming, DeliversTextsAndBinariesWholeAndAnswersPingsBetweenTheirFragments) {
    std::vector<WireFrame> frames;
    std::atomic<bool> answered{false};
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            // The Euro sign, cut within.
            peer.write(serverFrame(opcode::text, "10 \xe2", false));
            peer.write(serverFrame(opcode::ping, "between"));
            peer.write(serverFrame(opcode::continuation, "", false));
            peer.write(serverFrame(opcode::continuation, "\x82\xac"));
            peer.write(serverFrame(opcode::binary, std::string("\0\xff", 2)));
            const auto pong = peer.readFrame();
            ASSERT_TRUE(pong);
            frames.push_back(*pong);
            answered = true;
            peer.stall();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitFor([&] { return client.messages().size() == 2 && answered; }));
    EXPECT_EQ(client.messages()[0].kind, SocketMessage::Kind::text);
    EXPECT_EQ(client.messages()[0].payload, "10 \xe2\x82\xac");
    EXPECT_EQ(client.messages()[1].kind, SocketMessage::Kind::binary);
    EXPECT_EQ(client.messages()[1].payload, std::string("\0\xff", 2));
    EXPECT_EQ(frames.front().opcode, opcode::pong);
    EXPECT_EQ(frames.front().payload, "between");
}

} // namespace
} // namespace tandrel::test
