#include "Services/WebSocketService.h"

#include "Support/LogCapture.h"
#include "Support/TestBackend.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::FakeConnection;
using test::LogCapture;
using test::TestBackend;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const SocketError reset{104, "Connection reset by peer"};
const ConnectionState tokenInvalid =
    ConnectionState::error("Session token is invalid. Please start a new session.");
const ConnectionState noLongerPending = ConnectionState::error("Session is no longer pending.");
const ConnectionState attemptsExhausted =
    ConnectionState::error("Connection lost. Max reconnection attempts reached.");
const ConnectionState invalidUrl = ConnectionState::error("Invalid WebSocket URL");

class WebSocketServiceTest : public testing::Test {
protected:
    [[nodiscard]] const ConnectionState& state() const { return service->state.value(); }
    [[nodiscard]] FakeConnection& connection() const { return backend.streamSocket.latest(); }
    [[nodiscard]] std::size_t connectionCount() const {
        return backend.streamSocket.connections().size();
    }
    void connectFully(const std::string& token = "token") const {
        service->connect(token);
        ASSERT_TRUE(connection().answerPing());
        ASSERT_EQ(state(), ConnectionState::connected());
    }
    /// Ends the current connection as the server would by closing with `code`.
    void closeByServer(int code) const {
        connection().setCloseCode(code);
        connection().lose({57, "Socket is not connected"});
    }

    TestBackend backend;
    LogCapture log;
    std::shared_ptr<WebSocketService> service =
        std::make_shared<WebSocketService>(backend.apiClient, backend.streamSocket, backend.clock);
};

TEST_F(WebSocketServiceTest, StartsDisconnectedAndTouchesNothing) {
    EXPECT_EQ(state(), ConnectionState::disconnected());
    EXPECT_EQ(connectionCount(), 0U);
}

TEST_F(WebSocketServiceTest, ConnectingOpensOneTaskPingsOnceAndAwaitsOneMessage) {
    service->connect("0123456789");
    EXPECT_EQ(state(), ConnectionState::connecting());
    ASSERT_EQ(connectionCount(), 1U);
    EXPECT_EQ(connection().url(), "wss://api.test/tandrel-stream?token=0123456789");
    EXPECT_TRUE(connection().isResumed());
    EXPECT_EQ(connection().pingCount(), 1);
    EXPECT_EQ(connection().receiveCount(), 1U);
    EXPECT_THAT(log.lines(), ElementsAre("[connect] token=01234567...",
                                         "[establishConnection] "
                                         "url=wss://api.test/tandrel-stream?token=0123456789"));
}

TEST_F(WebSocketServiceTest, ThePongAloneMakesItConnected) {
    service->connect("token");
    connection().deliver({SocketMessage::Kind::text, "welcome"});
    EXPECT_EQ(state(), ConnectionState::connecting());
    connection().answerPing();
    EXPECT_EQ(state(), ConnectionState::connected());
    EXPECT_EQ(log.lines().back(), "[establishConnection] ping OK -> connected");
    backend.clock.advance(24h);
    EXPECT_EQ(connection().pingCount(), 1) << "no keep-alive pings follow";
}

TEST_F(WebSocketServiceTest, AShortTokenIsLoggedWhole) {
    service->connect("abc");
    EXPECT_EQ(log.lines().front(), "[connect] token=abc...");
}

TEST_F(WebSocketServiceTest, TheLoggedPrefixCountsCharactersNotBytes) {
    service->connect("äöüßéèêëñ");
    EXPECT_EQ(log.lines().front(), "[connect] token=äöüßéèêë...");
}

TEST(WebSocketServiceUrl, AnHttpBaseWithAPortYieldsAWsUrlOnTheSameHostAndPort) {
    TestBackend backend("http://127.0.0.1:8787");
    WebSocketService service(backend.apiClient, backend.streamSocket, backend.clock);
    service.connect("t-1");
    EXPECT_EQ(backend.streamSocket.latest().url(), "ws://127.0.0.1:8787/tandrel-stream?token=t-1");
}

