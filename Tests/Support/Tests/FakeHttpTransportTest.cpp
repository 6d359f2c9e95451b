#include "Support/FakeHttpTransport.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FakeHttpTransportTest : public testing::Test {
protected:
    std::unique_ptr<HttpExchange> send(const std::string& url) {
        return transport.send({"GET", url, {{"X-Name", url}}, "body"}, [this, url](auto result) {
            events.push_back(
                url + ' ' +
                (result.ok() ? std::to_string(result.value().statusCode) + ' ' + result.value().body
                             : result.error().description));
        });
    }

    FakeHttpTransport transport;
    std::vector<std::string> events;
};

TEST_F(FakeHttpTransportTest, RecordsEveryRequestWhole) {
    const auto first = send("a");
    const auto second = send("b");
    ASSERT_EQ(transport.requests().size(), 2U);
    EXPECT_EQ(transport.lastRequest().url, "b");
    EXPECT_EQ(transport.lastRequest().body, "body");
    EXPECT_THAT(FakeHttpTransport::headerValues(transport.requests()[0], "x-name"),
                ElementsAre("a"));
    EXPECT_THAT(FakeHttpTransport::headerValues(transport.requests()[0], "X-Other"), IsEmpty());
}

TEST_F(FakeHttpTransportTest, AnswersTheOldestThatWaitsOnce) {
    const auto first = send("a");
    const auto second = send("b");
    EXPECT_THAT(events, IsEmpty());
    EXPECT_TRUE(transport.answer(200, "x"));
    EXPECT_TRUE(transport.fail({TransportError::Kind::other, "lost"}));
    EXPECT_FALSE(transport.answer(200));
    EXPECT_THAT(events, ElementsAre("a 200 x", "b lost"));
}

TEST_F(FakeHttpTransportTest, CancellingCompletesLaterAndOnce) {
    const auto exchange = send("a");
    exchange->cancel();
    exchange->cancel();
    EXPECT_THAT(events, IsEmpty());
    EXPECT_FALSE(transport.answer(200));
    EXPECT_EQ(transport.deliver(), 1U);
    EXPECT_EQ(transport.deliver(), 0U);
    exchange->cancel();
    EXPECT_EQ(transport.deliver(), 0U);
    EXPECT_THAT(events, ElementsAre("a " + FakeHttpTransport::cancelledError().description));
    EXPECT_EQ(transport.abortedCount(), 1U);
}

TEST_F(FakeHttpTransportTest, AnAnswerThatCameInSurvivesTheCancellation) {
    const auto exchange = send("a");
    EXPECT_TRUE(transport.bringIn(200, "x"));
    EXPECT_FALSE(transport.bringIn(200, "y"));
    exchange->cancel();
    EXPECT_EQ(transport.deliver(), 1U);
    EXPECT_THAT(events, ElementsAre("a 200 x"));
    EXPECT_EQ(transport.abortedCount(), 0U);
}

TEST_F(FakeHttpTransportTest, DestroyingSilencesInEveryPhase) {
    auto waiting = send("a");
    auto cancelled = send("b");
    cancelled->cancel();
    auto broughtIn = send("c");
    transport.answer(500);
    ASSERT_EQ(events.size(), 1U);
    ASSERT_TRUE(transport.bringIn(200));
    auto last = send("d");
    waiting.reset();
    cancelled.reset();
    broughtIn.reset();
    last.reset();
    EXPECT_EQ(transport.deliver(), 0U);
    EXPECT_FALSE(transport.answer(200));
    EXPECT_EQ(events.size(), 1U);
    EXPECT_EQ(transport.abortedCount(), 2U);
}

TEST_F(FakeHttpTransportTest, ACompletionMayDestroyItsExchangeAndSendAgain) {
    std::unique_ptr<HttpExchange> exchange;
    exchange = transport.send({"GET", "a", {}, {}}, [&](const auto&) {
        exchange.reset();
        exchange = send("b");
    });
    EXPECT_TRUE(transport.answer(200));
    EXPECT_EQ(transport.pendingCount(), 1U);
    EXPECT_TRUE(transport.answer(204));
    EXPECT_THAT(events, ElementsAre("b 204 "));
}

} // namespace
} // namespace tandrel::test
