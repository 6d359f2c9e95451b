#include "Services/SessionService.h"

#include "Support/LogCapture.h"
#include "Support/TestBackend.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::LogCapture;
using test::TestBackend;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = SessionState::Kind;

std::string sessionJson(const std::string& id, const std::string& token = "token") {
    return R"({"session_id":")" + id + R"(","token":")" + token +
           R"(","interview_id":"interview"})";
}

class SessionServiceTest : public testing::Test {
protected:
    [[nodiscard]] Kind kind() const { return service->state.value().kind(); }
    [[nodiscard]] std::size_t requestCount() const { return backend.transport.requests().size(); }
    [[nodiscard]] std::vector<std::string> pollLines() const {
        return log.linesStartingWith("[poll]");
    }
    /// Starts polling and lets the first request go out.
    void startAndRequest() {
        service->startPolling();
        backend.clock.runPending();
    }
    void find(const std::string& id) { backend.transport.answer(200, sessionJson(id)); }
    /// Brings the service to `streaming` as the owner does.
    void stream() {
        startAndRequest();
        find("s1");
        service->state.set(SessionState::streaming());
    }

    TestBackend backend;
    LogCapture log;
    std::unique_ptr<SessionService> service =
        std::make_unique<SessionService>(backend.apiClient, backend.keychain, backend.clock);
};

TEST_F(SessionServiceTest, StartsIdleWithoutAnError) {
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_FALSE(service->error.value());
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 0U);
}

TEST_F(SessionServiceTest, StartingPublishesPollingAndAsksAtTheNextTurn) {
    service->startPolling();
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_EQ(requestCount(), 0U);
    EXPECT_THAT(log.lines(), ElementsAre("[startPolling] baseURL=https://api.test hasToken=false"));
    backend.clock.runPending();
    ASSERT_EQ(requestCount(), 1U);
    EXPECT_EQ(backend.transport.lastRequest().method, "GET");
    EXPECT_EQ(backend.transport.lastRequest().url, "https://api.test/api/tandrel/sessions/pending");
    EXPECT_EQ(log.lines().back(), "[poll] #1 requesting...");
}

TEST_F(SessionServiceTest, TheStartLineTellsWhetherATokenIsStored) {
    backend.storeAccessToken("secret");
    startAndRequest();
    EXPECT_EQ(log.lines().front(), "[startPolling] baseURL=https://api.test hasToken=true");
    EXPECT_THAT(
        test::FakeHttpTransport::headerValues(backend.transport.lastRequest(), "Authorization"),
        ElementsAre("Bearer secret"));
}

TEST_F(SessionServiceTest, TheIntervalRunsFromTheEndOfOneRequestToTheStartOfTheNext) {
    startAndRequest();
    backend.clock.advance(10s);
    EXPECT_EQ(requestCount(), 1U);
    backend.transport.answer(404, "{}");
    backend.clock.advance(2999ms);
    EXPECT_EQ(requestCount(), 1U);
    backend.clock.advance(1ms);
    EXPECT_EQ(requestCount(), 2U);
}

