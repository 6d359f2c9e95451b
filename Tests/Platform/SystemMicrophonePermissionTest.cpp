#include "Platform/Linux/SystemMicrophonePermission.h"

#include "Support/ManualClock.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class SystemMicrophonePermissionTest : public testing::Test {
protected:
    [[nodiscard]] SystemMicrophonePermission& permission() {
        if (!permission_) {
            permission_.emplace(queue, clock, privacySwitch);
        }
        return *permission_;
    }
    [[nodiscard]] Handle ask() {
        return permission().authorizationStatus(
            [this](AuthorizationStatus status) { answers.push_back(status); });
    }
    [[nodiscard]] bool answered() {
        return queue.drainUntil([this] { return !answers.empty(); });
    }

    test::ManualClock clock;
    test::ManualMainQueue queue;
    SystemMicrophonePermission::PrivacySwitch privacySwitch = [] { return false; };
    std::vector<AuthorizationStatus> answers;
    std::optional<SystemMicrophonePermission> permission_;
};

TEST_F(SystemMicrophonePermissionTest, IsAuthorizedByDefault) {
    const Handle query = ask();
    EXPECT_THAT(answers, IsEmpty()) << "never from inside the call";
    ASSERT_TRUE(answered());
    EXPECT_THAT(answers, ElementsAre(AuthorizationStatus::authorized));
}

TEST_F(SystemMicrophonePermissionTest, IsDeniedWhereTheDesktopSwitchesMicrophonesOff) {
    privacySwitch = [] { return true; };
    const Handle query = ask();
    ASSERT_TRUE(answered());
    EXPECT_THAT(answers, ElementsAre(AuthorizationStatus::denied));
}

TEST_F(SystemMicrophonePermissionTest, LooksAtTheSwitchAnewEachTime) {
    std::atomic<bool> isOff = true;
    privacySwitch = [&] { return isOff.load(); };
    const Handle first = ask();
    ASSERT_TRUE(answered());
    isOff = false;
    const Handle second = ask();
    ASSERT_TRUE(queue.drainUntil([this] { return answers.size() == 2; }));
    EXPECT_THAT(answers, ElementsAre(AuthorizationStatus::denied, AuthorizationStatus::authorized));
}

TEST_F(SystemMicrophonePermissionTest, LooksOnAThreadOfItsOwnAndAnswersOnTheMainThread) {
    std::promise<std::thread::id> looked;
    privacySwitch = [&] {
        looked.set_value(std::this_thread::get_id());
        return false;
    };
    std::thread::id answeredOn;
    const Handle query = permission().authorizationStatus([&](AuthorizationStatus status) {
        answeredOn = std::this_thread::get_id();
        answers.push_back(status);
    });
    ASSERT_TRUE(answered());
    EXPECT_NE(looked.get_future().get(), std::this_thread::get_id());
    EXPECT_EQ(answeredOn, std::this_thread::get_id());
}

TEST_F(SystemMicrophonePermissionTest, ASwitchThatDoesNotAnswerCountsAsNotUsedAndIsLeftBehind) {
    auto release = std::make_shared<std::promise<void>>();
    auto begun = std::make_shared<std::promise<void>>();
    auto ended = std::make_shared<std::promise<void>>();
    privacySwitch = [gate = release->get_future().share(), begun, ended] {
        begun->set_value();
        gate.wait();
        ended->set_value();
        return true;
    };
    const Handle query = ask();
    begun->get_future().wait();
    clock.advance(SystemMicrophonePermission::limit - 1ms);
    EXPECT_THAT(answers, IsEmpty());
    clock.advance(1ms);
    EXPECT_THAT(answers, ElementsAre(AuthorizationStatus::authorized));
    permission_.reset();
    release->set_value();
    ended->get_future().wait();
    queue.drain();
    EXPECT_THAT(answers, ElementsAre(AuthorizationStatus::authorized)) << "once only";
}

TEST_F(SystemMicrophonePermissionTest, AnAnswerEndsTheWait) {
    const Handle query = ask();
    ASSERT_TRUE(answered());
    clock.advance(1h);
    EXPECT_EQ(answers.size(), 1U);
}

TEST_F(SystemMicrophonePermissionTest, IsSilentOnceTheQueryIsGone) {
    ask().reset();
    const Handle second = permission().requestAccess(
        [this](bool /*granted*/) { answers.push_back(AuthorizationStatus::notDetermined); });
    ASSERT_TRUE(answered()); // in order, so the first would have come by now
    clock.advance(1h);
    EXPECT_THAT(answers, ElementsAre(AuthorizationStatus::notDetermined));
}

TEST_F(SystemMicrophonePermissionTest, ACompletionMayDestroyItsHandle) {
    Handle query;
    query = permission().authorizationStatus([&](AuthorizationStatus status) {
        query.reset();
        answers.push_back(status);
    });
    ASSERT_TRUE(answered());
    Handle late;
    late = permission().authorizationStatus([&](AuthorizationStatus status) {
        late.reset();
        answers.push_back(status);
    });
    clock.advance(SystemMicrophonePermission::limit);
    EXPECT_EQ(answers.size(), 2U);
}

TEST_F(SystemMicrophonePermissionTest, WhoeverAsksForAccessGetsWhatTheSwitchSays) {
    for (const bool isOff : {true, false}) {
        permission_.reset();
        privacySwitch = [isOff] { return isOff; };
        std::optional<bool> granted;
        const Handle query = permission().requestAccess([&](bool answer) { granted = answer; });
        ASSERT_TRUE(queue.drainUntil([&] { return granted.has_value(); }));
        EXPECT_EQ(granted, !isOff);
    }
}

} // namespace
} // namespace tandrel