TEST(WebSocketServiceUrl, EverySchemeInTheBaseIsReplacedButNoneInTheToken) {
    TestBackend backend("https://api.test/via/http://inner/https://inner");
    WebSocketService service(backend.apiClient, backend.streamSocket, backend.clock);
    service.connect("https://x");
    EXPECT_EQ(backend.streamSocket.latest().url(),
              "wss://api.test/via/ws://inner/wss://inner/tandrel-stream?token=https://x");
}

TEST_F(WebSocketServiceTest, TheTokenGoesOutByteForByte) {
    service->connect("a%2Fb%2f~_-.!$&'()*+,;=:@/?%41");
    EXPECT_EQ(connection().url(),
              "wss://api.test/tandrel-stream?token=a%2Fb%2f~_-.!$&'()*+,;=:@/?%41");
}

TEST_F(WebSocketServiceTest, AnInvalidUrlEndsInAnErrorWithoutATaskOrARetry) {
    for (const char* token : {"with space", "tab\there", "bad%zzescape", "ünicode", "[brackets]"}) {
        service->connect(token);
        EXPECT_EQ(state(), invalidUrl) << token;
    }
    EXPECT_EQ(connectionCount(), 0U);
    EXPECT_EQ(backend.clock.pendingCount(), 0U);
    EXPECT_THAT(log.linesStartingWith("[establishConnection]"), IsEmpty());
}

TEST(WebSocketServiceUrl, ABaseThatDoesNotParseIsAnInvalidUrl) {
    for (const char* base : {"", "nonsense", "https://", "https://host:99999", "https://ho st"}) {
        TestBackend backend(base);
        WebSocketService service(backend.apiClient, backend.streamSocket, backend.clock);
        service.connect("token");
        EXPECT_EQ(service.state.value(), invalidUrl) << base;
        EXPECT_THAT(backend.streamSocket.connections(), IsEmpty()) << base;
    }
}

TEST_F(WebSocketServiceTest, AnErrorStateIsLeftByTheNextConnect) {
    service->connect("with space");
    service->connect("good");
    EXPECT_EQ(state(), ConnectionState::connecting());
}

TEST_F(WebSocketServiceTest, DisconnectingClosesNormallyAndForgetsEverything) {
    connectFully();
    const auto first = backend.streamSocket.connections().front();
    service->disconnect();
    EXPECT_EQ(state(), ConnectionState::disconnected());
    EXPECT_EQ(first->closedWith(), 1000);
    backend.clock.advance(1h);
    EXPECT_EQ(connectionCount(), 1U);
}

TEST_F(WebSocketServiceTest, DisconnectingWithoutAConnectionStillPublishesDisconnected) {
    std::vector<ConnectionState> seen;
    const Subscription subscription =
        service->state.observe([&](const ConnectionState& value) { seen.push_back(value); });
    service->disconnect();
    EXPECT_THAT(seen, ElementsAre(ConnectionState::disconnected()));
}

TEST_F(WebSocketServiceTest, DisconnectingWhileConnectingCloses) {
    service->connect("token");
    service->disconnect();
    EXPECT_EQ(connection().closedWith(), 1000);
    EXPECT_EQ(state(), ConnectionState::disconnected());
}

TEST_F(WebSocketServiceTest, DisconnectingLeavesAnErrorState) {
    connectFully();
    closeByServer(4001);
    service->disconnect();
    EXPECT_EQ(state(), ConnectionState::disconnected());
    EXPECT_FALSE(connection().closedWith()) << "a lost connection is not closed again";
}

TEST_F(WebSocketServiceTest, ConnectingAgainDropsTheOldTaskWithoutClosingIt) {
    connectFully("one");
    const auto first = backend.streamSocket.connections().front();
    service->connect("two");
    EXPECT_TRUE(first->isDropped());
    EXPECT_FALSE(first->closedWith());
    EXPECT_EQ(state(), ConnectionState::connecting());
    EXPECT_EQ(connection().url(), "wss://api.test/tandrel-stream?token=two");
}