TEST_F(SessionServiceTest, AFoundSessionEndsPollingAndIsSeenToPassThroughIdle) {
    std::vector<SessionState> seen;
    const Subscription subscription =
        service->state.observe([&](const SessionState& state) { seen.push_back(state); });
    startAndRequest();
    backend.transport.answer(200, sessionJson("s1", "t1"));
    ASSERT_THAT(seen, SizeIs(3));
    EXPECT_EQ(seen[0].kind(), Kind::polling);
    EXPECT_EQ(seen[1].kind(), Kind::idle);
    ASSERT_EQ(seen[2].kind(), Kind::sessionFound);
    EXPECT_EQ(seen[2].session()->token, "t1");
    EXPECT_EQ(seen[2].session()->interviewId, "interview");
    EXPECT_EQ(log.lines().back(), "[poll] #1 FOUND session=s1");
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SessionServiceTest, OtherFailuresAreLoggedAndPollingGoesOn) {
    startAndRequest();
    service->error.set("kept");
    backend.transport.answer(404, "{}");
    backend.clock.advance(3s);
    backend.transport.answer(200, "{}");
    backend.clock.advance(3s);
    backend.transport.fail({TransportError::Kind::timedOut, "The request timed out."});
    backend.clock.advance(3s);
    backend.transport.answer(503);
    const auto lines = pollLines();
    ASSERT_THAT(lines, SizeIs(8));
    EXPECT_EQ(lines[1], "[poll] #1 APIError: httpError(statusCode: 404, message: nil)");
    EXPECT_THAT(lines[3], testing::StartsWith("[poll] #2 APIError: decodingError("));
    EXPECT_EQ(lines[5], "[poll] #3 APIError: networkError(The request timed out.)");
    EXPECT_EQ(lines[7], "[poll] #4 APIError: httpError(statusCode: 503, message: nil)");
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_EQ(service->error.value(), "kept");
}

TEST_F(SessionServiceTest, AnInvalidBaseIsLoggedAndTriedAgain) {
    TestBackend broken("https://api test");
    SessionService session(broken.apiClient, broken.keychain, broken.clock);
    session.startPolling();
    broken.clock.advance(3s);
    EXPECT_THAT(pollLines(),
                ElementsAre("[poll] #1 requesting...", "[poll] #1 APIError: invalidURL",
                            "[poll] #2 requesting...", "[poll] #2 APIError: invalidURL"));
    EXPECT_EQ(session.state.value().kind(), Kind::polling);
}

TEST_F(SessionServiceTest, UnauthorizedEndsPollingWithTheShortText) {
    int unauthorized = 0;
    backend.apiClient.onUnauthorized = [&] { ++unauthorized; };
    startAndRequest();
    backend.transport.answer(401);
    EXPECT_EQ(unauthorized, 1);
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_EQ(service->error.value(), "Session expired");
    EXPECT_EQ(log.lines().back(), "[poll] #1 APIError: unauthorized");
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SessionServiceTest, StartingClearsTheError) {
    startAndRequest();
    backend.transport.answer(401);
    service->startPolling();
    EXPECT_FALSE(service->error.value());
    EXPECT_EQ(kind(), Kind::polling);
}

TEST_F(SessionServiceTest, StartingTwiceLeavesOneLoop) {
    service->startPolling();
    service->startPolling();
    backend.clock.runPending();
    EXPECT_EQ(requestCount(), 1U);
    EXPECT_THAT(pollLines(), ElementsAre("[poll] #1 requesting..."));
}

TEST_F(SessionServiceTest, StartingAgainDuringARequestLeavesOneLoopAndKeepsCounting) {
    startAndRequest();
    service->startPolling();
    backend.transport.deliver();
    backend.clock.runPending();
    EXPECT_EQ(backend.transport.pendingCount(), 1U);
    EXPECT_THAT(pollLines(),
                ElementsAre("[poll] #1 requesting...",
                            "[poll] #1 APIError: networkError(" +
                                test::FakeHttpTransport::cancelledError().description + ")",
                            "[poll] #2 requesting..."));
    backend.transport.answer(404);
    backend.clock.advance(3s);
    EXPECT_EQ(requestCount(), 3U) << "one request every 3 s";
    EXPECT_EQ(pollLines().back(), "[poll] #3 requesting...");
}

TEST_F(SessionServiceTest, StartingAgainDuringTheSleepLeavesOneLoop) {
    startAndRequest();
    backend.transport.answer(404);
    backend.clock.advance(1s);
    startAndRequest();
    backend.transport.answer(404);
    backend.clock.advance(2999ms);
    EXPECT_EQ(requestCount(), 2U);
    backend.clock.advance(1ms);
    EXPECT_EQ(requestCount(), 3U);
}

