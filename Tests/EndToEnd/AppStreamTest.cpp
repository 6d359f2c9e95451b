#include "EndToEnd/AppStory.h"
#include "Support/BusRecording.h"
#include "Support/FileText.h"
#include "Support/PrivateSoundServer.h"
#include "Support/SignalAnalysis.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"
#include "Support/WebSocket/ProxyServer.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <numbers>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ContainsRegex;
using testing::HasSubstr;
using State = AccessibleElement::State;

/// Streaming, with a sound server of its own whose microphone hears a tone of 1 kHz.
class AppStream : public AppStory {
protected:
    static void SetUpTestSuite() {
        AppStory::SetUpTestSuite();
        startSound();
    }
    static void TearDownTestSuite() {
        feeder.reset();
        sound.reset();
        AppStory::TearDownTestSuite();
    }
    void SetUp() override {
        AppStory::SetUp();
        environment["PULSE_SERVER"] = sound->address();
    }

    static void startSound() {
        feeder.reset();
        sound = std::make_unique<PrivateSoundServer>(PrivateSoundServer::Kind::pulseAudio);
        microphone = sound->addMicrophone("studio", "Studio Microphone", 48000, 1);
        feeder = std::make_unique<VirtualMicrophoneFeeder>(*sound, microphone, tone());
    }

    /// Longer than all stories together.
    static const std::vector<float>& tone() {
        static const std::vector<float> samples = [] {
            constexpr std::size_t period = 48;
            std::vector<float> all(std::size_t{48000} * 240);
            for (std::size_t index = 0; index < period; ++index) {
                const double phase = 2 * std::numbers::pi * static_cast<double>(index) / period;
                all[index] = static_cast<float>(0.25 * std::sin(phase));
            }
            for (std::size_t index = period; index < all.size(); ++index) {
                all[index] = all[index - period];
            }
            return all;
        }();
        return samples;
    }

    /// Signs in with a session that is found at the first look.
    void signInToSession() {
        startSession();
        startWithPopover();
        signIn();
        interface().awaitEnabled(role::button, "Start Streaming");
    }
    void awaitAudio(std::int64_t more = 10) {
        const auto before = backend().messageCount(session());
        ASSERT_TRUE(waitUntil([&] { return backend().messageCount(session()) > before + more; }))
            << app().debugLog();
    }
    void startStreaming() {
        signInToSession();
        click(role::button, "Start Streaming");
        interface().await(role::button, "Stop");
        awaitAudio();
    }
    [[nodiscard]] bool ended(const std::string& how) {
        return waitUntil([&] { return backend().lastEnd(session()) == how; });
    }
    /// Whether the program has a recording open.
    [[nodiscard]] static bool isListening() { return !sound->recordingIndexes().empty(); }
    /// Popover and tooltip both tell of `notice` within 2 s from now.
    void expectTold(const std::string& notice, const std::string& endOfToolTip = {}) {
        const auto start = std::chrono::steady_clock::now();
        const std::string expected = "Quorvane Tandrel — Streaming — " + notice + endOfToolTip;
        const auto isTold = [&] {
            return interface().shows(role::notification, notice) && toolTip() == expected;
        };
        EXPECT_TRUE(waitUntil(isTold, seconds(2))) << toolTip() << '\n' << interface().describe();
        const auto took = std::chrono::steady_clock::now() - start;
        std::printf("\"%s\" told after %.0f ms\n", notice.c_str(),
                    std::chrono::duration<double, std::milli>(took).count());
    }
    /// Waits until neither says so any more, and audio arrives again.
    void expectAllIsWellAgain(const std::string& notice) {
        EXPECT_TRUE(interface().awaitGone(role::notification, notice)) << interface().describe();
        EXPECT_TRUE(waitUntil([&] {
            return toolTip() == "Quorvane Tandrel — Streaming — microphone on";
        })) << toolTip();
        awaitAudio(30);
    }
    [[nodiscard]] static bool hasStoppedListening() {
        return waitUntil([] { return !isListening(); });
    }

