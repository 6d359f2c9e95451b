#include "Support/SimulatedServer.h"

#include "Support/ManualClock.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SimulatedServerTest : public testing::Test {
protected:
    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request = {}) {
        return server.send(request, [this](const auto& outcome) {
            events.push_back(outcome.ok() ? outcome.value().body : outcome.error().description);
        });
    }

    ManualClock clock;
    SimulatedServer server{clock, [](const HttpRequest& request) {
                               return HttpResponse{200, "to " + request.url};
                           }};
    std::vector<std::string> events;
};

TEST_F(SimulatedServerTest, AnswersByItselfAfterARoundTrip) {
    const auto exchange = send({"GET", "a", {}, {}});
    EXPECT_EQ(server.pendingCount(), 1U);
    clock.advance(SimulatedServer::roundTrip);
    EXPECT_THAT(events, ElementsAre("to a"));
    EXPECT_EQ(server.pendingCount(), 0U);
}

TEST_F(SimulatedServerTest, ACancelledRequestSaysSoLater) {
    const auto exchange = send();
    exchange->cancel();
    EXPECT_THAT(events, IsEmpty());
    clock.runPending();
    EXPECT_THAT(events, ElementsAre("The request was cancelled."));
    exchange->cancel();
    clock.advance(SimulatedServer::roundTrip);
    EXPECT_EQ(events.size(), 1U);
    EXPECT_EQ(server.pendingCount(), 0U);
}

TEST_F(SimulatedServerTest, ADestroyedRequestIsSilent) {
    send().reset();
    EXPECT_EQ(server.pendingCount(), 0U);
    clock.advance(SimulatedServer::roundTrip);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(SimulatedServerTest, SendsABodyInPartsAsTheyAreTaken) {
    std::vector<std::string> parts;
    std::function<void()> taken;
    HttpRequest request{"GET", "package", {}, {}};
    request.sink = [&](std::string part, std::function<void()> done) {
        parts.push_back(std::move(part));
        taken = std::move(done);
    };
    const auto exchange = send(request);
    clock.advance(SimulatedServer::roundTrip);
    clock.advance(SimulatedServer::roundTrip);
    EXPECT_THAT(parts, ElementsAre("to packa"));
    std::exchange(taken, nullptr)();
    clock.advance(SimulatedServer::roundTrip);
    EXPECT_THAT(parts, ElementsAre("to packa", "ge"));
    EXPECT_THAT(events, IsEmpty());
    std::exchange(taken, nullptr)();
    clock.advance(SimulatedServer::roundTrip);
    EXPECT_THAT(events, ElementsAre(""));
}

TEST_F(SimulatedServerTest, RefusesABodyThatIsTooLarge) {
    HttpRequest request;
    request.maxBodySize = 2;
    const auto exchange = send(request);
    clock.advance(SimulatedServer::roundTrip);
    EXPECT_THAT(events, ElementsAre("The answer is too large."));
}

} // namespace
} // namespace tandrel::test