TEST_F(SessionServiceTest, StartingAgainPassesThroughIdle) {
    service->startPolling();
    std::vector<SessionState> seen;
    const Subscription subscription =
        service->state.observe([&](const SessionState& state) { seen.push_back(state); });
    service->startPolling();
    EXPECT_THAT(seen, ElementsAre(SessionState::idle(), SessionState::polling()));
}

TEST_F(SessionServiceTest, StoppingBeforeTheFirstPollMakesNone) {
    service->startPolling();
    service->stopPolling();
    EXPECT_EQ(kind(), Kind::idle);
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 0U);
    EXPECT_THAT(pollLines(), IsEmpty());
}

TEST_F(SessionServiceTest, StoppingAbortsTheRequestWhichIsLoggedAsANetworkErrorAndNothingElse) {
    startAndRequest();
    service->error.set("kept");
    service->stopPolling();
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_EQ(backend.transport.abortedCount(), 1U);
    EXPECT_EQ(backend.transport.deliver(), 1U);
    EXPECT_EQ(log.lines().back(), "[poll] #1 APIError: networkError(" +
                                      test::FakeHttpTransport::cancelledError().description + ")");
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_EQ(service->error.value(), "kept");
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(backend.clock.pendingCount(), 0U);
}

TEST_F(SessionServiceTest, ASessionThatHadComeInBeforeTheStopStillCounts) {
    startAndRequest();
    backend.transport.bringIn(200, sessionJson("s1"));
    service->stopPolling();
    EXPECT_EQ(kind(), Kind::idle);
    backend.transport.deliver();
    EXPECT_EQ(kind(), Kind::sessionFound);
    EXPECT_EQ(log.lines().back(), "[poll] #1 FOUND session=s1");
}

TEST_F(SessionServiceTest, ARefusalThatHadComeInBeforeANewStartEndsTheNewLoopToo) {
    startAndRequest();
    backend.transport.bringIn(401);
    service->startPolling();
    backend.transport.deliver();
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_EQ(service->error.value(), "Session expired");
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SessionServiceTest, StoppingLeavesEveryOtherStateAsItIs) {
    for (const SessionState& state :
         {SessionState::idle(), SessionState::sessionFound({"s", "t", "i"}),
          SessionState::streaming(), SessionState::completed()}) {
        service->state.set(state);
        service->stopPolling();
        EXPECT_EQ(service->state.value(), state) << state.rendering();
    }
}

TEST_F(SessionServiceTest, ALoopWhoseStateWasChangedSkipsAndCountsEveryThreeSeconds) {
    startAndRequest();
    backend.transport.answer(404);
    service->state.set(SessionState::streaming());
    backend.clock.advance(6s);
    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(pollLines()[2], "[poll] #2 SKIP state=streaming");
    EXPECT_EQ(pollLines()[3], "[poll] #3 SKIP state=streaming");
    service->state.set(SessionState::polling());
    backend.clock.advance(3s);
    EXPECT_EQ(pollLines()[4], "[poll] #4 requesting...");
    service->state.set(SessionState::idle());
    service->stopPolling();
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 2U);
}

TEST_F(SessionServiceTest, ASkippedFoundSessionIsRenderedWithoutItsToken) {
    service->startPolling();
    service->state.set(SessionState::sessionFound({"s1", "secret-token", "i1"}));
    backend.clock.runPending();
    EXPECT_THAT(pollLines(), ElementsAre("[poll] #1 SKIP state=sessionFound(sessionId: \"s1\", "
                                         "interviewId: \"i1\")"));
}

TEST_F(SessionServiceTest, TheCountGoesOnOverStopsAndStarts) {
    startAndRequest();
    backend.transport.answer(404);
    service->stopPolling();
    startAndRequest();
    EXPECT_EQ(pollLines().back(), "[poll] #2 requesting...");
}

