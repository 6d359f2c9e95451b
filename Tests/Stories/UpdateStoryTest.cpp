#include "Platform/DiskPackageStore.h"
#include "Platform/LogFolder.h"
#include "Services/UpdatePage.h"
#include "Services/UpdateSchedule.h"
#include "Services/UpdateService.h"
#include "Support/FailingHttpTransport.h"
#include "Support/FailingPackageInstaller.h"
#include "Support/FailingPackageStore.h"
#include "Support/FailingUserDefaults.h"
#include "Support/FakeUserDefaults.h"
#include "Support/FileText.h"
#include "Support/ManualClock.h"
#include "Support/ManualMainQueue.h"
#include "Support/NthCall.h"
#include "Support/SimulatedServer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using Kind = UpdateState::Kind;
using Lasting = NthCall::Lasting;

constexpr const char* feedURL = "https://www.quorvane.example/appcast.xml";
constexpr const char* packageURL = "https://cdn.example/tandrel.deb";
constexpr const char* package = "the bytes of the package";
const std::string signature(64, '\0');

/// One way in which one part of the outside goes wrong.
struct UpdateOutage {
    std::string name;
    std::optional<FailingHttpTransport::Failure> http = {};
    std::optional<FailingPackageStore::Failure> packages = {};
    std::optional<FailingPackageInstaller::Failure> installer = {};
    std::optional<FailingUserDefaults::Failure> settings = {};
    std::optional<SignatureVerdict> signature = {};
    bool spoilsFeed = false;

    friend std::ostream& operator<<(std::ostream& out, const UpdateOutage& outage) {
        return out << outage.name;
    }
};

/// Takes every package, after a while, and looks at what it is given.
class SimulatedInstaller : public PackageInstaller {
public:
    explicit SimulatedInstaller(Clock& clock)
        : clock_(clock) {}

    [[nodiscard]] Handle install(const std::string& path,
                                 std::function<void(bool isTaken)> done) override {
        contents.push_back(textOf(path));
        return clock_.after(100ms, [done = std::move(done)] { done(true); });
    }

    /// Of each package, in order.
    std::vector<std::string> contents;

private:
    Clock& clock_;
};

/// The updates of a program that starts twice, is asked to check daily, finds a version and
/// installs it, as they show in its window: whose buttons are pressed until it is done.
class UpdateStory {
public:
    UpdateStory(const UpdateOutage& outage, NthCall& nth)
        : server_(clock_, [](const HttpRequest& request) { return answer(request); })
        , transport_(server_, clock_, nth, outage.http)
        , disk_({folder(), std::string(32, 'k'),
                 outage.signature ? failingSignatureCheck(checkSignature, nth, *outage.signature)
                                  : SignatureCheck(checkSignature)},
                mainQueue_)
        , packages_(disk_, clock_, nth, outage.packages)
        , installer_(handedOver, clock_, nth, outage.installer)
        , settings_(settingsFile_, nth, outage.settings)
        , readAppcast_([spoilsFeed = outage.spoilsFeed,
                        &nth](std::string_view) -> Result<Appcast, std::string> {
            if (spoilsFeed && nth.fails()) {
                return std::string("it is no list");
            }
            return Appcast{newVersion()};
        }) {}
    ~UpdateStory() {
        service_.reset();
        disk_.flush(20s);
        std::filesystem::remove_all(folder());
    }
    UpdateStory(const UpdateStory&) = delete;
    UpdateStory& operator=(const UpdateStory&) = delete;

    /// Whether the version was handed over.
    bool tell() {
        start();
        // The answer may have been lost: then the next start asks again.
        for (int attempt = 0; attempt < 5 && !service_; ++attempt) {
            start();
        }
        const bool wentWell = service_ && installWhatIsThere();
        service_.reset();
        // The look at the calendar remains, if the user wants it.
        check(clock_.pendingCount() <= 1, "a timer is left");
        schedule_.reset();
        check(clock_.pendingCount() == 0, "a timer is left in the end");
        check(server_.pendingCount() == 0, "a request is left");
        check(disk_.flush(20s), "the disk's thread is stuck");
        mainQueue_.drain();
        check(!isThereAnyPart(), "a part of a download is left");
        check(std::ranges::all_of(handedOver.contents,
                                  [](const std::string& bytes) { return bytes == package; }),
              "something else than the package was handed over");
        return wentWell;
    }