    static inline std::unique_ptr<PrivateSoundServer> sound;
    static inline std::unique_ptr<VirtualMicrophoneFeeder> feeder;
    static inline VirtualMicrophone microphone;
};

TEST_F(AppStream, AFoundSessionIsStreamedUntilTheStopButton) {
    signInToSession();
    EXPECT_TRUE(interface().showsName("Ready"));
    EXPECT_FALSE(isListening());
    click(role::button, "Start Streaming");
    interface().await(role::button, "Stop");
    awaitAudio(60);
    EXPECT_THAT(interface().nameStartingWith("Streaming"), HasSubstr("Streaming 00:0"));
    EXPECT_FALSE(interface().shows(role::button, "Start Streaming"));
    EXPECT_FALSE(interface().shows(role::button, "Open in Browser"));
    click(role::button, "Stop");
    interface().awaitName("Done");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_TRUE(hasStoppedListening());
    // What the microphone heard is what came.
    const auto samples = backend().received(session());
    ASSERT_GT(samples.size(), 16000U);
    // The first 100 ms may hold the filter's start.
    const std::vector<double> heard(samples.begin() + 1600, samples.end());
    EXPECT_NEAR(measureFrequency(heard, 1000.0, 16000.0), 1000.0, 0.5);
    // The search for the next session begins 2 s later.
    interface().awaitName("Waiting");
}

TEST_F(AppStream, CommandsByUrlOpenThePopoverStartAndStop) {
    startSession();
    startWithPopover();
    signIn();
    interface().awaitName("Ready");
    input().press({"Escape"});
    ASSERT_TRUE(interface().awaitGone(role::button, "Sign Out"));
    EXPECT_EQ(startAgain({"quorvane-tandrel://start"}), 0);
    interface().await(role::button, "Stop");
    awaitAudio();
    EXPECT_TRUE(
        app().hasLogged("[AppDelegate] Received URL: quorvane-tandrel://start command=start"));
    EXPECT_TRUE(app().hasLogged("[AppDelegate] Opening popover via status bar button click"));
    EXPECT_TRUE(app().hasLogged("[AutoStart] Conditions met — starting streaming"));
    EXPECT_EQ(startAgain({"quorvane-tandrel://stop"}), 0);
    interface().awaitName("Done");
    EXPECT_TRUE(app().hasLogged("[PopoverView] Stop requested via URL scheme"));
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_TRUE(hasStoppedListening());
}

TEST_F(AppStream, AStartCommandWaitsForTheSession) {
    startWithPopover();
    signIn();
    EXPECT_EQ(startAgain({"--start"}), 0);
    interface().awaitName("Waiting");
    startSession();
    interface().await(role::button, "Stop");
    awaitAudio();
}

TEST_F(AppStream, ASessionThatTheBackendEndsEndsTheStream) {
    const std::vector<std::pair<int, std::string>> ends{
        {4001, "Session token is invalid. Please start a new session."},
        {4002, "Session is no longer pending."}};
    for (const auto& [code, message] : ends) {
        startStreaming();
        backend().send("POST", "/dev/sessions/" + session() + "/stream",
                       R"({"action": "close", "code": )" + std::to_string(code) + "}");
        EXPECT_TRUE(app().waitForLog("[PopoverView] WebSocket error during streaming: " + message +
                                     " — resetting to poll"));
        interface().awaitName("Done");
        EXPECT_TRUE(hasStoppedListening());
        interface().awaitName("Waiting");
        endApp();
    }
}

TEST_F(AppStream, ALostConnectionIsOpenedAgainAndTheStreamGoesOn) {
    startStreaming();
    backend().send("POST", "/dev/sessions/" + session() + "/stream", R"({"action": "reset"})");
    ASSERT_TRUE(waitUntil([&] { return backend().connectionCount(session()) == 2; }));
    awaitAudio();
    EXPECT_TRUE(interface().shows(role::button, "Stop"));
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
}

