#include "Services/LoginStartService.h"

#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::ManualMainQueue;
using testing::ElementsAre;
using testing::IsEmpty;

/// A disk of the test's own; shared with the test, since the service keeps it to itself.
struct Disk {
    std::mutex mutex;
    std::condition_variable changed;
    bool isOn = false;
    bool isStuck = false;
    int visits = 0;
    /// Why it refuses to be changed; empty when it does not.
    std::string refusal;

    void setStuck(bool value) {
        const std::lock_guard lock(mutex);
        isStuck = value;
        changed.notify_all();
    }
    /// Whoever comes waits here while it is stuck.
    std::unique_lock<std::mutex> visit() {
        std::unique_lock lock(mutex);
        ++visits;
        changed.notify_all();
        changed.wait(lock, [this] { return !isStuck; });
        return lock;
    }
    template <typename Condition>
    bool await(Condition condition) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 20s, condition);
    }
};

class DiskLoginStart : public LoginStart {
public:
    explicit DiskLoginStart(std::shared_ptr<Disk> disk)
        : disk_(std::move(disk)) {}

    [[nodiscard]] LoginStartAnswer look() const override {
        const auto lock = disk_->visit();
        return {disk_->isOn, {}};
    }
    LoginStartAnswer change(bool toOn) override {
        const auto lock = disk_->visit();
        if (disk_->refusal.empty()) {
            disk_->isOn = toOn;
            disk_->changed.notify_all();
        }
        return {disk_->isOn, disk_->refusal};
    }

private:
    std::shared_ptr<Disk> disk_;
};

class LoginStartServiceTest : public testing::Test {
protected:
    LoginStartServiceTest()
        : service(
              std::make_unique<LoginStartService>(std::make_unique<DiskLoginStart>(disk), queue)) {
        seenStates = service->isOn.observe([this](bool isOn) { states.push_back(isOn); });
        seenProblems = service->problem.observe(
            [this](const std::string& problem) { problems.push_back(problem); });
    }

    std::shared_ptr<Disk> disk = std::make_shared<Disk>();
    ManualMainQueue queue;
    std::unique_ptr<LoginStartService> service;
    std::vector<bool> states;
    std::vector<std::string> problems;
    Subscription seenStates;
    Subscription seenProblems;
};

TEST_F(LoginStartServiceTest, ALookFindsHowThingsStand) {
    disk->isOn = true;
    service->refresh();
    ASSERT_TRUE(queue.drainUntil([&] { return !states.empty(); }));
    EXPECT_THAT(states, ElementsAre(true));
    EXPECT_TRUE(service->isOn.value());
}

TEST_F(LoginStartServiceTest, AChangeIsMadeAndTold) {
    service->change(true);
    ASSERT_TRUE(queue.drainUntil([&] { return !states.empty(); }));
    EXPECT_TRUE(disk->isOn);
    EXPECT_THAT(states, ElementsAre(true));
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(LoginStartServiceTest, ARefusedChangeTellsTheReasonAndWhatIsTrue) {
    disk->refusal = "no room";
    service->change(true);
    ASSERT_TRUE(queue.drainUntil([&] { return !problems.empty(); }));
    EXPECT_THAT(states, ElementsAre(false)) << "the switch moves back";
    EXPECT_THAT(problems, ElementsAre("no room"));
}

TEST_F(LoginStartServiceTest, AStuckDiskHoldsNobodyUp) {
    disk->setStuck(true);
    service->change(true);
    service->refresh();
    queue.drain();
    EXPECT_THAT(states, IsEmpty());
    EXPECT_FALSE(service->flush(10ms));
    disk->setStuck(false);
    ASSERT_TRUE(queue.drainUntil([&] { return !states.empty(); }));
    EXPECT_TRUE(service->isOn.value());
}

TEST_F(LoginStartServiceTest, OfSeveralRequestsTheLastOneIsTold) {
    disk->setStuck(true);
    service->refresh();
    service->change(true);
    disk->setStuck(false);
    ASSERT_TRUE(queue.drainUntil([&] { return !states.empty(); }));
    // The look that came before found it off; a switch that was just moved does not flicker.
    EXPECT_THAT(states, ElementsAre(true));
}

TEST_F(LoginStartServiceTest, AFlushSeesTheChangeOnTheDisk) {
    service->change(true);
    EXPECT_TRUE(service->flush(20s));
    EXPECT_TRUE(disk->isOn);
}

TEST_F(LoginStartServiceTest, WithNothingToDoAFlushWaitsForNothing) {
    EXPECT_TRUE(service->flush(0ms));
}

TEST_F(LoginStartServiceTest, AServiceThatHasGoneTellsNothing) {
    service->change(true);
    ASSERT_TRUE(service->flush(20s));
    service.reset();
    queue.drain();
    EXPECT_THAT(states, IsEmpty());
}

TEST_F(LoginStartServiceTest, AServiceThatGoesLeavesAStuckDiskBehind) {
    disk->setStuck(true);
    service->change(true);
    ASSERT_TRUE(disk->await([&] { return disk->visits == 1; }));
    service.reset();
    disk->setStuck(false);
    // The change is still made, by a thread that tells nobody.
    EXPECT_TRUE(disk->await([&] { return disk->isOn; }));
    queue.drain();
    EXPECT_THAT(states, IsEmpty());
}

} // namespace
} // namespace tandrel
