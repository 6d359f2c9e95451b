#include "Platform/WebSocket/QtStreamSocket.h"
#include "Services/WebSocketService.h"
#include "Support/LogCapture.h"
#include "Support/ManualMainQueue.h"
#include "Support/Names/NamedHosts.h"
#include "Support/ProcessFootprint.h"
#include "Support/TestBackend.h"
#include "Support/WaitUntil.h"
#include "Support/WebSocket/PacketLoss.h"
#include "Support/WebSocket/ScriptedServer.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::size_t audioBytes = 682;
const ConnectionState tokenInvalid =
    ConnectionState::error("Session token is invalid. Please start a new session.");
const ConnectionState noLongerPending = ConnectionState::error("Session is no longer pending.");
const ConnectionState attemptsExhausted =
    ConnectionState::error("Connection lost. Max reconnection attempts reached.");

/// A backend whose connections follow a script each, in their order; those beyond the last take the
/// stream as they should.
class StreamBackend {
public:
    using Script = ScriptedServer::Script;

    explicit StreamBackend(std::vector<Script> scripts, ScriptedServer::Options options = {})
        : scripts_(std::move(scripts))
        , server_([this](Peer& peer) { serve(peer); }, std::move(options)) {}

    [[nodiscard]] const ScriptedServer& server() const { return server_; }
    [[nodiscard]] std::size_t connectionCount() const { return connections_; }
    /// Messages of the connections that took the stream as they should.
    [[nodiscard]] std::size_t messageCount() const { return messages_; }
    /// The code by which the last such connection was closed, 0 while it has not been.
    [[nodiscard]] int closeCode() const { return closeCode_; }

private:
    void serve(Peer& peer) {
        const std::size_t number = connections_++;
        if (number < scripts_.size()) {
            scripts_[number](peer);
            return;
        }
        if (!peer.openWithPong()) {
            return;
        }
        while (const auto frame = peer.readFrame()) {
            if (frame->opcode == opcode::binary) {
                ++messages_;
            } else if (frame->opcode == opcode::close) {
                closeCode_ = frame->closeCode();
                peer.write(serverFrame(opcode::close, frame->payload));
                peer.finish();
                return;
            }
        }
    }

    std::vector<Script> scripts_;
    std::atomic<std::size_t> connections_{0};
    std::atomic<std::size_t> messages_{0};
    std::atomic<int> closeCode_{0};
    ScriptedServer server_;
};

/// The service over real sockets; its back-off is in the test's time.
class StreamWorld {
public:
    explicit StreamWorld(const std::string& baseURL, const SocketLimits& limits = {})
        : backend(baseURL)
        , socket(queue, {limits, {}})
        , service(backend.apiClient, socket, backend.clock) {}
    explicit StreamWorld(const StreamBackend& server, const SocketLimits& limits = {})
        : StreamWorld("http://127.0.0.1:" + std::to_string(server.server().port()), limits) {}

    [[nodiscard]] const ConnectionState& state() const { return service.state.value(); }
    bool runUntil(const std::function<bool()>& condition) { return queue.drainUntil(condition); }
    bool awaitState(const ConnectionState& wanted) {
        return runUntil([&] { return state() == wanted; });
    }
    /// Until the log tells of `count` losses.
    bool awaitLosses(std::size_t count) {
        return runUntil(
            [&] { return log.linesStartingWith("[WS] disconnection").size() >= count; });
    }
    /// Attempts to open the stream, told when they begin.
    [[nodiscard]] std::size_t attemptCount() const {
        return log.linesStartingWith("[establishConnection] url=").size();
    }
    [[nodiscard]] std::string lastLoss() const {
        const auto lines = log.linesStartingWith("[WS] disconnection");
        return lines.empty() ? std::string() : lines.back();
    }

    LogCapture log;
    TestBackend backend;
    ManualMainQueue queue;
    QtStreamSocket socket;
    WebSocketService service;
};