TEST_F(AppStream, ALostConnectionThatTakesLongerIsTold) {
    const std::string notice = "Connection lost. Reconnecting…";
    startStreaming();
    EXPECT_FALSE(interface().showsName(notice));
    backend().send("PUT", "/dev/faults/stream", R"({"status": 503})");
    backend().send("POST", "/dev/sessions/" + session() + "/stream", R"({"action": "reset"})");
    expectTold(notice, " — microphone on");
    backend().send("DELETE", "/dev/faults", "{}");
    expectAllIsWellAgain(notice);
}

TEST_F(AppStream, AConnectionThatEndsDuringASleepIsOpenedAgainOnceAfterIt) {
    startStreaming();
    app().process().signal(SIGSTOP);
    backend().send("POST", "/dev/sessions/" + session() + "/stream", R"({"action": "reset"})");
    ASSERT_TRUE(waitUntil([&] { return !backend().lastEnd(session()).empty(); }));
    EXPECT_EQ(backend().connectionCount(session()), 1);
    app().process().signal(SIGCONT);
    ASSERT_TRUE(waitUntil([&] { return backend().connectionCount(session()) == 2; }));
    awaitAudio(50);
    EXPECT_EQ(backend().connectionCount(session()), 2);
    EXPECT_TRUE(interface().shows(role::button, "Stop"));
}

TEST_F(AppStream, ThroughAProxyItSignsInFindsTheSessionAndStreams) {
    const ProxyServer proxy;
    environment["http_proxy"] = proxy.url();
    // A name that no proxy setting leaves out.
    const std::string url = backend().url();
    AppProcess::Start proxied;
    proxied.backendURL = "http://backend.example" + url.substr(url.rfind(':'));
    start(proxied);
    interface().await(role::button, "Sign In");
    startSession();
    signIn();
    click(role::button, "Start Streaming");
    interface().await(role::button, "Stop");
    awaitAudio(50);
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_THAT(proxy.requests(), testing::Contains(HasSubstr("CONNECT backend.example:")));
}

TEST_F(AppStream, ARefusedSocketIsTold) {
    backend().send("PUT", "/dev/faults/stream", R"({"then": "close", "code": 4001})");
    signInToSession();
    click(role::button, "Start Streaming");
    interface().await(role::notification, "Failed to connect WebSocket");
    EXPECT_FALSE(app().hasLogged("[startCapture]"));
    EXPECT_FALSE(isListening());
}

TEST_F(AppStream, SigningOutWhileStreamingEndsAllOfIt) {
    startStreaming();
    click(role::button, "Sign Out");
    interface().await(role::button, "Sign In");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_TRUE(hasStoppedListening());
    EXPECT_EQ(interface().text(interface().await(role::field, "Email")), "");
    EXPECT_EQ(interface().text(interface().await(role::password, "Password")), "");
}

TEST_F(AppStream, AnUnpluggedMicrophoneIsNotReplacedByAnother) {
    const auto other = sound->addMicrophone("other", "Other Microphone", 48000, 1);
    startStreaming();
    sound->unplug(microphone);
    EXPECT_TRUE(hasStoppedListening());
    // It lives, and says what there is now.
    click(role::button, "Refresh devices");
    interface().await(role::button, "Stop");
    EXPECT_FALSE(isListening());
    EXPECT_TRUE(app().process().isRunning());
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    endApp();
    startSound();
}

TEST_F(AppStream, AnUnpluggedMicrophoneIsToldAndStreamsOnWhenItIsBack) {
    const std::string notice = "Microphone disconnected. Waiting for it to return…";
    startStreaming();
    sound->unplug(microphone);
    expectTold(notice);
    EXPECT_FALSE(isListening());
    // Without the popover, too.
    input().press({"Escape"});
    ASSERT_TRUE(interface().awaitGone(role::button, "Stop"));
    EXPECT_THAT(toolTip(), HasSubstr(notice));
    pause();
    clickTrayIcon();
    interface().await(role::notification, notice);
    sound->plugIn(microphone, 44100);
    expectAllIsWellAgain(notice);
    EXPECT_TRUE(isListening());
    EXPECT_TRUE(app().hasLogged("[recovery] capture resumed on Studio Microphone"));
    EXPECT_EQ(backend().connectionCount(session()), 1) << "the same stream";
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_TRUE(hasStoppedListening());
    endApp();
    startSound();
}

