#include "StreamSocketFixture.h"

#include <atomic>
#include <poll.h>
#include <string>
#include <thread>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::SizeIs;

/// What the client's close frame said: 0 for none, -1 before the end.
struct SeenClose {
    std::atomic<int> code{-1};

    void readFrom(Peer& peer) {
        int seen = 0;
        while (const auto frame = peer.readFrame()) {
            if (frame->opcode == opcode::close) {
                seen = frame->closeCode();
                break;
            }
        }
        code = seen;
    }
    [[nodiscard]] bool wait(ManualMainQueue& queue) const {
        return queue.drainUntil([this] { return code >= 0; });
    }
};

class StreamSocketClosing : public StreamSocketOverBoth {};

INSTANTIATE_TEST_SUITE_P(Schemes, StreamSocketClosing, testing::Bool(), schemeName);

TEST_P(StreamSocketClosing, SendsTheCodeAndIsDoneWithTheEcho) {
    ServedFrames served;
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.upgrade());
            served.serve(peer);
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const Stopwatch watch;
    client.task->cancel(1000);
    ASSERT_TRUE(socket().drain());
    EXPECT_LT(watch.seconds(), 0.9) << "the echo ends it, not the limit";
    ASSERT_TRUE(served.wait(mainQueue));
    ASSERT_THAT(served.frames, SizeIs(1));
    EXPECT_EQ(served.frames.front().payload, "\x03\xe8") << "1000, and no reason";
}

TEST_P(StreamSocketClosing, SendsWhatWasHandedOverBeforeIt) {
    ServedFrames served;
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.upgrade());
            served.serve(peer);
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    for (int count = 0; count < 5; ++count) {
        client.send("message");
    }
    client.task->cancel(1000);
    ASSERT_TRUE(socket().drain());
    ASSERT_TRUE(served.wait(mainQueue));
    EXPECT_THAT(served.frames, SizeIs(6));
}

TEST_P(StreamSocketClosing, IsSeenByAServerThatFloodsUs) {
    const int runs = 20;
    int seen = 0;
    double longest = 0;
    for (int run = 0; run < runs; ++run) {
        SeenClose close;
        const ScriptedServer server(
            [&](Peer& peer) {
                if (!peer.openWithPong()) {
                    return;
                }
                // Reads only when something is there, and writes all the time.
                const std::string flood = serverFrame(opcode::text, std::string(8192, 'x'));
                pollfd readable{peer.descriptor(), POLLIN, 0};
                while (::poll(&readable, 1, 0) == 0) {
                    if (!peer.write(flood)) {
                        return;
                    }
                }
                close.readFrom(peer);
                peer.write(closeFrame(1000));
                peer.finish();
            },
            serverOptions());
        StreamClient client = connectTo(server);
        ASSERT_TRUE(client.waitForPong());
        ASSERT_TRUE(client.waitFor([&] { return client.messages().size() >= 3; }));
        const Stopwatch watch;
        client.task->cancel(1000);
        EXPECT_TRUE(socket().drain());
        longest = std::max(longest, watch.seconds());
        ASSERT_TRUE(close.wait(mainQueue));
        seen += close.code == 1000 ? 1 : 0;
    }
    std::printf("%s server that floods: 1000 seen in %d of %d closes, longest %.3f s\n", scheme(),
                seen, runs, longest);
    EXPECT_EQ(seen, runs);
    EXPECT_LE(longest, 1.1);
}

TEST_P(StreamSocketClosing, IsDoneInTimeWithAServerThatNeverAnswers) {
    SeenClose close;
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            close.readFrom(peer);
            peer.stall();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const Stopwatch watch;
    client.task->cancel(1000);
    EXPECT_TRUE(socket().drain());
    std::printf("%s server that never answers: closed after %.3f s\n", scheme(), watch.seconds());
    EXPECT_LE(watch.seconds(), 1.1);
    ASSERT_TRUE(close.wait(mainQueue));
    EXPECT_EQ(close.code, 1000);
}

TEST_P(StreamSocketClosing, IsDoneInTimeWithAServerThatNeverReads) {
    limits.closingHandshake = 200ms;
    auto options = serverOptions();
    options.receiveBuffer = 4096;
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            peer.stall();
        },
        options);
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    for (int count = 0; count < 400; ++count) {
        client.send(std::string(audioMessageBytes, 'a'));
    }
    const Stopwatch watch;
    client.task->cancel(1000);
    EXPECT_TRUE(socket().drain());
    EXPECT_LE(watch.seconds(), 1.1);
    ASSERT_TRUE(client.waitFor([&] { return client.sends().ok + client.sends().failed == 400; }));
}

TEST_P(StreamSocketClosing, GoesOnWhenTheTaskIsGone) {
    SeenClose close;
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            close.readFrom(peer);
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    client.task->cancel(1000);
    client.task.reset();
    ASSERT_TRUE(close.wait(mainQueue));
    EXPECT_EQ(close.code, 1000);
}

TEST_P(StreamSocketClosing, IsWaitedForByTheDestructor) {
    limits.closingHandshake = 200ms;
    SeenClose close;
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            close.readFrom(peer);
            peer.stall();
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const Stopwatch watch;
    client.task->cancel(1000);
    endSocket();
    EXPECT_LE(watch.seconds(), 1.3);
    ASSERT_TRUE(close.wait(mainQueue));
    EXPECT_EQ(close.code, 1000);
    // What is left of the task does nothing, and harms nobody.
    client.send("too late");
    client.task->sendPing([](const auto&) { FAIL(); });
    mainQueue.drain();
}