/// Sound as the microphone's thread offers it, on a thread of its own.
class Sound {
public:
    explicit Sound(WebSocketService& service, std::chrono::microseconds interval = 1ms)
        : thread_([this, &service, interval] {
            while (!isOver_) {
                service.sendAudioData(Bytes(audioBytes, 'a'));
                std::this_thread::sleep_for(interval);
            }
        }) {}
    ~Sound() {
        isOver_ = true;
        thread_.join();
    }
    Sound(const Sound&) = delete;
    Sound& operator=(const Sound&) = delete;

private:
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

/// What is left of a case when its world has gone: nothing.
class StreamFaults : public testing::Test {
protected:
    static void SetUpTestSuite() {
        connectOnce();
        // The threads of its socket, its look-up and its server end a little later; what stays is
        // the main one, and the one that Qt keeps to ask for proxies.
        EXPECT_TRUE(
            waitUntil([] { return ProcessFootprint::ofThisProcess().threads.size() == 2; }));
    }
    /// What a process makes once and keeps is there before anything is counted.
    static void connectOnce() {
        const StreamBackend backend({});
        const NamedHost host({"127.0.0.1"});
        StreamWorld world("http://" + host.name() + ':' + std::to_string(backend.server().port()));
        world.service.connect("token");
        EXPECT_TRUE(world.awaitState(ConnectionState::connected()));
    }
    ~StreamFaults() override {
        const auto difference = [this] {
            return ProcessFootprint::ofThisProcess().differenceFrom(before_);
        };
        EXPECT_TRUE(waitUntil([&] { return difference().empty(); }))
            << "left behind: " << difference();
    }

    /// Qt asks by another `connect` whether the first has succeeded. When the reset comes before
    /// that, it gets the error and calls a third time, which the system takes for a new connection:
    /// nothing was lost, and there is nothing to retry.
    static bool isDialledAgain(StreamWorld& world) {
        EXPECT_TRUE(world.runUntil([&] {
            return !world.lastLoss().empty() || world.state() == ConnectionState::connected();
        }));
        return world.state() == ConnectionState::connected();
    }

    /// One loss, however it comes, is retried after a second, and the stream goes on.
    static void expectRetry(StreamWorld& world, const StreamBackend& backend) {
        ASSERT_TRUE(world.awaitLosses(1));
        EXPECT_EQ(world.state(), ConnectionState::connecting());
        world.backend.clock.advance(999ms);
        EXPECT_EQ(world.attemptCount(), 1U);
        world.backend.clock.advance(1ms);
        EXPECT_EQ(world.attemptCount(), 2U);
        ASSERT_TRUE(world.awaitState(ConnectionState::connected()));
        EXPECT_EQ(backend.connectionCount(), 2U);
        world.service.sendAudioData(Bytes(audioBytes, 'a'));
        EXPECT_TRUE(world.runUntil([&] { return backend.messageCount() > 0; }));
        world.service.disconnect();
        EXPECT_TRUE(world.runUntil([&] { return backend.closeCode() == 1000; }));
        EXPECT_EQ(world.state(), ConnectionState::disconnected());
        EXPECT_THAT(world.log.linesStartingWith("[WS] disconnection"), SizeIs(1));
    }