TEST_F(AppStream, AnUnpluggedMicrophoneIsNoLongerAwaitedAfterAStop) {
    startStreaming();
    sound->unplug(microphone);
    interface().await(role::notification, "Microphone disconnected. Waiting for it to return…");
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    sound->plugIn(microphone, 48000);
    interface().awaitName("Waiting");
    EXPECT_FALSE(interface().showsName("Microphone disconnected. Waiting for it to return…"));
    EXPECT_FALSE(isListening());
    EXPECT_FALSE(app().hasLogged("[recovery] capture resumed"));
}

TEST_F(AppStream, AnotherMicrophoneIsTakenWhenTheUserChoosesIt) {
    const auto other = sound->addMicrophone("other", "Other Microphone", 48000, 1);
    startStreaming();
    sound->unplug(microphone);
    interface().await(role::notification, "Microphone disconnected. Waiting for it to return…");
    click(role::picker, "Audio Input");
    input().press({"Down"});
    input().press({"Return"});
    EXPECT_TRUE(app().waitForLog("[recovery] capture resumed on Other Microphone"));
    expectAllIsWellAgain("Microphone disconnected. Waiting for it to return…");
    endApp();
    startSound();
}

TEST_F(AppStream, AClosedPopoverGoesOnStreaming) {
    startStreaming();
    input().press({"Escape"});
    ASSERT_TRUE(interface().awaitGone(role::button, "Stop"));
    awaitAudio(40);
    pause();
    clickTrayIcon();
    interface().await(role::button, "Stop");
    EXPECT_EQ(backend().lastEnd(session()), "");
}

TEST_F(AppStream, TheKeyboardAloneSignsInStartsAndStops) {
    startSession();
    startWithPopover();
    const auto tabTo = [&](const char* role, const char* name) {
        for (int presses = 0; presses < 20; ++presses) {
            const auto element = interface().find(role, name);
            if (element && element->has(State::focused)) {
                return true;
            }
            const auto before = interface().focused();
            input().press({"Tab"});
            waitUntil(
                [&] {
                    const auto now = interface().focused();
                    return now && (!before || now->path != before->path);
                },
                milliseconds(500));
        }
        return false;
    };
    ASSERT_TRUE(tabTo(role::field, "Email")) << interface().describe();
    input().type(DevBackend::email);
    input().press({"Tab"});
    ASSERT_TRUE(tabTo(role::password, "Password")) << interface().describe();
    input().type(DevBackend::password);
    input().press({"Return"});
    interface().awaitEnabled(role::button, "Start Streaming");
    ASSERT_TRUE(tabTo(role::button, "Start Streaming")) << interface().describe();
    input().press({"space"});
    interface().await(role::button, "Stop");
    awaitAudio();
    ASSERT_TRUE(tabTo(role::button, "Stop")) << interface().describe();
    input().press({"Return"});
    interface().awaitName("Done");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
}

TEST_F(AppStream, TheQuitButtonClosesTheStreamNormally) {
    startStreaming();
    click(role::button, "Quit");
    EXPECT_EQ(app().waitForExit(seconds(5)), 0);
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
}

TEST_F(AppStream, ASignalClosesTheStreamNormallyWithinTwoSeconds) {
    for (const int number : {SIGTERM, SIGINT}) {
        startStreaming();
        EXPECT_EQ(app().end(number), 0);
        EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
        EXPECT_FALSE(isListening());
    }
}