TEST_F(WebSocketServiceTest, CompletionsOfAReplacedTaskNeverTouchTheNewOne) {
    service->connect("one");
    const auto first = backend.streamSocket.connections().front();
    service->connect("two");
    first->answerPing();
    EXPECT_EQ(state(), ConnectionState::connecting());
    first->failReceive(reset);
    EXPECT_EQ(state(), ConnectionState::connecting());
    EXPECT_FALSE(connection().isDropped());
    EXPECT_EQ(backend.clock.pendingCount(), 0U) << "no reconnection";
    EXPECT_THAT(log.linesStartingWith("[WS]"), IsEmpty());
    connection().answerPing();
    EXPECT_EQ(state(), ConnectionState::connected());
}

TEST_F(WebSocketServiceTest, APongThatComesAfterTheLossDoesNotConnect) {
    service->connect("token");
    connection().failReceive(reset);
    connection().answerPing();
    EXPECT_EQ(state(), ConnectionState::connecting());
    EXPECT_EQ(log.count("[establishConnection] ping OK -> connected"), 0U);
}

TEST_F(WebSocketServiceTest, ALossIsLoggedAndRetriedAfterOneSecond) {
    connectFully();
    const auto first = backend.streamSocket.connections().front();
    connection().failReceive(reset);
    EXPECT_EQ(log.lines().back(),
              "[WS] disconnection closeCode=104 error=Connection reset by peer");
    EXPECT_EQ(state(), ConnectionState::connecting());
    EXPECT_TRUE(first->isDropped()) << "a failed connection is never closed by the client";
    EXPECT_EQ(connectionCount(), 1U);
    backend.clock.advance(999ms);
    EXPECT_EQ(connectionCount(), 1U);
    backend.clock.advance(1ms);
    ASSERT_EQ(connectionCount(), 2U);
    EXPECT_EQ(connection().url(), first->url());
    connection().answerPing();
    EXPECT_EQ(state(), ConnectionState::connected());
}

TEST_F(WebSocketServiceTest, APingFailureIsLoggedAndHandledAsALoss) {
    service->connect("token");
    connection().failPing(reset);
    EXPECT_THAT(log.lines(),
                ElementsAre("[connect] token=token...",
                            "[establishConnection] url=wss://api.test/tandrel-stream?token=token",
                            "[establishConnection] ping failed: Connection reset by peer",
                            "[WS] disconnection closeCode=104 error=Connection reset by peer"));
    EXPECT_EQ(state(), ConnectionState::connecting());
}

TEST_F(WebSocketServiceTest, ALossReportedTwiceSchedulesOneReconnection) {
    service->connect("token");
    connection().failPing(reset);
    connection().failReceive(reset);
    EXPECT_EQ(backend.clock.pendingCount(), 1U);
    EXPECT_THAT(log.linesStartingWith("[WS]"), SizeIs(1));
    backend.clock.advance(10s);
    EXPECT_EQ(connectionCount(), 2U);
}

TEST_F(WebSocketServiceTest, APingFailureIsLoggedEvenWhenTheReceiveReportedTheLossFirst) {
    service->connect("token");
    connection().failReceive(reset);
    connection().failPing(reset);
    EXPECT_EQ(log.count("[establishConnection] ping failed: Connection reset by peer"), 1U);
    EXPECT_THAT(log.linesStartingWith("[WS]"), SizeIs(1));
    EXPECT_EQ(backend.clock.pendingCount(), 1U);
}

TEST_F(WebSocketServiceTest, ALossReportedAgainAfterTheReconnectionIsNotASecondOne) {
    service->connect("token");
    const auto first = backend.streamSocket.connections().front();
    first->failReceive(reset);
    backend.clock.advance(1s);
    first->failPing(reset);
    EXPECT_EQ(backend.clock.pendingCount(), 0U);
    EXPECT_FALSE(connection().isDropped());
}

struct CloseCodeCase {
    int serverCode;
    std::int64_t errorCode;
    std::string logged;
    ConnectionState end;
};

