#include "StreamSocketFixture.h"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class StreamSocketOpening : public StreamSocketFixture {};

TEST_F(StreamSocketOpening, SendsAPlainUpgradeWithTheTokenByteForByte) {
    std::string request;
    std::atomic<bool> seen{false};
    const ScriptedServer server([&](Peer& peer) {
        request = peer.readRequest();
        seen = true;
        peer.write(Peer::acceptance(request));
        peer.serveUntilEnd();
    });
    const std::string target = "/tandrel-stream?token=a%41%2f~!$&'()*+,;=:@/?b";
    StreamClient client(socket(), mainQueue, server.url(target));
    ASSERT_TRUE(client.waitForPong());
    ASSERT_TRUE(seen);
    EXPECT_THAT(request, StartsWith("GET " + target + " HTTP/1.1\r\n"));
    EXPECT_THAT(request,
                HasSubstr("\r\nHost: 127.0.0.1:" + std::to_string(server.port()) + "\r\n"));
    EXPECT_THAT(request, Not(HasSubstr("Sec-WebSocket-Protocol")));
    EXPECT_THAT(request, Not(HasSubstr("Origin")));
}

TEST_F(StreamSocketOpening, SendsOnePingAndCompletesItWithItsPong) {
    std::vector<WireFrame> frames;
    std::atomic<bool> answered{false};
    std::atomic<bool> release{false};
    std::atomic<bool> done{false};
    const ScriptedServer server([&](Peer& peer) {
        ASSERT_TRUE(peer.upgrade());
        const auto ping = peer.readFrame();
        ASSERT_TRUE(ping);
        frames.push_back(*ping);
        release.wait(false);
        answered = true;
        peer.write(serverFrame(opcode::pong, ping->payload));
        while (auto frame = peer.readFrame()) {
            frames.push_back(*frame);
        }
        done = true;
    });
    {
        StreamClient client = connectTo(server);
        // Not before the pong: a message that overtakes it shows that time has passed.
        EXPECT_THAT(client.pings(), IsEmpty());
        release = true;
        release.notify_all();
        ASSERT_TRUE(client.waitForPong());
        EXPECT_TRUE(answered);
        EXPECT_THAT(client.pings(), SizeIs(1));
        client.task->cancel(1000);
    }
    ASSERT_TRUE(mainQueue.drainUntil([&] { return done.load(); }));
    ASSERT_THAT(frames, SizeIs(2));
    EXPECT_EQ(frames[0].opcode, opcode::ping);
    EXPECT_EQ(frames[1].closeCode(), 1000);
}

TEST_F(StreamSocketOpening, IgnoresPongsThatNobodyAskedFor) {
    std::atomic<bool> release{false};
    const ScriptedServer server([&](Peer& peer) {
        ASSERT_TRUE(peer.upgrade());
        const auto ping = peer.readFrame();
        ASSERT_TRUE(ping);
        peer.write(serverFrame(opcode::pong, ""));
        peer.write(serverFrame(opcode::pong, "other"));
        peer.write(serverFrame(opcode::text, "after the wrong pongs"));
        release.wait(false);
        peer.write(serverFrame(opcode::pong, ping->payload));
        peer.stall();
    });
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitFor([&] { return !client.messages().empty(); }));
    EXPECT_THAT(client.pings(), IsEmpty());
    release = true;
    release.notify_all();
    EXPECT_TRUE(client.waitForPong());
}

TEST_F(StreamSocketOpening, AcceptsAConnectionHeaderThatListsMore) {
    const ScriptedServer server([](Peer& peer) {
        peer.write(Peer::acceptance(peer.readRequest(), "keep-alive, Upgrade"));
        peer.serveUntilEnd();
    });
    StreamClient client = connectTo(server);
    EXPECT_TRUE(client.waitForPong());
}

TEST_F(StreamSocketOpening, TakesReplyAndFramesInPiecesOfOneByte) {
    const ScriptedServer server([](Peer& peer) {
        const std::string bytes =
            Peer::acceptance(peer.readRequest()) + serverFrame(opcode::text, "early");
        for (const char byte : bytes) {
            peer.write({&byte, 1});
        }
        peer.serveUntilEnd();
    });
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitFor([&] { return !client.messages().empty(); }));
    EXPECT_EQ(client.messages().front().payload, "early");
    EXPECT_EQ(client.messages().front().kind, SocketMessage::Kind::text);
    EXPECT_TRUE(client.waitForPong());
}

