#include "EndToEnd/HeadlessStory.h"
#include "Support/ProcessFootprint.h"
#include "Support/WaitUntil.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace tandrel::test {
namespace {

using testing::HasSubstr;

/// A moment in a run, and how to bring a run there.
enum class Moment {
    start,
    signingIn,
    signedIn,
    hangingKeyring,
    validating,
    polling,
    openingTheSocket,
    awaitingThePong,
    streaming,
    streamingToAServerThatStoppedReading,
    backingOff,
};

const Moment allMoments[] = {Moment::start,
                             Moment::signingIn,
                             Moment::signedIn,
                             Moment::hangingKeyring,
                             Moment::validating,
                             Moment::polling,
                             Moment::openingTheSocket,
                             Moment::awaitingThePong,
                             Moment::streaming,
                             Moment::streamingToAServerThatStoppedReading,
                             Moment::backingOff};

std::string nameOf(Moment moment) {
    switch (moment) {
    case Moment::start:
        return "AtTheStart";
    case Moment::signingIn:
        return "WhileSigningIn";
    case Moment::signedIn:
        return "JustSignedIn";
    case Moment::hangingKeyring:
        return "WhileTheKeyringHangs";
    case Moment::validating:
        return "WhileValidating";
    case Moment::polling:
        return "WhilePolling";
    case Moment::openingTheSocket:
        return "WhileTheSocketOpens";
    case Moment::awaitingThePong:
        return "BeforeThePong";
    case Moment::streaming:
        return "WhileStreaming";
    case Moment::streamingToAServerThatStoppedReading:
        return "WhileTheServerDoesNotRead";
    case Moment::backingOff:
        return "DuringTheBackOff";
    }
    return {};
}

class Interruption : public HeadlessStory, public testing::WithParamInterface<Moment> {
protected:
    /// Whether somebody was signed in before the run that is interrupted.
    [[nodiscard]] static bool wasSignedIn() {
        return GetParam() == Moment::hangingKeyring || GetParam() == Moment::validating;
    }
    [[nodiscard]] static bool isBeforeAnySignIn() {
        return GetParam() == Moment::start || GetParam() == Moment::signingIn;
    }
    /// Whether the keyring and the disk are only just being given the sign-in.
    [[nodiscard]] static bool isBeingKept() { return GetParam() == Moment::signedIn; }
    [[nodiscard]] static bool isStreaming() {
        return GetParam() == Moment::streaming ||
               GetParam() == Moment::streamingToAServerThatStoppedReading;
    }

    static void setFault(const std::string& endpoint, const std::string& json) {
        backend().send("PUT", "/dev/faults/" + endpoint, json);
    }
    [[nodiscard]] static bool awaitRequest(const std::string& endpoint, std::int64_t before) {
        return waitUntil([&] { return backend().requestCount(endpoint) > before; });
    }

    [[nodiscard]] bool isConnectedToTheBus() {
        const auto footprint = ProcessFootprint::of(tool().process().pid());
        return std::find(footprint.descriptors.begin(), footprint.descriptors.end(), "socket") !=
               footprint.descriptors.end();
    }

    /// Starts a run and returns when it has come to the moment.
    void bringThere() {
        switch (GetParam()) {
        case Moment::start:
            // It would soon end by itself, once it knew that there is no sign-in.
            keyring().freeze();
            start();
            // The log's folder is the first that it makes, before it takes the signals in hand.
            ASSERT_TRUE(waitUntil([this] { return std::filesystem::exists(logFolder()); }));
            break;
        case Moment::signingIn:
            bringToSilent("login", true);
            break;
        case Moment::signedIn:
            startAndSignIn();
            ASSERT_TRUE(tool().waitFor("Signed in as"));
            break;
        case Moment::hangingKeyring:
            ASSERT_NO_FATAL_FAILURE(signInOnce());
            keyring().freeze();
            start();
            ASSERT_TRUE(waitUntil([this] { return isConnectedToTheBus(); }));
            break;
        case Moment::validating:
            ASSERT_NO_FATAL_FAILURE(signInOnce());
            bringToSilent("me", false);
            break;
        case Moment::polling:
            bringToSilent("pending", true);
            break;
        case Moment::openingTheSocket:
            startSession();
            bringToSilent("stream", true);
            break;
        case Moment::awaitingThePong:
            setFault("stream", R"({"then": "pause"})");
            startSession();
            startAndSignIn();
            ASSERT_TRUE(waitUntil([this] { return backend().connectionCount(session()) == 1; }));
            break;
        case Moment::streaming:
            ASSERT_NO_FATAL_FAILURE(startStreaming());
            break;
        case Moment::streamingToAServerThatStoppedReading:
            ASSERT_NO_FATAL_FAILURE(startStreaming());
            backend().send("POST", "/dev/sessions/" + session() + "/stream",
                           R"({"action": "pause"})");
            break;
        case Moment::backingOff:
            setFault("stream", R"({"status": 503})");
            startSession();
            startAndSignIn();
            ASSERT_TRUE(waitUntil([this] {
                return tool().debugLog().find("[WS] disconnection") != std::string::npos;
            }));
            break;
        }
        if (!isBeforeAnySignIn() && !wasSignedIn() && !isBeingKept()) {
            ASSERT_TRUE(waitUntil([this] { return isSignInKept(); })) << "it is not kept at once";
        }
        ASSERT_TRUE(tool().process().isRunning()) << "the moment has passed";
    }