TEST_F(AppStream, ASignalWhileTheSocketOpensEndsWithinTwoSecondsAndNeverListens) {
    backend().send("PUT", "/dev/faults/stream", R"({"answer": "silence"})");
    signInToSession();
    click(role::button, "Start Streaming");
    ASSERT_TRUE(app().waitForLog("[establishConnection] url="));
    EXPECT_EQ(app().end(SIGTERM), 0);
    EXPECT_FALSE(app().hasLogged("[startCapture]"));
}

TEST_F(AppStream, ASoundServerThatDiesIsToldAndStreamsOnWhenItIsBack) {
    const std::string notice = "Sound server not available. Waiting for it to return…";
    startStreaming();
    sound->kill();
    expectTold(notice);
    EXPECT_TRUE(answersFor(milliseconds(1500)));
    EXPECT_TRUE(interface().shows(role::button, "Stop"));
    feeder.reset();
    sound->restart();
    microphone = sound->addMicrophone("studio", "Studio Microphone", 48000, 1);
    feeder = std::make_unique<VirtualMicrophoneFeeder>(*sound, microphone, tone());
    expectAllIsWellAgain(notice);
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
}

TEST_F(AppStream, ASoundServerThatStaysAwayLeavesTheInterfaceAlive) {
    startStreaming();
    sound->kill();
    interface().await(role::notification, "Sound server not available. Waiting for it to return…");
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    endApp();
    startSound();
}

TEST_F(AppStream, ASoundServerThatHangsIsToldAndStreamsOnWhenItAnswersAgain) {
    const std::string notice = "No sound from the microphone";
    startStreaming();
    sound->freeze();
    expectTold(notice, " — microphone on");
    sound->thaw();
    expectAllIsWellAgain(notice);
    EXPECT_TRUE(app().hasLogged("[capture] sound flows again"));
}

TEST_F(AppStream, ASoundServerThatHangsLeavesTheInterfaceAlive) {
    startStreaming();
    sound->freeze();
    EXPECT_TRUE(answersFor(milliseconds(1500)));
    click(role::button, "Stop");
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_EQ(app().end(SIGTERM), 0);
    sound->thaw();
}

TEST_F(AppStream, AMicrophoneThatTheDesktopSwitchesOffIsNotOpened) {
    const std::filesystem::path home = std::filesystem::path(std::getenv("HOME")) / "switched-off";
    std::filesystem::create_directories(home / ".config/glib-2.0/settings");
    std::ofstream(home / ".config/glib-2.0/settings/keyfile")
        << "[org/gnome/desktop/privacy]\ndisable-microphone=true\n";
    environment["GSETTINGS_BACKEND"] = "keyfile";
    startSession();
    startWithPopover(home);
    signIn();
    click(role::button, "Start Streaming");
    interface().await(role::notification,
                      "Microphone permission denied. Grant access in System Settings → "
                      "Privacy & Security → Microphone.");
    for (const char* line :
         {"[mic permission] current status=2", "[mic permission] denied or restricted",
          "[Streaming] Microphone permission denied"}) {
        EXPECT_TRUE(app().hasLogged(line)) << line;
    }
    EXPECT_FALSE(app().hasLogged("[startCapture]"));
    EXPECT_FALSE(isListening());
}

TEST_F(AppStream, TheIconSaysWhetherTheMicrophoneIsOpen) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    const auto toolTip = [&] { return tray.awaitItem().toolTipTitle(); };
    backend().send("PUT", "/dev/faults/stream", R"({"answer": "silence"})");
    startSession();
    start();
    EXPECT_TRUE(tray.awaitItem().activate());
    signIn();
    click(role::button, "Start Streaming");
    EXPECT_TRUE(waitUntil([&] { return toolTip() == "Quorvane Tandrel — Streaming"; }))
        << toolTip();
    EXPECT_FALSE(isListening()) << "nobody has answered yet";
    click(role::button, "Stop");
    backend().send("DELETE", "/dev/faults", "{}");
    interface().awaitEnabled(role::button, "Start Streaming");
    click(role::button, "Start Streaming");
    EXPECT_TRUE(waitUntil([&] {
        return toolTip() == "Quorvane Tandrel — Streaming — microphone on";
    })) << toolTip();
    EXPECT_TRUE(isListening());
    click(role::button, "Stop");
    EXPECT_TRUE(waitUntil([&] { return toolTip() == "Quorvane Tandrel — Done"; })) << toolTip();
}