TEST_F(StreamSocketOpening, KeepsFramesThatComeWithTheReply) {
    const ScriptedServer server([](Peer& peer) {
        peer.write(Peer::acceptance(peer.readRequest()) + serverFrame(opcode::text, "early") +
                   closeFrame(4001));
        peer.finish();
    });
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForLoss());
    EXPECT_THAT(client.messages(), SizeIs(1));
    EXPECT_EQ(client.loss().code, 4001);
    EXPECT_EQ(client.task->closeCode(), 4001);
}

/// Both pending completions fail, once, with code 0 and a text without the URL.
void expectRefusal(StreamClient& client, const std::string& text) {
    ASSERT_TRUE(client.waitForLoss());
    ASSERT_THAT(client.pings(), SizeIs(1));
    ASSERT_TRUE(client.pings().front());
    EXPECT_EQ(client.pings().front()->code, 0);
    ASSERT_THAT(client.receiveErrors(), SizeIs(1));
    EXPECT_EQ(client.loss().code, 0);
    EXPECT_THAT(client.loss().description, HasSubstr(text));
    EXPECT_EQ(client.pings().front()->description, client.loss().description);
    EXPECT_THAT(client.loss().description, Not(HasSubstr("token")));
    EXPECT_THAT(client.loss().description, Not(HasSubstr("secret")));
    EXPECT_EQ(client.task->closeCode(), 0);
}

TEST_F(StreamSocketOpening, ReportsEveryStatusThatRefusesTheUpgrade) {
    for (const char* status : {"200", "301", "400", "401", "403", "404", "429", "500", "503"}) {
        const ScriptedServer server([status](Peer& peer) {
            (void)peer.readRequest();
            peer.write("HTTP/1.1 " + std::string(status) +
                       " Whatever\r\nLocation: http://127.0.0.1:1/?token=secret\r\n"
                       "Content-Length: 2\r\n\r\n{}");
            peer.finish();
        });
        StreamClient client = connectTo(server);
        expectRefusal(client, "HTTP status " + std::string(status));
    }
}

TEST_F(StreamSocketOpening, RefusesRepliesThatAreNoUpgrade) {
    const std::vector<std::string> replies = {
        std::string("\0\x01\x02garbage\xff\xfe", 12),
        "SSH-2.0-OpenSSH_9.2\r\n",
        "HTTP/1.1 101 Switching Protocols\r\n\r\n",
        "HTTP/1.1 101\r\n\r\n",
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: AAAAAAAAAAAAAAAAAAAAAAAAAAA=\r\n\r\n",
    };
    for (const std::string& reply : replies) {
        const ScriptedServer server([&reply](Peer& peer) {
            (void)peer.readRequest();
            peer.write(reply);
            peer.stall();
        });
        StreamClient client = connectTo(server);
        expectRefusal(client, "not a WebSocket upgrade");
    }
}

TEST_F(StreamSocketOpening, BoundsTheReplyToTheUpgrade) {
    std::atomic<std::size_t> written{0};
    const ScriptedServer server([&](Peer& peer) {
        (void)peer.readRequest();
        peer.write("HTTP/1.1 101 Switching Protocols\r\n");
        const std::string header = "X-Padding: " + std::string(1000, 'x') + "\r\n";
        while (peer.write(header)) {
            written += header.size();
        }
    });
    StreamClient client = connectTo(server);
    expectRefusal(client, "too long");
}

TEST_F(StreamSocketOpening, ReportsAServerThatEndsBeforeItAnswers) {
    const ScriptedServer server([](Peer& peer) {
        (void)peer.readRequest();
        peer.finish();
    });
    StreamClient client = connectTo(server);
    expectRefusal(client, "ended the connection");
}

TEST_F(StreamSocketOpening, ReportsARefusedPort) {
    std::string url;
    {
        const ScriptedServer server([](Peer&) {});
        url = server.url();
    }
    StreamClient client(socket(), mainQueue, url);
    expectRefusal(client, "Could not connect: Connection refused");
}

TEST_F(StreamSocketOpening, ReportsAnAddressThatCannotBeUsedWithoutConnecting) {
    for (const char* url : {"ws://127.0.0.1:1/path?token=a#b", "http://127.0.0.1:1/", "ws:///x",
                            "ws://127.0.0.1:1/a b", "nonsense"}) {
        StreamClient client(socket(), mainQueue, url);
        expectRefusal(client, "The stream's address is not valid.");
    }
}