    /// Takes away all that keeps the run where it is.
    void clearTheWay() {
        backend().send("DELETE", "/dev/faults", "{}");
        keyring().restart();
    }

    /// The settings file is replaced by one beside it. Who is killed between the system's giving
    /// that one its name and taking it away again, which is seldom, leaves it: whole, and nobody
    /// reads it.
    void removeReplacement() const {
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(settingsFolder(), missing)) {
            const std::string name = entry.path().filename();
            if (name.starts_with("Tandrel.conf.") && !name.ends_with(".lock")) {
                std::filesystem::remove(entry);
            }
        }
    }

    /// Nothing half written, nothing left behind, nothing twice.
    void expectTidyStores() {
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(settingsFolder(), missing)) {
            EXPECT_EQ(entry.path().filename(), "Tandrel.conf");
        }
        for (const char* account : accounts) {
            EXPECT_LE(keyring().count(keyringService, account), 1U) << account;
        }
        const std::string log = tool().debugLog();
        EXPECT_TRUE(log.empty() || log.ends_with('\n'));
    }

private:
    void bringToSilent(const std::string& endpoint, bool signsIn) {
        setFault(endpoint, R"({"answer": "silence"})");
        const auto before = backend().requestCount(endpoint);
        signsIn ? startAndSignIn() : start();
        ASSERT_TRUE(awaitRequest(endpoint, before));
    }
};

std::string momentName(const testing::TestParamInfo<Moment>& info) {
    return nameOf(info.param);
}

INSTANTIATE_TEST_SUITE_P(Moments, Interruption, testing::ValuesIn(allMoments), momentName);

TEST_P(Interruption, KilledItStartsAgainAsIfNothingHadBeen) {
    ASSERT_NO_FATAL_FAILURE(bringThere());
    tool().process().kill();
    removeReplacement();
    clearTheWay();

    start();
    if (isBeforeAnySignIn()) {
        EXPECT_EQ(tool().waitForExit(), signInFailed);
        EXPECT_THAT(tool().output(), HasSubstr("Nobody is signed in"));
    } else if (isBeingKept()) {
        // The keyring may have had the time to take the token, and the disk the profile, or not.
        EXPECT_TRUE(tool().waitFor("Signed in as") || tool().waitFor("Nobody is signed in"));
    } else {
        EXPECT_TRUE(tool().waitFor("Signed in as demo@quorvane.example"));
    }
    expectWholeRun();
    expectTidyStores();
}

TEST_P(Interruption, TerminatedItEndsInOrderWithinTwoSeconds) {
    ASSERT_NO_FATAL_FAILURE(bringThere());
    const auto code = endBySignal(SIGTERM);
    ASSERT_TRUE(code) << "it still runs after 2 s";
    // At the very start the signal may come before the program takes it in hand.
    if (GetParam() == Moment::start) {
        EXPECT_THAT(*code, testing::AnyOf(interrupted, 128 + SIGTERM));
    } else {
        EXPECT_EQ(*code, isStreaming() ? success : interrupted);
    }
    if (GetParam() == Moment::streaming) {
        EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    }
    clearTheWay();

    start();
    if (isBeforeAnySignIn()) {
        EXPECT_EQ(tool().waitForExit(), signInFailed);
    } else {
        EXPECT_TRUE(tool().waitFor("Signed in as demo@quorvane.example"));
        EXPECT_TRUE(endBySignal(SIGTERM));
    }
    expectTidyStores();
}

} // namespace
} // namespace tandrel::test