    std::vector<std::string> violations;
    ManualClock clock_;
    SimulatedInstaller handedOver{clock_};

private:
    static std::string folder() { return homeDirectory() + "/update-story"; }

    static AppcastItem newVersion() {
        AppcastItem item;
        item.version = "1.2";
        item.packageURL = packageURL;
        item.packageLength = std::string(package).size();
        item.signatures = {std::string(86, 'A') + "=="};
        return item;
    }

    static HttpResponse answer(const HttpRequest& request) {
        return {200, request.url == feedURL ? "feed" : package};
    }

    static SignatureVerdict checkSignature(std::string_view /*publicKey*/, std::string_view message,
                                           std::string_view candidate) {
        const bool isGenuine = candidate == signature && message == signedPreamble("1.2") + package;
        return isGenuine ? SignatureVerdict::genuine : SignatureVerdict::wrong;
    }

    void check(bool holds, const std::string& what) {
        if (!holds) {
            violations.push_back(what);
        }
    }

    /// A start of the program, up to its first look.
    void start() {
        schedule_ = std::make_unique<UpdateSchedule>(
            clock_, [this] { return UpdatePreferences::TimePoint(10h * 24 + clock_.elapsed()); },
            UpdateSchedule::Actions{[this] { return UpdatePreferences(settings_); },
                                    [this] { agree(); }, [this] { checkNow(); }});
        schedule_->start();
        clock_.advance(61s);
        // After an answer there is a first look again.
        clock_.advance(61s);
    }

    void agree() {
        UpdatePreferences(settings_).setChecksDaily(true);
        schedule_->answerChanged();
    }

    void checkNow() {
        makeService();
        service_->check();
    }

    void makeService() {
        service_ = std::make_unique<UpdateService>(
            UpdateService::Configuration{feedURL, "1.1", "2.36"},
            UpdateService::Outside{transport_, packages_, installer_, clock_, readAppcast_});
    }

    [[nodiscard]] UpdatePage page() const {
        return updatePage(service_->state.value(), {"1.1", "2.36", feedURL});
    }

    bool installWhatIsThere() {
        constexpr int presses = 12;
        for (int count = 0; count < presses; ++count) {
            waitWhileBusy();
            const UpdatePage shown = page();
            if (!service_->state.value().isBusy()) {
                clock_.advance(2min);
                check(page() == shown, "it does not stand by what it has said");
            }
            check(!shown.headline.empty(), "an empty page");
            check(shown.isWarning == (service_->state.value().kind == Kind::failed),
                  "a failure without a warning");
            if (service_->state.value().kind == Kind::handedOver) {
                check(!handedOver.contents.empty(), "what was handed over never came");
                return true;
            }
            press(shown);
        }
        return false;
    }

    void press(const UpdatePage& shown) {
        const UpdateAction action = shown.primary          ? shown.primary->action
                                    : shown.others.empty() ? UpdateAction::close
                                                           : shown.others.front().action;
        switch (action) {
        case UpdateAction::install:
            service_->install();
            break;
        case UpdateAction::cancel:
            if (service_->state.value().kind == Kind::checking) {
                checkNow();
            } else {
                service_->cancel();
            }
            break;
        default:
            // The window is closed, and the user asks again.
            checkNow();
            break;
        }
    }

    void waitWhileBusy() {
        // Longer than the limit of a check.
        for (int step = 0; step < 700 && service_->state.value().isBusy(); ++step) {
            clock_.advance(100ms);
            check(disk_.flush(20s), "the disk's thread is stuck");
            mainQueue_.drain();
            const UpdateState& state = service_->state.value();
            check(state.received <= std::string(package).size(), "more is here than there is");
            check((state.kind == Kind::failed) == state.failure.has_value(),
                  "a failure and its reason do not go together");
        }
    }

    [[nodiscard]] static bool isThereAnyPart() {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(folder(), error)) {
            if (entry.path().extension() == ".part") {
                return true;
            }
        }
        return false;
    }

    ManualMainQueue mainQueue_;
    SimulatedServer server_;
    FailingHttpTransport transport_;
    DiskPackageStore disk_;
    FailingPackageStore packages_;
    FailingPackageInstaller installer_;
    FakeUserDefaults settingsFile_;
    FailingUserDefaults settings_;
    UpdateService::AppcastReader readAppcast_;
    std::unique_ptr<UpdateSchedule> schedule_;
    std::unique_ptr<UpdateService> service_;
};

