#include "StreamSocketFixture.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class StreamSocketLoss : public StreamSocketOverBoth {
protected:
    enum class Ending { fin, rst };

    /// How many of `runs` connections, lost in the middle of a stream, showed the server's `code`.
    [[nodiscard]] int rightCodes(int code, Ending ending, int runs) {
        int right = 0;
        for (int run = 0; run < runs; ++run) {
            const ScriptedServer server(
                [&](Peer& peer) {
                    if (!peer.openWithPong()) {
                        return;
                    }
                    for (int frame = 0; frame < run % 7; ++frame) {
                        (void)peer.readFrame();
                    }
                    peer.write(closeFrame(static_cast<std::uint16_t>(code)));
                    ending == Ending::fin ? peer.finish() : peer.reset();
                },
                serverOptions());
            StreamClient client = connectTo(server);
            if (!client.waitForPong()) {
                continue;
            }
            Pacer audio(200us, [&] { client.send(std::string(audioMessageBytes, 'a')); });
            if (client.waitForLoss() && client.loss().code == code &&
                client.task->closeCode() == code && client.receiveErrors().size() == 1) {
                ++right;
            }
        }
        return right;
    }
};

INSTANTIATE_TEST_SUITE_P(Schemes, StreamSocketLoss, testing::Bool(), schemeName);

TEST_P(StreamSocketLoss, ShowsTheServersCloseCode) {
    const int runs = 12;
    // A close frame and a reset that come both while a message goes out are beyond reach. Qt polls
    // for input and output at once, then writes, and when that fails gives up the socket with what
    // the system still holds: a second descriptor has shown the close frame there (4 bytes, 26 with
    // TLS) for every code that was missing. Between poll and write lie some microseconds, but more
    // on a busy machine; stretched by 300 us they took the code in 105 of 144 runs.
    const int unlucky = 1;
    for (const int code : {4001, 4002, 4003, 1000, 1011, 1012}) {
        for (const Ending ending : {Ending::fin, Ending::rst}) {
            const int right = rightCodes(code, ending, runs);
            std::printf("%s close %d then %s: right code in %d of %d runs\n", scheme(), code,
                        ending == Ending::fin ? "FIN" : "RST", right, runs);
            EXPECT_GE(right, ending == Ending::fin ? runs : runs - unlucky);
        }
    }
}