TEST_F(StreamSocketOpening, GivesUpOnAServerThatNeverUpgrades) {
    limits.openToPong = 150ms;
    const ScriptedServer server([](Peer& peer) { peer.stall(); });
    const Stopwatch watch;
    StreamClient client = connectTo(server);
    expectRefusal(client, "did not answer in time");
    EXPECT_GE(watch.seconds(), 0.149);
}

TEST_F(StreamSocketOpening, GivesUpOnAServerThatUpgradesButSendsNoPong) {
    limits.openToPong = 150ms;
    const ScriptedServer server([](Peer& peer) {
        ASSERT_TRUE(peer.upgrade());
        // Other traffic does not stand in for the pong.
        while (peer.write(serverFrame(opcode::text, "still no pong"))) {
            if (const auto frame = peer.readFrame(); !frame) {
                break;
            }
        }
    });
    const Stopwatch watch;
    StreamClient client = connectTo(server);
    expectRefusal(client, "did not answer in time");
    EXPECT_GE(watch.seconds(), 0.149);
}

TEST_F(StreamSocketOpening, ThePongInTimeEndsTheLimit) {
    limits.openToPong = 200ms;
    const ScriptedServer server([](Peer& peer) {
        ASSERT_TRUE(peer.openWithPong());
        const auto frame = peer.readFrame();
        EXPECT_TRUE(frame);
        peer.write(serverFrame(opcode::text, "alive"));
        peer.stall();
    });
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const Stopwatch watch;
    ASSERT_TRUE(client.waitFor([&] { return watch.seconds() > 0.4; }));
    client.send("x");
    ASSERT_TRUE(client.waitFor([&] { return !client.messages().empty(); }));
    EXPECT_THAT(client.receiveErrors(), IsEmpty());
}

TEST_F(StreamSocketOpening, LimitsALaterPingToo) {
    limits.openToPong = 200ms;
    const ScriptedServer server([](Peer& peer) {
        ASSERT_TRUE(peer.openWithPong());
        peer.stall();
    });
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    std::optional<SocketError> second;
    client.task->sendPing([&](std::optional<SocketError> error) { second = std::move(error); });
    ASSERT_TRUE(client.waitForLoss());
    ASSERT_TRUE(second);
    EXPECT_THAT(second->description, HasSubstr("did not answer in time"));
}

TEST_F(StreamSocketOpening, ThePongOfOnePingDoesNotEndTheLimitOfTheNext) {
    limits.openToPong = 200ms;
    const ScriptedServer server([](Peer& peer) {
        ASSERT_TRUE(peer.upgrade());
        const auto first = peer.readFrame();
        ASSERT_TRUE(first);
        ASSERT_TRUE(peer.readFrame());
        peer.write(serverFrame(opcode::pong, first->payload));
        peer.stall();
    });
    StreamClient client = connectTo(server);
    std::optional<SocketError> second;
    client.task->sendPing([&](std::optional<SocketError> error) { second = std::move(error); });
    ASSERT_TRUE(client.waitForPong());
    ASSERT_TRUE(client.waitForLoss());
    ASSERT_TRUE(second);
    EXPECT_THAT(second->description, HasSubstr("did not answer in time"));
}

TEST_F(StreamSocketOpening, OpensNothingBeforeResume) {
    std::atomic<int> connections{0};
    const ScriptedServer server([&](Peer& peer) {
        ++connections;
        peer.openWithPong();
        peer.stall();
    });
    const auto idle = socket().webSocketTask(server.url());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    EXPECT_EQ(connections, 1);
}

TEST_F(StreamSocketOpening, AnswersAPingOrReceiveThatComesAfterTheLoss) {
    const ScriptedServer server([](Peer& peer) {
        (void)peer.readRequest();
        peer.reset();
    });
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForLoss());
    std::optional<SocketError> ping;
    std::optional<SocketError> receive;
    client.task->sendPing([&](std::optional<SocketError> error) { ping = std::move(error); });
    client.task->receive([&](Result<SocketMessage, SocketError> result) {
        ASSERT_FALSE(result);
        receive = result.error();
    });
    EXPECT_FALSE(ping || receive) << "never from inside the call";
    ASSERT_TRUE(client.waitFor([&] { return ping && receive; }));
    EXPECT_EQ(ping->description, client.loss().description);
    EXPECT_EQ(receive->description, client.loss().description);
}

} // namespace
} // namespace tandrel::test