std::vector<UpdateOutage> outages() {
    using Http = FailingHttpTransport::Failure;
    using Write = BadAnswer<WriteOutcome>;
    using Verdict = BadAnswer<PackageVerdict>;
    using Taken = BadAnswer<bool>;
    using Setting = FailingUserDefaults::Failure;
    const TransportError lost{TransportError::Kind::other, "The connection was lost."};
    const TransportError tooLarge{TransportError::Kind::tooLarge, "The answer is too large."};
    std::vector<UpdateOutage> all;
    const auto add = [&all](std::string name) -> UpdateOutage& {
        return all.emplace_back(UpdateOutage{std::move(name)});
    };
    add("NoConnection").http = Http::with(lost);
    add("TooLarge").http = Http::with(tooLarge);
    add("Status302").http = Http::with(HttpResponse{302, {}});
    add("Status404").http = Http::with(HttpResponse{404, {}});
    add("EmptyAnswer").http = Http::with(HttpResponse{200, {}});
    add("BreaksOff").http =
        Http{Http::Kind::answerAfterFirstPart, {FailingHttpTransport::Outcome(lost)}};
    add("Late").http = Http::late(50s);
    add("Hanging").http = Http::never();
    add("FeedSpoilt").spoilsFeed = true;
    add("DiskFull").packages = {Write{WriteOutcome::diskFull}, {}};
    add("WriteFails").packages = {Write{WriteOutcome::failed}, {}};
    add("WriteIsLate").packages = {Write::late(5s), {}};
    add("WriteHangs").packages = {Write::never(), {}};
    add("WrongLength").packages = {{}, Verdict{PackageVerdict::wrongLength}};
    add("WrongSignature").packages = {{}, Verdict{PackageVerdict::wrongSignature}};
    add("Unverifiable").packages = {{}, Verdict{PackageVerdict::unverifiable}};
    add("Unreadable").packages = {{}, Verdict{PackageVerdict::unreadable}};
    add("CheckIsLate").packages = {{}, Verdict::late(5s)};
    add("CheckHangs").packages = {{}, Verdict::never()};
    add("CryptographySaysWrong").signature = SignatureVerdict::wrong;
    add("NoCryptography").signature = SignatureVerdict::unavailable;
    add("NothingInstalls").installer = Taken{false};
    add("InstallerIsLate").installer = Taken::late(20s);
    add("InstallerHangs").installer = Taken::never();
    add("SettingLost").settings = Setting{Setting::Call::data, std::nullopt};
    add("SettingGarbage").settings = Setting{Setting::Call::data, "?"};
    add("SettingNotStored").settings = Setting{Setting::Call::setData, {}};
    return all;
}

class UpdateStoryTest : public testing::TestWithParam<std::tuple<UpdateOutage, Lasting>> {};

TEST(UpdateStoryTest, IsToldToItsEndWhenNothingFails) {
    NthCall none;
    UpdateStory story({"None"}, none);
    EXPECT_TRUE(story.tell());
    EXPECT_THAT(story.violations, IsEmpty());
}

/// One more call may go wrong each time, until none does any more.
TEST_P(UpdateStoryTest, HandsOverNothingButThePackageWhicheverCallFails) {
    const auto& [outage, lasting] = GetParam();
    constexpr std::size_t more = 100;
    for (std::size_t number = 1; number < more; ++number) {
        SCOPED_TRACE("call " + std::to_string(number));
        NthCall nth(number, lasting);
        UpdateStory story(outage, nth);
        const bool isHandedOver = story.tell();
        EXPECT_THAT(story.violations, IsEmpty());
        if (!nth.hasFailed()) {
            EXPECT_GT(number, 1U) << "no call ever fails";
            EXPECT_TRUE(isHandedOver);
            return;
        }
        EXPECT_TRUE(isHandedOver || lasting == Lasting::fromThenOn);
        if (HasFailure()) {
            return;
        }
    }
    ADD_FAILURE() << "more calls than any story makes";
}

std::string nameOf(const testing::TestParamInfo<std::tuple<UpdateOutage, Lasting>>& info) {
    return std::get<UpdateOutage>(info.param).name +
           (std::get<Lasting>(info.param) == Lasting::once ? "Once" : "FromThenOn");
}

INSTANTIATE_TEST_SUITE_P(Outside, UpdateStoryTest,
                         testing::Combine(testing::ValuesIn(outages()),
                                          testing::Values(Lasting::once, Lasting::fromThenOn)),
                         nameOf);

} // namespace
} // namespace tandrel::test