/// Every file below `folder`, one after the other, but for the debug log.
std::string filesBelow(const std::filesystem::path& folder) {
    std::string all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && entry.path().filename() != "tandrel-debug.log") {
            all += textOf(entry.path());
        }
    }
    return all;
}

/// The log without the lines that name the stream's address.
std::string withoutStreamAddress(const std::string& log) {
    std::istringstream lines(log);
    std::string rest;
    for (std::string line; std::getline(lines, line);) {
        if (line.find(" [establishConnection] url=") == std::string::npos) {
            rest += line + '\n';
        }
    }
    return rest;
}

TEST_F(AppStream, NoSecretIsLeftWhereItDoesNotBelong) {
    const PrivateKeyring& keyring = desktop().startKeyring();
    const BusRecording sessionBus(desktop().bus().address(), desktop().folder() / "session.pcap");
    const BusRecording accessibilityBus(desktop().accessibility().address(),
                                        desktop().folder() / "accessibility.pcap");
    startStreaming();
    const auto process = std::filesystem::path("/proc") / std::to_string(app().process().pid());
    const std::string commandLine = textOf(process / "cmdline");
    const std::string environmentText = textOf(process / "environ");
    const std::string limits = textOf(process / "limits");
    ASSERT_THAT(commandLine, HasSubstr("quorvane-tandrel"));
    ASSERT_THAT(environmentText, HasSubstr("DBUS_SESSION_BUS_ADDRESS"));
    EXPECT_THAT(limits, ContainsRegex("Max core file size +0 "));

    const auto stored = [&](const char* account) {
        return keyring.lookup("TandrelStatusBar", account).value_or("");
    };
    ASSERT_TRUE(waitUntil([&] { return !stored("quorvane-user-id").empty(); }));
    const std::string description = backend().get("/dev/sessions/" + session());
    const auto tokenAt = description.find(R"("token":)");
    ASSERT_NE(tokenAt, std::string::npos) << description;
    const auto begin = description.find('"', tokenAt + 8) + 1;
    const std::string streamToken = description.substr(begin, description.find('"', begin) - begin);
    const std::map<std::string, std::string> secrets{
        {"password", DevBackend::password},
        {"access token", stored("quorvane-access-token")},
        {"refresh token", stored("quorvane-refresh-token")},
        {"stream token", streamToken}};
    click(role::button, "Sign Out");
    interface().await(role::button, "Sign In");
    ASSERT_TRUE(waitUntil([&] { return stored("quorvane-access-token").empty(); }));
    endApp();

    // What is looked through is what it seems to be.
    ASSERT_THAT(sessionBus.bytes(), HasSubstr("CreateItem"));
    ASSERT_THAT(sessionBus.bytes(), HasSubstr("dh-ietf1024-sha256-aes128-cbc-pkcs7"));
    ASSERT_THAT(accessibilityBus.bytes(), HasSubstr("org.a11y.atspi"));
    ASSERT_THAT(app().debugLog(), HasSubstr("token=" + streamToken));
    const std::map<std::string, std::string> places{
        {"output", app().output()},
        {"log", withoutStreamAddress(app().debugLog())},
        {"files", filesBelow(app().home())},
        {"command line", commandLine},
        {"environment", environmentText},
        {"session bus", sessionBus.bytes()},
        {"accessibility bus", accessibilityBus.bytes()}};
    for (const auto& [what, secret] : secrets) {
        ASSERT_GE(secret.size(), 8U) << what;
        for (const auto& [where, text] : places) {
            EXPECT_EQ(text.find(secret), std::string::npos)
                << "the " << what << " in the " << where;
        }
    }
}

} // namespace
} // namespace tandrel::test