class WebSocketServiceCloseCode : public WebSocketServiceTest,
                                  public testing::WithParamInterface<CloseCodeCase> {};

TEST_P(WebSocketServiceCloseCode, DecidesBetweenTheEndAndARetry) {
    connectFully();
    connection().setCloseCode(GetParam().serverCode);
    connection().failReceive({GetParam().errorCode, "gone"});
    EXPECT_EQ(log.lines().back(),
              "[WS] disconnection closeCode=" + GetParam().logged + " error=gone");
    EXPECT_EQ(state(), GetParam().end);
    const bool retries = GetParam().end == ConnectionState::connecting();
    backend.clock.advance(1h);
    EXPECT_EQ(connectionCount(), retries ? 2U : 1U);
}

INSTANTIATE_TEST_SUITE_P(
    All, WebSocketServiceCloseCode,
    testing::Values(CloseCodeCase{4001, 57, "4001", tokenInvalid},
                    CloseCodeCase{4002, 57, "4002", noLongerPending},
                    CloseCodeCase{4003, 57, "4003", ConnectionState::connecting()},
                    CloseCodeCase{4000, 57, "4000", ConnectionState::connecting()},
                    CloseCodeCase{4999, 57, "4999", ConnectionState::connecting()},
                    // Below 4000 the failure's own code counts.
                    CloseCodeCase{3999, 57, "57", ConnectionState::connecting()},
                    CloseCodeCase{1000, 57, "57", ConnectionState::connecting()},
                    CloseCodeCase{1011, -1005, "-1005", ConnectionState::connecting()},
                    CloseCodeCase{0, 104, "104", ConnectionState::connecting()},
                    CloseCodeCase{0, 4001, "4001", tokenInvalid},
                    CloseCodeCase{1006, 4002, "4002", noLongerPending}));

TEST_F(WebSocketServiceTest, FiveReconnectionsWaitOneToSixteenSecondsThenItGivesUp) {
    connectFully();
    connection().lose(reset);
    for (const auto delay : {1s, 2s, 4s, 8s, 16s}) {
        EXPECT_EQ(state(), ConnectionState::connecting());
        const std::size_t before = connectionCount();
        backend.clock.advance(delay - 1ns);
        EXPECT_EQ(connectionCount(), before) << delay.count();
        backend.clock.advance(1ns);
        ASSERT_EQ(connectionCount(), before + 1) << delay.count();
        connection().lose(reset);
    }
    EXPECT_EQ(state(), attemptsExhausted);
    EXPECT_EQ(backend.clock.elapsed(), 31s);
    backend.clock.advance(1h);
    EXPECT_EQ(connectionCount(), 6U);
}

TEST_F(WebSocketServiceTest, OnePongRestartsTheCount) {
    connectFully();
    connection().lose(reset);
    for (const auto delay : {1s, 2s, 4s}) {
        backend.clock.advance(delay);
        connection().lose(reset);
    }
    backend.clock.advance(8s);
    connection().answerPing();
    connection().lose(reset);
    for (const auto delay : {1s, 2s, 4s, 8s, 16s}) {
        EXPECT_EQ(backend.clock.requestedDelays().back(), delay);
        backend.clock.advance(delay);
        connection().lose(reset);
    }
    EXPECT_EQ(state(), attemptsExhausted);
}

TEST_F(WebSocketServiceTest, ConnectRestartsTheCount) {
    connectFully();
    connection().lose(reset);
    backend.clock.advance(1s);
    connection().lose(reset);
    backend.clock.advance(2s);
    service->connect("token");
    connection().lose(reset);
    EXPECT_EQ(backend.clock.requestedDelays().back(), 1s);
}

TEST_F(WebSocketServiceTest, ASessionThatEndsAfterThreeRetriesIsNotTriedAgain) {
    connectFully();
    connection().lose(reset);
    for (const auto delay : {1s, 2s, 4s}) {
        backend.clock.advance(delay);
        if (delay != 4s) {
            connection().lose(reset);
        }
    }
    closeByServer(4002);
    EXPECT_EQ(state(), noLongerPending);
    backend.clock.advance(1h);
    EXPECT_EQ(connectionCount(), 4U);
}