TEST_F(SessionServiceTest, EndingAStreamCompletesItAndPollsAgainAfterTwoSeconds) {
    stream();
    int done = 0;
    const Handle ending = service->endSession([&] { ++done; });
    EXPECT_TRUE(ending);
    EXPECT_EQ(kind(), Kind::completed);
    service->error.set("Failed");
    backend.clock.advance(1999ms);
    EXPECT_EQ(kind(), Kind::completed);
    EXPECT_EQ(done, 0);
    backend.clock.advance(1ms);
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_FALSE(service->error.value());
    EXPECT_EQ(done, 1);
    EXPECT_EQ(requestCount(), 2U);
}

TEST_F(SessionServiceTest, PollingResumesWhateverTheStateHasBecomeMeanwhile) {
    stream();
    const Handle ending = service->endSession();
    service->state.set(SessionState::idle());
    backend.clock.advance(2s);
    EXPECT_EQ(kind(), Kind::polling);
}

TEST_F(SessionServiceTest, EndingAnythingButAStreamDoesNothing) {
    for (const SessionState& state :
         {SessionState::idle(), SessionState::polling(),
          SessionState::sessionFound({"s", "t", "i"}), SessionState::completed()}) {
        service->state.set(state);
        EXPECT_FALSE(service->endSession());
        EXPECT_EQ(service->state.value(), state);
        EXPECT_EQ(backend.clock.pendingCount(), 0U);
    }
}

TEST_F(SessionServiceTest, LettingGoOfTheEndingLeavesItCompletedWithoutPolling) {
    stream();
    Handle ending = service->endSession();
    ending.reset();
    backend.clock.advance(1h);
    EXPECT_EQ(kind(), Kind::completed);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SessionServiceTest, ANewTokenForTheSameSessionIsStoredWithoutAReaction) {
    service->state.set(SessionState::sessionFound({"s1", "old", "i"}));
    int reactions = 0;
    const Subscription subscription =
        service->state.onChange([&](const SessionState&) { ++reactions; });
    service->state.set(SessionState::sessionFound({"s1", "new", "other"}));
    EXPECT_EQ(reactions, 0);
    EXPECT_EQ(service->state.value().session()->token, "new");
    service->state.set(SessionState::sessionFound({"s2", "new", "other"}));
    EXPECT_EQ(reactions, 1);
}

TEST_F(SessionServiceTest, AReleasedServiceEndsItsLoop) {
    startAndRequest();
    backend.transport.answer(404);
    const std::size_t lines = log.lines().size();
    service.reset();
    EXPECT_EQ(backend.clock.pendingCount(), 0U);
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 1U);
    EXPECT_THAT(log.lines(), SizeIs(lines));
}

TEST_F(SessionServiceTest, AReleasedServiceSilencesItsRequests) {
    startAndRequest();
    service->startPolling(); // one aborted request on its way out
    backend.clock.runPending();
    const std::size_t lines = log.lines().size();
    service.reset();
    EXPECT_EQ(backend.transport.deliver(), 0U);
    EXPECT_EQ(backend.transport.pendingCount(), 0U);
    EXPECT_THAT(log.lines(), SizeIs(lines));
}

TEST_F(SessionServiceTest, AReleasedServiceSilencesItsEnding) {
    stream();
    const Handle ending = service->endSession();
    service.reset();
    backend.clock.advance(1h);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(SessionServiceTest, MayBeReleasedByWhoeverSeesTheFoundSession) {
    startAndRequest();
    const Subscription subscription = service->state.observe([&](const SessionState& state) {
        if (state.kind() == Kind::sessionFound) {
            service.reset();
        }
    });
    find("s1");
    EXPECT_EQ(service, nullptr);
    EXPECT_EQ(backend.clock.pendingCount(), 0U);
}

TEST_F(SessionServiceTest, StoppingFromTheUnauthorizedCallbackStillCountsTheRefusal) {
    backend.apiClient.onUnauthorized = [&] { service->stopPolling(); };
    startAndRequest();
    backend.transport.answer(401);
    backend.transport.deliver();
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_EQ(service->error.value(), "Session expired");
    EXPECT_EQ(log.count("[poll] #1 APIError: unauthorized"), 1U);
}

} // namespace
} // namespace tandrel
