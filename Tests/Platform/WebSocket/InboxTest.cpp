#include "Platform/WebSocket/Inbox.h"

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <thread>

namespace tandrel {
namespace {

SocketMessage text(std::string payload) {
    return {SocketMessage::Kind::text, std::move(payload)};
}

TEST(Inbox, AsksForOneDeliveryAtATime) {
    Inbox inbox(1000);
    EXPECT_TRUE(inbox.addMessage(text("a")));
    EXPECT_FALSE(inbox.addMessage(text("b")));
    EXPECT_FALSE(inbox.addPong());
    EXPECT_FALSE(inbox.requestDelivery());
    inbox.beginDelivery();
    EXPECT_TRUE(inbox.requestDelivery()) << "messages still wait";
    inbox.beginDelivery();
    EXPECT_TRUE(inbox.setLoss({4001, "gone"}));
}

TEST(Inbox, NeedsNoDeliveryWhenNothingWaits) {
    Inbox inbox(1000);
    EXPECT_FALSE(inbox.requestDelivery());
}

TEST(Inbox, YieldsMessagesInOrderAndPongsByCount) {
    Inbox inbox(1000);
    (void)inbox.addMessage(text("a"));
    (void)inbox.addPong();
    (void)inbox.addMessage(text("b"));
    (void)inbox.addPong();
    EXPECT_EQ(inbox.takePongs(), 2U);
    EXPECT_EQ(inbox.takePongs(), 0U);
    EXPECT_EQ(inbox.takeMessage()->payload, "a");
    EXPECT_TRUE(inbox.hasMessages());
    EXPECT_EQ(inbox.takeMessage()->payload, "b");
    EXPECT_FALSE(inbox.takeMessage());
    EXPECT_FALSE(inbox.loss());
}

TEST(Inbox, StopsReadingWhenFullAndGoesOnWhenHalfEmpty) {
    Inbox inbox(1000);
    const std::string large(600, 'x');
    (void)inbox.addMessage(text(large));
    EXPECT_FALSE(inbox.mustWaitForRoom());
    EXPECT_FALSE(inbox.takeRoomMade()) << "reading never stopped";
    (void)inbox.addMessage(text(large));
    EXPECT_TRUE(inbox.mustWaitForRoom());
    (void)inbox.takeMessage();
    EXPECT_FALSE(inbox.takeRoomMade());
    (void)inbox.takeMessage();
    EXPECT_TRUE(inbox.takeRoomMade());
    EXPECT_FALSE(inbox.takeRoomMade()) << "told once";
}

TEST(Inbox, CarriesARampBetweenTwoThreadsWithinItsBound) {
    constexpr int count = 100'000;
    Inbox inbox(4096);
    std::atomic<int> wakeUps{0};
    std::atomic<bool> roomMade{true};
    std::thread network([&] {
        for (int value = 0; value < count; ++value) {
            if (inbox.addMessage(text(std::to_string(value)))) {
                ++wakeUps;
                wakeUps.notify_one();
            }
            roomMade = false;
            if (inbox.mustWaitForRoom()) {
                roomMade.wait(false);
            }
        }
    });
    int expected = 0;
    while (expected < count) {
        wakeUps.wait(0);
        wakeUps = 0;
        inbox.beginDelivery();
        int waiting = 0;
        while (const auto message = inbox.takeMessage()) {
            ASSERT_EQ(message->payload, std::to_string(expected));
            ++expected;
            ++waiting;
            if (inbox.takeRoomMade()) {
                roomMade = true;
                roomMade.notify_one();
            }
        }
    }
    network.join();
}

} // namespace
} // namespace tandrel