TEST_F(WebSocketServiceTest, DisconnectingDuringABackOffMakesTheTimerDoNothing) {
    connectFully();
    connection().lose(reset);
    service->disconnect();
    EXPECT_EQ(state(), ConnectionState::disconnected());
    backend.clock.advance(1h);
    EXPECT_EQ(connectionCount(), 1U);
    EXPECT_EQ(state(), ConnectionState::disconnected());
}

TEST_F(WebSocketServiceTest, ABackOffOfAnEarlierStreamLeavesTheNewOneAlone) {
    connectFully("old");
    connection().lose(reset);
    service->disconnect();
    service->connect("new");
    backend.clock.advance(1h);
    EXPECT_EQ(connectionCount(), 2U);
    EXPECT_EQ(connection().url(), "wss://api.test/tandrel-stream?token=new");
}

TEST_F(WebSocketServiceTest, ReleasingTheServiceEndsItsBackOffAndItsCompletions) {
    connectFully();
    connection().lose(reset);
    service.reset();
    backend.clock.advance(1h);
    EXPECT_EQ(connectionCount(), 1U);
    EXPECT_EQ(backend.clock.pendingCount(), 0U);
}

TEST_F(WebSocketServiceTest, CompletionsOfAReleasedServiceDoNothing) {
    service->connect("token");
    const std::size_t lines = log.lines().size();
    service.reset();
    EXPECT_TRUE(connection().failPing(reset));
    EXPECT_TRUE(connection().failReceive(reset));
    EXPECT_THAT(log.lines(), SizeIs(lines));
}

TEST_F(WebSocketServiceTest, MessagesAreOnlyPrinted) {
    connectFully();
    const std::size_t lines = log.lines().size();
    testing::internal::CaptureStdout();
    connection().deliver({SocketMessage::Kind::binary, std::string("\0\1\2", 3)});
    connection().deliver({SocketMessage::Kind::text, "grüß dich\n[Auth] forged"});
    connection().deliver({SocketMessage::Kind::binary, ""});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "WebSocket received 3 bytes\n"
              "WebSocket received text: grüß dich\\x0a[Auth] forged\n"
              "WebSocket received 0 bytes\n");
    EXPECT_THAT(log.lines(), SizeIs(lines));
    EXPECT_EQ(state(), ConnectionState::connected());
    EXPECT_EQ(connection().receiveCount(), 1U) << "one receive waits again";
}

TEST_F(WebSocketServiceTest, AMessageOfAnOldTaskAsksTheCurrentOneForTheNext) {
    connectFully("one");
    const auto first = backend.streamSocket.connections().front();
    service->connect("two");
    EXPECT_EQ(connection().receiveCount(), 1U);
    testing::internal::CaptureStdout();
    first->deliver({SocketMessage::Kind::text, "late"});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WebSocket received text: late\n");
    EXPECT_EQ(first->receiveCount(), 0U);
    EXPECT_EQ(connection().receiveCount(), 2U);
}

TEST_F(WebSocketServiceTest, AMessageWithNoTaskLeftIsTheLast) {
    connectFully();
    const auto first = backend.streamSocket.connections().front();
    // A second receive, as a message of a replaced connection leaves it.
    service->connect("two");
    first->deliver({SocketMessage::Kind::binary, "x"});
    connection().failReceive(reset);
    connection().deliver({SocketMessage::Kind::binary, "y"});
    EXPECT_EQ(connection().receiveCount(), 0U);
}

// What it says of reconnecting

TEST_F(WebSocketServiceTest, SaysThatItReconnectsFromTheLossUntilThePong) {
    std::vector<bool> told;
    const Subscription subscription =
        service->isReconnecting.observe([&](bool now) { told.push_back(now); });
    connectFully();
    EXPECT_THAT(told, IsEmpty()) << "a first connection is none";
    connection().lose(reset);
    EXPECT_THAT(told, ElementsAre(true));
    for (const auto delay : {1s, 2s, 4s}) {
        backend.clock.advance(delay);
        EXPECT_TRUE(service->isReconnecting.value()) << "while it opens";
        if (delay != 4s) {
            connection().lose(reset);
        }
    }
    connection().answerPing();
    EXPECT_THAT(told, ElementsAre(true, false));
}

