// The whole program, used again and again: what it holds afterwards is what it held before, and it
// still answers. How often is TANDREL_SOAK_COUNT's to say.

#include "EndToEnd/AppStory.h"
#include "Support/PrivateSoundServer.h"
#include "Support/ProcessFootprint.h"
#include "Support/WaitUntil.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <sys/resource.h>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

int rounds() {
    const char* const value = std::getenv("TANDREL_SOAK_COUNT");
    return value == nullptr ? 20 : std::max(1, std::atoi(value));
}

class AppEndurance : public AppStory {
protected:
    static void SetUpTestSuite() {
        // The backend keeps two files open for each session.
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
        AppStory::SetUpTestSuite();
        sound = std::make_unique<PrivateSoundServer>(PrivateSoundServer::Kind::pulseAudio);
        sound->addMicrophone("studio", "Studio Microphone", 48000, 1);
    }
    static void TearDownTestSuite() {
        sound.reset();
        AppStory::TearDownTestSuite();
    }
    void SetUp() override {
        AppStory::SetUp();
        environment["PULSE_SERVER"] = sound->address();
        desktop().startKeyring();
    }

    /// What the program holds once nothing is under way: threads that stand by for look-ups and the
    /// like go when they have had nothing to do for half a minute. Whether it keeps its connection
    /// for the polls depends on how long ago the last one was.
    static ProcessFootprint atRest(pid_t process) {
        ProcessFootprint footprint;
        EXPECT_TRUE(waitUntil(
            [&] {
                footprint = ProcessFootprint::of(process);
                return std::ranges::count(footprint.threads, "Thread (pooled)") == 0;
            },
            seconds(60)));
        return footprint.without(ProcessFootprint::tcpSocket);
    }

    /// Does `deed` a tenth as often to fill all caches, then `times` times; the program must hold
    /// the same descriptors and threads as before, and at most `slack` more bytes for each.
    void repeat(int times, std::size_t slack, const std::function<void()>& deed) {
        const auto doTimes = [&deed](int count) {
            for (int time = 0; time < count && !HasFatalFailure(); ++time) {
                deed();
            }
        };
        doTimes(std::max(5, times / 10));
        const pid_t process = app().process().pid();
        const auto before = atRest(process);
        const auto start = std::chrono::steady_clock::now();
        doTimes(times);
        const auto took = std::chrono::steady_clock::now() - start;
        const auto after = atRest(process);
        EXPECT_EQ(after.differenceFrom(before), "");
        std::printf("%d times in %.0f s: from %zu to %zu kB of its own, %zu descriptors, %zu "
                    "threads\n",
                    times, std::chrono::duration<double>(took).count(),
                    before.anonymousBytes / 1024, after.anonymousBytes / 1024,
                    after.descriptors.size(), after.threads.size());
        EXPECT_LT(after.anonymousBytes,
                  before.anonymousBytes + steps + slack * static_cast<std::size_t>(times));
        EXPECT_TRUE(answersFor(milliseconds(500)));
        std::fflush(stdout);
    }

    void signInByHand() {
        interface().setText(role::field, "Email", DevBackend::email);
        interface().setText(role::password, "Password", DevBackend::password);
        interface().press(role::button, "Sign In");
        interface().await(role::button, "Sign Out");
    }

    /// By which a heap grows however little it needs.
    static constexpr std::size_t steps = std::size_t{1024} * 1024;

    static inline std::unique_ptr<PrivateSoundServer> sound;
};

TEST_F(AppEndurance, SigningInAndOutLeavesNothing) {
    startWithPopover();
    std::int64_t signIns = 0;
    repeat(rounds(), 1024, [&] {
        signInByHand();
        ++signIns;
        interface().press(role::button, "Sign Out");
        interface().await(role::button, "Sign In");
    });
    EXPECT_EQ(backend().requestCount("login"), signIns);
}

TEST_F(AppEndurance, StartingAndStoppingAStreamLeavesNothing) {
    startWithPopover();
    signInByHand();
    repeat(rounds(), 1024, [&] {
        startSession();
        interface().press(role::button, "Start Streaming");
        ASSERT_TRUE(waitUntil([&] { return backend().messageCount(session()) > 3; }));
        interface().press(role::button, "Stop");
        ASSERT_TRUE(waitUntil([&] { return backend().lastEnd(session()) == "client 1000"; }));
        EXPECT_EQ(backend().connectionCount(session()), 1);
    });
}

TEST_F(AppEndurance, CommandsLeaveNothing) {
    startWithPopover();
    signInByHand();
    int commands = 0;
    repeat(rounds() / 10, 4096, [&] {
        flood(1);
        commands += commandsOfADelivery;
        ASSERT_TRUE(waitUntil([&] { return commandCount() == commands; }));
    });
    interface().await(role::button, "Sign Out");
}

TEST_F(AppEndurance, OpeningAndClosingThePopoverLeavesNothing) {
    startWithPopover();
    signInByHand();
    repeat(rounds(), 512, [&] {
        clickTrayIcon();
        ASSERT_TRUE(interface().awaitGone(role::label, "Quorvane Tandrel"));
        pause();
        clickTrayIcon();
        interface().await(role::label, "Quorvane Tandrel");
        pause();
    });
}

} // namespace
} // namespace tandrel::test
