#include "Services/LoginStartService.h"
#include "Support/FailingLoginStart.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using Call = FailingLoginStart::Failure::Call;
using Lasting = NthCall::Lasting;

/// The autostart entry itself.
class Entry {
public:
    void set(bool isOn) {
        const std::lock_guard lock(mutex_);
        isOn_ = isOn;
    }
    [[nodiscard]] bool isOn() const {
        const std::lock_guard lock(mutex_);
        return isOn_;
    }

private:
    mutable std::mutex mutex_;
    bool isOn_ = false;
};

class EntryLoginStart : public LoginStart {
public:
    explicit EntryLoginStart(std::shared_ptr<Entry> entry)
        : entry_(std::move(entry)) {}

    [[nodiscard]] LoginStartAnswer look() const override { return {entry_->isOn(), {}}; }
    LoginStartAnswer change(bool toOn) override {
        entry_->set(toOn);
        return look();
    }

private:
    std::shared_ptr<Entry> entry_;
};

struct LoginStartOutage {
    std::string name;
    Call call = Call::look;
    /// Missing: it hangs.
    std::optional<LoginStartAnswer> answer;
};

/// A menu is opened, the entry switched on, the menu opened again, the entry switched off.
class LoginStartStory {
public:
    LoginStartStory(const LoginStartOutage& outage, std::shared_ptr<NthCall> nth)
        : nth_(std::move(nth))
        , service_(std::make_unique<LoginStartService>(
              std::make_unique<FailingLoginStart>(
                  std::make_unique<EntryLoginStart>(entry_), nth_,
                  FailingLoginStart::Failure{outage.call, outage.answer, gate_}),
              queue_))
        , seen_(service_->isOn.observe([this](bool) { ++answers_; }))
        , problems_(service_->problem.observe([this](const std::string& problem) {
            check(!problem.empty(), "a problem without words");
            ++problemCount_;
        })) {}

    /// Whether the user's every wish came true.
    bool tell() {
        openMenu();
        const bool isSwitchedOn = change(true);
        openMenu();
        const bool isSwitchedOff = change(false);
        end();
        return isSwitchedOn && isSwitchedOff;
    }

    std::vector<std::string> violations;

private:
    void check(bool holds, const std::string& what) {
        if (!holds) {
            violations.push_back(what);
        }
    }

    /// Whether there was an answer; a disk that hangs gives none.
    bool await(std::size_t before) {
        check(queue_.drainUntil([&] { return answers_ > before || gate_->isHolding(); }),
              "neither an answer nor a disk that hangs");
        return answers_ > before;
    }

    /// The service goes while an answer is on its way, which comes to nobody.
    void end() {
        gate_->open();
        service_->refresh();
        check(service_->flush(20s), "the disk's thread is stuck");
        const std::size_t before = answers_;
        service_.reset();
        queue_.drain();
        check(answers_ == before, "an answer comes to somebody who has gone");
    }

    void openMenu() {
        const std::size_t before = answers_;
        service_->refresh();
        await(before);
    }

    bool change(bool toOn) {
        constexpr int attempts = 2;
        for (int attempt = 0; attempt < attempts; ++attempt) {
            const std::size_t before = answers_;
            const std::size_t problemsBefore = problemCount_;
            service_->change(toOn);
            if (!await(before)) {
                // Whoever leaves now is not held up.
                check(!service_->flush(1ms), "a disk that hangs has done all");
                gate_->open();
                await(before);
            }
            check(service_->isOn.value() == entry_->isOn(), "the switch does not show how it is");
            check(entry_->isOn() == toOn || problemCount_ > problemsBefore,
                  "a wish that did not come true is passed over");
            check(nth_->hasFailed() || problemCount_ == 0, "there is no problem");
            if (entry_->isOn() == toOn) {
                return true;
            }
        }
        return false;
    }

    std::shared_ptr<Entry> entry_ = std::make_shared<Entry>();
    std::shared_ptr<Gate> gate_ = std::make_shared<Gate>();
    std::shared_ptr<NthCall> nth_;
    ManualMainQueue queue_;
    std::size_t answers_ = 0;
    std::size_t problemCount_ = 0;
    std::unique_ptr<LoginStartService> service_;
    Subscription seen_;
    Subscription problems_;
};

class LoginStartStoryTest : public testing::TestWithParam<std::tuple<LoginStartOutage, Lasting>> {};

TEST_P(LoginStartStoryTest, TheSwitchShowsHowThingsStandWhicheverCallFails) {
    const auto& [outage, lasting] = GetParam();
    for (std::size_t number = 1; number < 20; ++number) {
        SCOPED_TRACE("call " + std::to_string(number));
        const auto nth = std::make_shared<NthCall>(number, lasting);
        LoginStartStory story(outage, nth);
        const bool cameTrue = story.tell();
        EXPECT_THAT(story.violations, IsEmpty());
        EXPECT_TRUE(cameTrue || (nth->hasFailed() && lasting == Lasting::fromThenOn));
        if (!nth->hasFailed()) {
            EXPECT_GT(number, 1U) << "no call ever fails";
            return;
        }
        if (HasFailure()) {
            return;
        }
    }
    ADD_FAILURE() << "more calls than the story makes";
}

std::string nameOf(const testing::TestParamInfo<std::tuple<LoginStartOutage, Lasting>>& info) {
    return std::get<LoginStartOutage>(info.param).name +
           (std::get<Lasting>(info.param) == Lasting::once ? "Once" : "FromThenOn");
}

INSTANTIATE_TEST_SUITE_P(
    Outside, LoginStartStoryTest,
    testing::Combine(
        testing::Values(LoginStartOutage{"LookFindsNothing", Call::look, LoginStartAnswer{}},
                        LoginStartOutage{"LookHangs", Call::look, std::nullopt},
                        LoginStartOutage{"ChangeRefused", Call::change,
                                         LoginStartAnswer{false, "The folder is read-only."}},
                        LoginStartOutage{"ChangeHangs", Call::change, std::nullopt}),
        testing::Values(Lasting::once, Lasting::fromThenOn)),
    nameOf);

} // namespace
} // namespace tandrel::test