TEST_F(WebSocketServiceTest, SaysThatItReconnectsWhenTheFirstConnectionFails) {
    service->connect("token");
    EXPECT_FALSE(service->isReconnecting.value());
    connection().lose(reset);
    EXPECT_TRUE(service->isReconnecting.value());
}

TEST_F(WebSocketServiceTest, ReconnectsNoLongerOnceItHasGivenUp) {
    connectFully();
    connection().lose(reset);
    for (const auto delay : {1s, 2s, 4s, 8s, 16s}) {
        EXPECT_TRUE(service->isReconnecting.value());
        backend.clock.advance(delay);
        connection().lose(reset);
    }
    EXPECT_FALSE(service->isReconnecting.value());
}

TEST_F(WebSocketServiceTest, ReconnectsNoLongerOnceTheSessionIsOver) {
    connectFully();
    closeByServer(4001);
    EXPECT_FALSE(service->isReconnecting.value());
    connectFully();
    connection().lose(reset);
    backend.clock.advance(1s);
    closeByServer(4002);
    EXPECT_FALSE(service->isReconnecting.value());
}

TEST_F(WebSocketServiceTest, ReconnectsNoLongerOnceItIsDisconnected) {
    connectFully();
    connection().lose(reset);
    service->disconnect();
    EXPECT_FALSE(service->isReconnecting.value());
    backend.clock.advance(1h);
    EXPECT_FALSE(service->isReconnecting.value());
}

TEST_F(WebSocketServiceTest, ANewStreamIsNoReconnection) {
    connectFully();
    connection().lose(reset);
    service->connect("another");
    EXPECT_FALSE(service->isReconnecting.value());
}

TEST_F(WebSocketServiceTest, WhoDisconnectsOnALossIsNotToldOfAReconnection) {
    connectFully();
    bool wasTold = false;
    const Subscription told =
        service->isReconnecting.observe([&](bool now) { wasTold = wasTold || now; });
    const Subscription reaction = service->state.onChange([this](const ConnectionState& now) {
        if (now == ConnectionState::connecting()) {
            service->disconnect();
        }
    });
    connection().lose(reset);
    EXPECT_FALSE(wasTold);
    EXPECT_EQ(state(), ConnectionState::disconnected());
}

TEST_F(WebSocketServiceTest, WhoStartsAnewOnALossIsNotOvertakenByTheRetry) {
    connectFully("old");
    bool isFirst = true;
    const Subscription reaction = service->state.onChange([&](const ConnectionState& now) {
        if (now == ConnectionState::connecting() && std::exchange(isFirst, false)) {
            service->disconnect();
            service->connect("new");
        }
    });
    connection().lose(reset);
    backend.clock.advance(1h);
    EXPECT_FALSE(service->isReconnecting.value());
    EXPECT_EQ(connectionCount(), 2U);
    EXPECT_EQ(connection().url(), "wss://api.test/tandrel-stream?token=new");
}

class WebSocketServiceSending : public WebSocketServiceTest {
protected:
    void send(int count) const {
        for (int number = 0; number < count; ++number) {
            service->sendAudioData(Bytes{1, 2, 3, 4});
        }
    }
    [[nodiscard]] std::vector<std::string> sendLines() const {
        return log.linesStartingWith("[sendAudioData]");
    }
};

TEST_F(WebSocketServiceSending, EachBufferIsOneMessageUnchangedAndInOrder) {
    connectFully();
    service->sendAudioData(Bytes{1, 2});
    service->sendAudioData(Bytes{});
    service->sendAudioData(Bytes{0xff, 0x00, 0x80});
    EXPECT_THAT(connection().sent(), ElementsAre(Bytes{1, 2}, Bytes{}, Bytes{0xff, 0x00, 0x80}));
}