TEST_P(StreamSocketClosing, ATaskDroppedWithoutCancelSendsNoCloseFrame) {
    SeenClose close;
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.openWithPong());
            close.readFrom(peer);
        },
        serverOptions());
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    client.task.reset();
    ASSERT_TRUE(close.wait(mainQueue));
    EXPECT_EQ(close.code, 0);
}

class StreamSocketCancel : public StreamSocketFixture {};

/// A server that stops at each step of a connection in turn, and lets go at the end.
ScriptedServer::Script stopsAt(int step) {
    return [step](Peer& peer) {
        if (step == 0) {
            peer.stall();
            return;
        }
        if (step == 1) {
            (void)peer.readRequest();
            peer.write("HTTP/1.1 101 Switching Pro");
            peer.stall();
            return;
        }
        if (step == 2 ? peer.upgrade() : peer.openWithPong()) {
            while (peer.write(serverFrame(opcode::text, "hello"))) {
                std::this_thread::sleep_for(1ms);
            }
        }
    };
}

TEST_F(StreamSocketCancel, SilencesEverythingAtEachStep) {
    limits.closingHandshake = 50ms;
    for (int step = 0; step < 4; ++step) {
        const ScriptedServer server(stopsAt(step));
        for (const bool cancels : {true, false}) {
            for (int delay = 0; delay < 6; ++delay) {
                StreamClient client = connectTo(server);
                // Lets the connection get to a different point each time, without a word of it
                // reaching the main thread yet.
                std::this_thread::sleep_for(std::chrono::microseconds(delay * 400));
                if (cancels) {
                    client.task->cancel(1000);
                } else {
                    client.task.reset();
                }
                mainQueue.drain();
                EXPECT_THAT(client.pings(), IsEmpty());
                EXPECT_THAT(client.messages(), IsEmpty());
                EXPECT_THAT(client.receiveErrors(), IsEmpty());
            }
        }
    }
    endSocket();
    EXPECT_EQ(mainQueue.drain(), 0U);
}

TEST_F(StreamSocketCancel, SilencesWhatHasBeenPostedAlready) {
    limits.closingHandshake = 50ms;
    const ScriptedServer server(stopsAt(3));
    StreamClient client = connectTo(server);
    const Stopwatch watch;
    while (mainQueue.size() == 0 && watch.seconds() < 20) {
        std::this_thread::yield();
    }
    ASSERT_GT(mainQueue.size(), 0U);
    client.task->cancel(1000);
    mainQueue.drain();
    EXPECT_THAT(client.pings(), IsEmpty());
    EXPECT_THAT(client.messages(), IsEmpty());
}

TEST_F(StreamSocketCancel, SilencesTheRestFromInsideACompletion) {
    limits.closingHandshake = 50ms;
    const ScriptedServer server([](Peer& peer) {
        ASSERT_TRUE(peer.upgrade());
        peer.write(closeFrame(4001));
        peer.finish();
    });
    const auto task = socket().webSocketTask(server.url());
    int calls = 0;
    task->resume();
    task->sendPing([&](const auto& error) {
        EXPECT_TRUE(error);
        ++calls;
        task->cancel(1000);
    });
    task->receive([&](const auto&) { ++calls; });
    ASSERT_TRUE(mainQueue.drainUntil([&] { return calls > 0; }));
    endSocket();
    mainQueue.drain();
    EXPECT_EQ(calls, 1);
}

TEST_F(StreamSocketCancel, ACompletionMayDropTheLastReference) {
    const ScriptedServer server([](Peer& peer) {
        ASSERT_TRUE(peer.openWithPong());
        peer.write(serverFrame(opcode::text, "a") + serverFrame(opcode::text, "b"));
        peer.stall();
    });
    auto task = socket().webSocketTask(server.url());
    bool called = false;
    task->resume();
    task->sendPing([&](const auto&) {});
    task->receive([&](const auto&) {
        called = true;
        task.reset();
    });
    ASSERT_TRUE(mainQueue.drainUntil([&] { return called; }));
    EXPECT_EQ(task, nullptr);
}

TEST_F(StreamSocketCancel, BeforeResumeNeedsNoServer) {
    const auto task = socket().webSocketTask("ws://127.0.0.1:1/");
    task->cancel(1000);
    task->resume();
    EXPECT_TRUE(socket().drain());
    EXPECT_EQ(mainQueue.drain(), 0U);
}

TEST_F(StreamSocketCancel, DrainHasNothingToWaitForWithoutAClosing) {
    const ScriptedServer server(stopsAt(3));
    StreamClient client = connectTo(server);
    ASSERT_TRUE(client.waitForPong());
    const Stopwatch watch;
    EXPECT_TRUE(socket().drain());
    EXPECT_LT(watch.seconds(), 0.5);
    endSocket();
    EXPECT_LT(watch.seconds(), 0.9) << "an open connection is dropped at once";
}

TEST_F(StreamSocketCancel, ANewTaskHearsNothingOfTheOldOne) {
    limits.closingHandshake = 50ms;
    const ScriptedServer old([](Peer& peer) {
        ASSERT_TRUE(peer.openWithPong());
        peer.write(serverFrame(opcode::text, "old") + closeFrame(4002));
        peer.finish();
    });
    const ScriptedServer fresh(stopsAt(3));
    StreamClient first = connectTo(old);
    ASSERT_TRUE(first.waitForPong());
    first.task->cancel(1000);
    StreamClient second = connectTo(fresh);
    ASSERT_TRUE(second.waitForPong());
    ASSERT_TRUE(second.waitFor([&] { return second.messages().size() > 3; }));
    for (const SocketMessage& message : second.messages()) {
        EXPECT_EQ(message.payload, "hello");
    }
    EXPECT_EQ(second.task->closeCode(), 0);
}

} // namespace
} // namespace tandrel::test