TEST_P(StreamSocketLoss, FailsPingAndReceiveOnceEachWhenTheCloseComesBeforeThePong) {
    const ScriptedServer server(
        [](Peer& peer) {
            ASSERT_TRUE(peer.upgrade());
            peer.write(closeFrame(4002));
            peer.reset();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForLoss());
    ASSERT_THAT(client.pings(), SizeIs(1));
    ASSERT_TRUE(client.pings().front());
    EXPECT_EQ(client.pings().front()->code, 4002);
    EXPECT_EQ(client.loss().code, 4002);
    endSocket();
    mainQueue.drain();
    EXPECT_THAT(client.pings(), SizeIs(1));
    EXPECT_THAT(client.receiveErrors(), SizeIs(1));
}

TEST_P(StreamSocketLoss, HasNoCodeWithoutACloseFrame) {
    for (const Ending ending : {Ending::fin, Ending::rst}) {
        const ScriptedServer server(
            [&](Peer& peer) {
                ASSERT_TRUE(peer.openWithPong());
                ending == Ending::fin ? peer.finish() : peer.reset();
            },
            serverOptions());
        StreamClient client = connectTo(server);
        ASSERT_TRUE(client.waitForLoss());
        EXPECT_EQ(client.loss().code, 0);
        EXPECT_EQ(client.task->closeCode(), 0);
        EXPECT_EQ(client.loss().description.find("secret"), std::string::npos);
    }
}

TEST_P(StreamSocketLoss, HasNoCodeWhenTheCloseFrameHasNone) {
    const ScriptedServer server(
        [](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            peer.write(serverFrame(opcode::close, ""));
            peer.finish();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForLoss());
    EXPECT_EQ(client.loss().code, 0);
    EXPECT_EQ(client.loss().description, "The server closed the connection.");
}

TEST_P(StreamSocketLoss, DeliversWhatCameBeforeTheClose) {
    const ScriptedServer server(
        [](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            peer.write(serverFrame(opcode::text, "last words") + closeFrame(4001));
            peer.reset();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForLoss());
    ASSERT_THAT(client.messages(), SizeIs(1));
    EXPECT_EQ(client.messages().front().payload, "last words");
    EXPECT_EQ(client.loss().code, 4001);
}

TEST_P(StreamSocketLoss, EchoesTheServersCloseAndEndsTheConnection) {
    std::vector<int> echoed;
    std::atomic<bool> ended{false};
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            peer.write(closeFrame(4003));
            while (const auto frame = peer.readFrame()) {
                echoed.push_back(frame->closeCode());
            }
            ended = true;
        },
        serverOptions());
    const StreamClient client = connectTo(server);
    ASSERT_TRUE(mainQueue.drainUntil([&] { return ended.load(); }));
    EXPECT_THAT(echoed, ElementsAre(4003));
}

TEST_P(StreamSocketLoss, FailsTheMessagesThatStillWait) {
    auto options = serverOptions();
    options.receiveBuffer = 4096;
    std::atomic<bool> release{false};
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            release.wait(false);
            peer.reset();
        },
        options);
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    constexpr int count = 400;
    for (int index = 0; index < count; ++index) {
        client.send(std::string(audioMessageBytes, 'a'));
    }
    release = true;
    release.notify_all();
    ASSERT_TRUE(client.waitForLoss());
    ASSERT_TRUE(client.waitFor([&] { return client.sends().ok + client.sends().failed == count; }));
    EXPECT_GT(client.sends().failed, 0);
    client.send("too late");
    ASSERT_TRUE(
        client.waitFor([&] { return client.sends().ok + client.sends().failed == count + 1; }));
}

TEST_P(StreamSocketLoss, NoticesAServerThatStopsReadingByTheAgeOfTheOldestMessage) {
    limits.oldestWaiting = 200ms;
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
    const Pacer audio(1ms, [&] { client.send(std::string(audioMessageBytes, 'a')); });
    ASSERT_TRUE(client.waitForLoss());
    EXPECT_EQ(client.loss().code, 0);
    EXPECT_THAT(client.loss().description, HasSubstr("stopped taking the stream"));
}

/// In real time, with the limits of the product.
TEST(StreamSocketDeadPeer, IsNoticedWithin11SecondsWhileAudioFlows) {
    ManualMainQueue mainQueue;
    QtStreamSocket socket(mainQueue, {SocketLimits(), testAuthority()});
    const auto script = [](Peer& peer) {
        if (peer.openWithPong()) {
            peer.stall();
        }
    };
    ScriptedServer::Options secure;
    secure.identity = certificates().good();
    const ScriptedServer plainServer(script);
    const ScriptedServer secureServer(script, secure);
    StreamClient plain(socket, mainQueue, plainServer.url());
    StreamClient encrypted(socket, mainQueue, secureServer.url());
    ASSERT_TRUE(plain.waitForPong());
    ASSERT_TRUE(encrypted.waitForPong());
    const Stopwatch watch;
    const Pacer audio(audioInterval, [&] {
        plain.send(std::string(audioMessageBytes, 'a'));
        encrypted.send(std::string(audioMessageBytes, 'a'));
    });
    double plainSeconds = 0;
    double encryptedSeconds = 0;
    ASSERT_TRUE(mainQueue.drainUntil([&] {
        if (plainSeconds == 0 && !plain.receiveErrors().empty()) {
            plainSeconds = watch.seconds();
        }
        if (encryptedSeconds == 0 && !encrypted.receiveErrors().empty()) {
            encryptedSeconds = watch.seconds();
        }
        return plainSeconds > 0 && encryptedSeconds > 0;
    }));
    std::printf("a server that stops reading is noticed after %.1f s (ws), %.1f s (wss)\n",
                plainSeconds, encryptedSeconds);
    EXPECT_LE(plainSeconds, 11.0);
    EXPECT_LE(encryptedSeconds, 11.0);
}

} // namespace
} // namespace tandrel::test