    /// While sound flows the loss is told in this text, and the stream goes on at the retry.
    static void expectNoticeAndRetry(StreamWorld& world, const StreamBackend& backend,
                                     const std::string& text) {
        const Sound sound(world.service);
        ASSERT_TRUE(world.awaitLosses(1));
        EXPECT_THAT(world.lastLoss(), StartsWith("[WS] disconnection closeCode=0 error=" + text));
        world.backend.clock.advance(1s);
        EXPECT_TRUE(world.runUntil([&] { return backend.messageCount() > 50; }));
    }

private:
    ProcessFootprint before_ = ProcessFootprint::ofThisProcess();
};

struct Close {
    int code;
    bool isBeforePong;
};

std::vector<Close> closes() {
    std::vector<Close> all;
    for (const int code : {1000, 1001, 1003, 1007, 1008, 1009, 1011, 1012, 1013, 3000, 4000, 4001,
                           4002, 4003, 4004, 4999}) {
        all.push_back({code, true});
        all.push_back({code, false});
    }
    return all;
}

class StreamFaultsClosedWith : public StreamFaults, public testing::WithParamInterface<Close> {};

std::string closeName(const testing::TestParamInfo<Close>& info) {
    return std::to_string(info.param.code) +
           (info.param.isBeforePong ? "BeforeThePong" : "AfterThePong");
}

INSTANTIATE_TEST_SUITE_P(Code, StreamFaultsClosedWith, testing::ValuesIn(closes()), closeName);

TEST_P(StreamFaultsClosedWith, ItEndsTheStreamOrIsRetried) {
    const auto [code, isBeforePong] = GetParam();
    const StreamBackend backend({[code = code, isBeforePong = isBeforePong](Peer& peer) {
        if (isBeforePong ? peer.upgrade() : peer.openWithPong()) {
            peer.write(closeFrame(static_cast<std::uint16_t>(code)));
            peer.finish();
        }
    }});
    StreamWorld world(backend);
    world.service.connect("token");
    ASSERT_TRUE(world.awaitLosses(1));
    EXPECT_THAT(world.lastLoss(),
                StartsWith("[WS] disconnection closeCode=" + std::to_string(code) + " error="));
    if (code == 4001 || code == 4002) {
        EXPECT_EQ(world.state(), code == 4001 ? tokenInvalid : noLongerPending);
        world.backend.clock.advance(60s);
        EXPECT_EQ(world.attemptCount(), 1U);
    } else {
        expectRetry(world, backend);
    }
}

TEST_F(StreamFaults, ACloseThatComesAtARetryEndsTheBackOff) {
    for (const auto& [code, outcome] : {std::pair(4001, tokenInvalid), {4002, noLongerPending}}) {
        const auto refuses = [](Peer& peer) {
            (void)peer.readRequest();
            peer.write("HTTP/1.1 503 Later\r\n\r\n");
        };
        const StreamBackend backend({refuses, refuses, [code = code](Peer& peer) {
                                         if (peer.upgrade()) {
                                             peer.write(
                                                 closeFrame(static_cast<std::uint16_t>(code)));
                                             peer.finish();
                                         }
                                     }});
        StreamWorld world(backend);
        world.service.connect("token");
        for (std::size_t losses = 1; losses <= 2; ++losses) {
            ASSERT_TRUE(world.awaitLosses(losses));
            world.backend.clock.advance(std::chrono::seconds(losses));
        }
        ASSERT_TRUE(world.awaitState(outcome));
        world.backend.clock.advance(60s);
        EXPECT_EQ(world.attemptCount(), 3U);
    }
}

TEST_F(StreamFaults, AConnectionThatBreaksIsRetriedWhereverItBreaks) {
    enum class End { fin, rst };
    const auto ends = [](Peer& peer, End end) { end == End::fin ? peer.finish() : peer.reset(); };
    for (const End end : {End::fin, End::rst}) {
        const std::vector<StreamBackend::Script> breaks{
            [&](Peer& peer) { ends(peer, end); },
            [&](Peer& peer) {
                (void)peer.readRequest();
                ends(peer, end);
            },
            [&](Peer& peer) {
                (void)peer.readRequest();
                peer.write("HTTP/1.1 101 Switching");
                ends(peer, end);
            },
            [&](Peer& peer) {
                peer.upgrade();
                ends(peer, end);
            },
            [&](Peer& peer) {
                peer.openWithPong();
                ends(peer, end);
            },
            [&](Peer& peer) {
                peer.openWithPong();
                peer.write(std::string("\x81\x7e\x01", 3)); // of a header
                ends(peer, end);
            },
            [&](Peer& peer) {
                peer.openWithPong();
                peer.write(serverFrame(opcode::text, "half of a", false));
                ends(peer, end);
            }};
        for (std::size_t place = 0; place < breaks.size(); ++place) {
            SCOPED_TRACE(std::to_string(place) + (end == End::fin ? " ended" : " reset"));
            const StreamBackend backend({breaks[place]});
            StreamWorld world(backend);
            world.service.connect("token");
            if (place == 0 && end == End::rst && isDialledAgain(world)) {
                EXPECT_EQ(backend.connectionCount(), 2U);
                continue;
            }
            expectRetry(world, backend);
            EXPECT_THAT(world.lastLoss(), StartsWith("[WS] disconnection closeCode=0 error="));
            EXPECT_THAT(world.lastLoss(), Not(HasSubstr("token")));
        }
    }
}

TEST_F(StreamFaults, ARefusedUpgradeIsTriedFiveTimesMoreThenTold) {
    for (const char* status :
         {"200 OK", "204 X", "301 X", "302 X", "307 X", "400 X", "401 X", "403 X", "404 X", "407 X",
          "426 X", "429 X", "500 X", "502 X", "503 X", "101 X"}) {
        SCOPED_TRACE(status);
        const std::vector<StreamBackend::Script> refusals(9, [status](Peer& peer) {
            (void)peer.readRequest();
            peer.write(std::string("HTTP/1.1 ") + status +
                       "\r\nLocation: http://127.0.0.2/\r\nContent-Length: 0\r\n\r\n");
        });
        const StreamBackend backend(refusals);
        StreamWorld world(backend);
        world.service.connect("token");
        for (std::size_t attempt = 0; attempt < 5; ++attempt) {
            ASSERT_TRUE(world.awaitLosses(attempt + 1));
            EXPECT_EQ(world.state(), ConnectionState::connecting());
            world.backend.clock.advance(std::chrono::seconds(1U << attempt));
        }
        ASSERT_TRUE(world.awaitState(attemptsExhausted));
        EXPECT_EQ(backend.connectionCount(), 6U);
        world.backend.clock.advance(60s);
        EXPECT_EQ(world.attemptCount(), 6U);
    }
}

TEST_F(StreamFaults, AServerThatIsSilentIsRetriedWhereverItsSilenceBegins) {
    SocketLimits limits;
    limits.openToPong = 1s; // which a server that answers must not need, however busy it is
    const std::vector<StreamBackend::Script> silences{
        [](Peer& peer) { peer.stall(); },
        [](Peer& peer) {
            (void)peer.readRequest();
            peer.stall();
        },
        [](Peer& peer) {
            (void)peer.readRequest();
            peer.write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: web");
            peer.stall();
        },
        [](Peer& peer) {
            peer.upgrade();
            peer.stall();
        },
        [](Peer& peer) { // A pong, but not to our ping.
            peer.upgrade();
            peer.write(serverFrame(opcode::pong, "another's"));
            peer.stall();
        }};
    for (std::size_t place = 0; place < silences.size(); ++place) {
        SCOPED_TRACE(place);
        const StreamBackend backend({silences[place]});
        StreamWorld world(backend, limits);
        world.service.connect("token");
        expectRetry(world, backend);
        EXPECT_EQ(world.log.linesStartingWith("[establishConnection] ping failed").size(), 1U);
    }
}

TEST_F(StreamFaults, APongThatComesLateConnectsNothing) {
    SocketLimits limits;
    limits.openToPong = 1s; // which a server that answers must not need, however busy it is
    std::atomic<bool> isLate{false};
    std::atomic<bool> isOver{false};
    const StreamBackend backend({[&](Peer& peer) {
        ASSERT_TRUE(peer.upgrade());
        const auto ping = peer.readFrame();
        isLate.wait(false);
        peer.write(serverFrame(opcode::pong, ping ? ping->payload : ""));
        isOver = !peer.readFrame();
    }});
    StreamWorld world(backend, limits);
    world.service.connect("token");
    ASSERT_TRUE(world.awaitLosses(1));
    isLate = true;
    isLate.notify_all();
    // With the connection over, there is nothing that could still be taken for a pong.
    EXPECT_TRUE(
        world.runUntil([&] { return isOver || world.state() != ConnectionState::connecting(); }));
    EXPECT_EQ(world.state(), ConnectionState::connecting());
    expectRetry(world, backend);
}

TEST_F(StreamFaults, AServerThatStopsReadingIsLeftAndTheStreamGoesOn) {
    SocketLimits limits;
    limits.oldestWaiting = 250ms;
    limits.kernelSendBufferBytes = 4096;
    ScriptedServer::Options options;
    options.receiveBuffer = 4096;
    const StreamBackend backend({[](Peer& peer) {
                                    if (peer.openWithPong()) {
                                        peer.stall();
                                    }
                                }},
                                options);
    StreamWorld world(backend, limits);
    world.service.connect("token");
    ASSERT_TRUE(world.awaitState(ConnectionState::connected()));
    const Sound sound(world.service);
    ASSERT_TRUE(world.awaitLosses(1));
    EXPECT_THAT(world.lastLoss(), HasSubstr("stopped taking the stream"));
    world.backend.clock.advance(1s);
    EXPECT_TRUE(world.runUntil([&] { return backend.messageCount() > 50; }));
    EXPECT_EQ(world.state(), ConnectionState::connected());
}

/// What notices that packets are lost, each with the others out of its way.
struct Notice {
    const char* text;
    SocketLimits limits;
};

std::vector<Notice> noticesOfLostPackets() {
    SocketLimits never;
    never.oldestWaiting = 1h;
    never.unacknowledged = 1h;
    never.waitingBytes = 1'000'000'000;
    std::vector<Notice> all{
        {"The server has stopped taking the stream.", never},
        {"The connection was lost: ", never}, // the system's words for it follow
        {"The server does not take the stream fast enough.", never},
    };
    all[0].limits.oldestWaiting = 500ms;
    all[1].limits.unacknowledged = 500ms;
    all[2].limits.waitingBytes = SocketLimits().waitingBytes;
    return all;
}

TEST_F(StreamFaults, PacketsThatAreLostOnTheWayToTheServerAreNoticed) {
    for (const auto& [text, limits] : noticesOfLostPackets()) {
        SCOPED_TRACE(text);
        std::atomic<bool> isLost{false};
        const StreamBackend backend({[&](Peer& peer) {
            if (peer.openWithPong()) {
                loseWhatComesIn(peer.descriptor());
                isLost = true;
                peer.stall();
            }
        }});
        StreamWorld world(backend, limits);
        world.service.connect("token");
        ASSERT_TRUE(world.awaitState(ConnectionState::connected()));
        ASSERT_TRUE(world.runUntil([&] { return isLost.load(); }));
        expectNoticeAndRetry(world, backend, text);
    }
}

TEST_F(StreamFaults, PacketsThatAreLostOnTheWayFromTheServerAreNoticed) {
    for (const auto& [text, limits] : noticesOfLostPackets()) {
        SCOPED_TRACE(text);
        const StreamBackend backend({[](Peer& peer) {
            if (peer.openWithPong()) {
                peer.serveUntilEnd();
            }
        }});
        StreamWorld world(backend, limits);
        world.service.connect("token");
        ASSERT_TRUE(world.awaitState(ConnectionState::connected()));
        const int ours = descriptorConnectedTo(backend.server().port());
        ASSERT_GE(ours, 0);
        loseWhatComesIn(ours);
        expectNoticeAndRetry(world, backend, text);
    }
}

TEST_F(StreamFaults, WhatIsNoWebSocketIsRetried) {
    const std::vector<std::string> broken{
        serverFrame(opcode::text, "\xc3\x28"),                            // no UTF-8
        std::string("\x82\x7f\0\0\0\0\x40\0\0\0", 10) + "x",              // 1 GB announced
        serverFrame(opcode::binary, std::string(1'048'576, 'x'), false) + // 1 MiB and more
            serverFrame(opcode::continuation, "x"),                       // in fragments
        serverFrame(opcode::ping, std::string(126, 'x')),
        "\xc1\x01x",
        "\x83\x01x",
        serverFrame(opcode::continuation, "of nothing"),
        closeFrame(1005),
        closeFrame(999)};
    for (std::size_t index = 0; index < broken.size(); ++index) {
        SCOPED_TRACE(index);
        const StreamBackend backend({[&bytes = broken[index]](Peer& peer) {
            if (peer.openWithPong()) {
                peer.write(bytes);
                peer.serveUntilEnd();
            }
        }});
        StreamWorld world(backend);
        world.service.connect("token");
        expectRetry(world, backend);
        EXPECT_THAT(world.lastLoss(), HasSubstr("broke the WebSocket protocol"));
    }
}

TEST_F(StreamFaults, MessagesAndPingsOfTheServersChangeNothing) {
    std::atomic<bool> isDone{false};
    const StreamBackend backend({[&](Peer& peer) {
        ASSERT_TRUE(peer.openWithPong());
        peer.write(serverFrame(opcode::text, "in ", false) + serverFrame(opcode::ping, "between") +
                   serverFrame(opcode::continuation, "three ", false) +
                   serverFrame(opcode::continuation, "parts"));
        peer.write(serverFrame(opcode::binary, std::string(1000, 'b')));
        peer.write(serverFrame(opcode::text, ""));
        for (int count = 0; count < 1000; ++count) {
            peer.write(serverFrame(opcode::ping, std::to_string(count)));
        }
        std::size_t messages = 0;
        while (const auto frame = peer.readFrame()) {
            messages += frame->opcode == opcode::binary ? 1U : 0U;
            if (messages == 20) {
                isDone = true;
                break;
            }
        }
        peer.serveUntilEnd();
    }});
    StreamWorld world(backend);
    testing::internal::CaptureStdout();
    world.service.connect("token");
    EXPECT_TRUE(world.awaitState(ConnectionState::connected()));
    for (int count = 0; count < 20; ++count) {
        world.service.sendAudioData(Bytes(audioBytes, 'a'));
    }
    EXPECT_TRUE(world.runUntil([&] { return isDone.load(); }));
    EXPECT_EQ(world.state(), ConnectionState::connected());
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_THAT(printed, HasSubstr("WebSocket received text: in three parts\n"));
    EXPECT_THAT(printed, HasSubstr("WebSocket received 1000 bytes\n"));
    EXPECT_EQ(backend.connectionCount(), 1U);
}

TEST_F(StreamFaults, LossUponLossTakesNoMemory) {
    constexpr std::size_t warmUp = 40;
    constexpr std::size_t losses = 240;
    const StreamBackend backend(std::vector<StreamBackend::Script>(losses, [](Peer& peer) {
        if (peer.openWithPong()) {
            // Were each kept, they would come to twice what is allowed.
            peer.write(serverFrame(opcode::text, std::string(20'000, 'x')));
            peer.finish();
        }
    }));
    StreamWorld world(backend);
    testing::internal::CaptureStdout();
    world.service.connect("token");
    std::size_t before = 0;
    for (std::size_t loss = 1; loss <= losses; ++loss) {
        // A pong in between: the wait is the first one each time.
        ASSERT_TRUE(
            world.runUntil([&] { return world.backend.clock.requestedDelays().size() == loss; }));
        world.backend.clock.advance(16s);
        if (loss == warmUp) {
            before = ProcessFootprint::ofThisProcess().anonymousBytes;
        }
    }
    EXPECT_TRUE(world.awaitState(ConnectionState::connected()));
    testing::internal::GetCapturedStdout();
    const std::size_t after = ProcessFootprint::ofThisProcess().anonymousBytes;
    RecordProperty(
        "growth in kB",
        std::to_string((static_cast<double>(after) - static_cast<double>(before)) / 1000));
#ifndef TANDREL_SANITIZED
    // Sanitizers keep what is freed.
    EXPECT_LT(after, before + 2'000'000);
#endif
}

/// How far a connection has come when something else is asked for.
enum class Stage { dialling, upgrading, awaitingPong, connected, backingOff };

class StreamFaultsAt : public StreamFaults, public testing::WithParamInterface<Stage> {
protected:
    [[nodiscard]] static StreamBackend::Script script(std::atomic<int>& seen) {
        return [&seen](Peer& peer) {
            switch (GetParam()) {
            case Stage::dialling:
                peer.stall();
                return;
            case Stage::upgrading:
                (void)peer.readRequest();
                seen = 1;
                peer.stall();
                return;
            case Stage::awaitingPong:
                peer.upgrade();
                (void)peer.readFrame();
                seen = 1;
                break;
            case Stage::connected:
                peer.openWithPong();
                seen = 1;
                break;
            case Stage::backingOff:
                (void)peer.readRequest();
                return;
            }
            for (auto frame = peer.readFrame(); frame; frame = peer.readFrame()) {
                if (frame->opcode == opcode::close) {
                    seen = frame->closeCode();
                }
            }
            seen = seen == 1 ? -1 : seen.load();
        };
    }
    /// Connects and waits for the stage.
    static void bringThere(StreamWorld& world, const StreamBackend& backend,
                           const std::atomic<int>& seen) {
        world.service.connect("first");
        ASSERT_TRUE(world.runUntil([&] {
            switch (GetParam()) {
            case Stage::dialling:
                return backend.connectionCount() == 1;
            case Stage::connected:
                return world.state() == ConnectionState::connected();
            case Stage::backingOff:
                return !world.lastLoss().empty();
            default:
                return seen == 1;
            }
        }));
    }
    [[nodiscard]] static bool isUpgraded() {
        return GetParam() == Stage::awaitingPong || GetParam() == Stage::connected;
    }
};

std::string stageName(const testing::TestParamInfo<Stage>& info) {
    switch (info.param) {
    case Stage::dialling:
        return "WhileDialling";
    case Stage::upgrading:
        return "WhileUpgrading";
    case Stage::awaitingPong:
        return "BeforeThePong";
    case Stage::connected:
        return "WhileConnected";
    case Stage::backingOff:
        return "DuringTheBackOff";
    }
    return {};
}

INSTANTIATE_TEST_SUITE_P(Stage, StreamFaultsAt,
                         testing::Values(Stage::dialling, Stage::upgrading, Stage::awaitingPong,
                                         Stage::connected, Stage::backingOff),
                         stageName);

TEST_P(StreamFaultsAt, ADisconnectIsTheEnd) {
    std::atomic<int> seen{0};
    const StreamBackend backend({script(seen)});
    StreamWorld world(backend);
    ASSERT_NO_FATAL_FAILURE(bringThere(world, backend, seen));
    world.service.disconnect();
    EXPECT_EQ(world.state(), ConnectionState::disconnected());
    if (isUpgraded()) {
        EXPECT_TRUE(world.runUntil([&] { return seen == 1000; })) << seen;
    }
    const auto losses = world.log.linesStartingWith("[WS] disconnection").size();
    world.backend.clock.advance(60s);
    EXPECT_TRUE(world.socket.drain());
    world.queue.drain();
    EXPECT_EQ(world.state(), ConnectionState::disconnected());
    EXPECT_EQ(world.attemptCount(), 1U);
    EXPECT_EQ(world.log.linesStartingWith("[WS] disconnection").size(), losses);
}

TEST_P(StreamFaultsAt, ASecondConnectTakesThePlaceOfTheFirst) {
    std::atomic<int> seen{0};
    const StreamBackend backend({script(seen)});
    StreamWorld world(backend);
    ASSERT_NO_FATAL_FAILURE(bringThere(world, backend, seen));
    world.service.connect("second");
    EXPECT_EQ(world.state(), ConnectionState::connecting());
    ASSERT_TRUE(world.awaitState(ConnectionState::connected()));
    // The first retry would be due by now, were there one.
    world.backend.clock.advance(60s);
    for (int count = 0; count < 10; ++count) {
        world.service.sendAudioData(Bytes(audioBytes, 'a'));
    }
    EXPECT_TRUE(world.runUntil([&] { return backend.messageCount() == 10; }));
    EXPECT_EQ(world.state(), ConnectionState::connected());
    EXPECT_EQ(world.attemptCount(), 2U);
    if (isUpgraded()) {
        EXPECT_TRUE(world.runUntil([&] { return seen == -1; })) << seen;
    }
    world.service.disconnect();
    EXPECT_TRUE(world.runUntil([&] { return backend.closeCode() == 1000; }));
}

TEST_F(StreamFaults, ABackendThatMovesToAnotherAddressIsFoundThereByTheNextRetry) {
    const NamedHost host({"127.0.0.1"});
    auto backend = std::make_unique<StreamBackend>(std::vector<StreamBackend::Script>{});
    ScriptedServer::Options elsewhere;
    elsewhere.port = backend->server().port();
    elsewhere.isIpv6 = true;
    StreamWorld world("http://" + host.name() + ':' + std::to_string(elsewhere.port));
    world.service.connect("token");
    ASSERT_TRUE(world.awaitState(ConnectionState::connected()));
    host.moveTo({"::1"});
    const StreamBackend moved({}, elsewhere);
    backend.reset();
    ASSERT_TRUE(world.awaitLosses(1));
    world.backend.clock.advance(1s);
    EXPECT_TRUE(world.awaitState(ConnectionState::connected())) << world.lastLoss();
    EXPECT_EQ(moved.connectionCount(), 1U);
}

TEST_F(StreamFaults, ANameThatIsNotFoundIsLookedForAgain) {
    const NamedHost host(std::vector<std::string>{});
    const StreamBackend backend({});
    StreamWorld world("http://" + host.name() + ':' + std::to_string(backend.server().port()));
    world.service.connect("token");
    ASSERT_TRUE(world.awaitLosses(1));
    EXPECT_EQ(world.state(), ConnectionState::connecting());
    host.moveTo({"127.0.0.1"});
    world.backend.clock.advance(1s);
    EXPECT_TRUE(world.awaitState(ConnectionState::connected()));
    EXPECT_EQ(host.lookUpCount(), 2);
}

} // namespace
} // namespace tandrel::test