TEST_F(WebSocketServiceSending, BuffersAreDroppedNotQueuedWhileNotConnected) {
    send(1);
    service->connect("token");
    send(1);
    connection().answerPing();
    EXPECT_THAT(connection().sent(), IsEmpty());
    send(1);
    EXPECT_THAT(connection().sent(), SizeIs(1));
    connection().lose(reset);
    send(1);
    backend.clock.advance(1s);
    send(1);
    connection().answerPing();
    EXPECT_THAT(connection().sent(), IsEmpty());
    EXPECT_THAT(sendLines(),
                ElementsAre("[sendAudioData] #1 state=disconnected bytes=4 hasTask=false",
                            "[sendAudioData] #2 state=connecting bytes=4 hasTask=true",
                            "[sendAudioData] #3 state=connected bytes=4 hasTask=true",
                            "[sendAudioData] #3 sent OK",
                            "[sendAudioData] #4 state=connecting bytes=4 hasTask=false",
                            "[sendAudioData] #5 state=connecting bytes=4 hasTask=true"));
}

TEST_F(WebSocketServiceSending, AnErrorStateIsLoggedWithItsText) {
    service->connect("with space");
    send(1);
    EXPECT_THAT(sendLines(),
                ElementsAre("[sendAudioData] #1 state=error(\"Invalid WebSocket URL\") bytes=4 "
                            "hasTask=false"));
}

TEST_F(WebSocketServiceSending, SendsOneToFiveAndEveryHundredthAreLogged) {
    connectFully();
    send(301);
    std::vector<std::string> expected;
    for (const int number : {1, 2, 3, 4, 5, 100, 200, 300}) {
        const std::string tag = "[sendAudioData] #" + std::to_string(number);
        expected.push_back(tag + " state=connected bytes=4 hasTask=true");
        expected.push_back(tag + " sent OK");
    }
    EXPECT_EQ(sendLines(), expected);
    EXPECT_THAT(connection().sent(), SizeIs(301));
}

TEST_F(WebSocketServiceSending, TheCountIsNeverReset) {
    send(5);
    connectFully();
    send(1);
    service->disconnect();
    connectFully();
    send(93);
    EXPECT_THAT(sendLines(), SizeIs(5)) << "6 to 99 are silent, in a new stream too";
    send(1);
    EXPECT_EQ(sendLines().back(), "[sendAudioData] #100 sent OK");
}

TEST_F(WebSocketServiceSending, EverySendErrorIsLoggedAndChangesNothing) {
    connectFully();
    send(6);
    connection().setSendError(SocketError{32, "Broken pipe"});
    send(2);
    EXPECT_EQ(log.count("[sendAudioData] #7 SEND ERROR: Broken pipe"), 1U);
    EXPECT_EQ(log.count("[sendAudioData] #8 SEND ERROR: Broken pipe"), 1U);
    EXPECT_EQ(state(), ConnectionState::connected());
    EXPECT_EQ(backend.clock.pendingCount(), 0U) << "no reconnection";
}

TEST_F(WebSocketServiceSending, ABufferBetweenTheLossAndTheNewStateIsDroppedWithALine) {
    connectFully();
    // The tap thread may send at any moment; this is the one between the two steps.
    connection().onCloseCodeAsked = [this] { send(1); };
    closeByServer(0);
    EXPECT_THAT(sendLines(), ElementsAre("[sendAudioData] #1 state=connected bytes=4 hasTask=false",
                                         "[sendAudioData] #1 webSocketTask is nil!"));
}

TEST_F(WebSocketServiceSending, TheMissingTaskIsNotedOnlyForTheFirstFiveSends) {
    connectFully();
    send(5);
    connection().onCloseCodeAsked = [this] { send(1); };
    closeByServer(0);
    EXPECT_EQ(log.count("[sendAudioData] #6 webSocketTask is nil!"), 0U);
    EXPECT_THAT(connection().sent(), SizeIs(5));
}

} // namespace
} // namespace tandrel
