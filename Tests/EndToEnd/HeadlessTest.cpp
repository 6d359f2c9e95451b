#include "BuildPaths.h"
#include "EndToEnd/HeadlessProcess.h"
#include "Support/DevBackend.h"
#include "Support/PrivateSoundServer.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// What the tool promises to scripts.
constexpr int success = 0;
constexpr int usage = 1;
constexpr int signInFailed = 2;
constexpr int noDevice = 3;
constexpr int noSession = 4;
constexpr int streamFailed = 5;
constexpr int interrupted = 6;

constexpr const char* microphoneName = "Studio Microphone";

/// The real tool against the real backend and a real sound server, which all cases share.
class Headless : public testing::Test {
protected:
    static void SetUpTestSuite() {
        sound = std::make_unique<PrivateSoundServer>(PrivateSoundServer::Kind::pulseAudio);
        microphone = sound->addMicrophone("studio", microphoneName, 48000, 1);
        sound->loadModule("module-null-sink", {"sink_name=speakers"});
        feeder = std::make_unique<VirtualMicrophoneFeeder>(*sound, microphone, tone(seconds(120)));
        backend = std::make_unique<DevBackend>();
    }
    static void TearDownTestSuite() {
        backend.reset();
        feeder.reset();
        sound.reset();
    }
    void TearDown() override {
        backend->send("DELETE", "/dev/faults", "{}");
        if (!session.empty()) {
            backend->send("POST", "/dev/sessions/" + session + "/end", "{}");
        }
    }

    static std::vector<float> tone(seconds duration) {
        std::vector<float> samples(static_cast<std::size_t>(48000 * duration.count()));
        for (std::size_t index = 0; index < samples.size(); ++index) {
            const double phase = 2 * std::numbers::pi * 1000 * static_cast<double>(index) / 48000;
            samples[index] = static_cast<float>(0.25 * std::sin(phase));
        }
        return samples;
    }

    static HeadlessProcess start(std::vector<std::string> arguments = {}) {
        arguments.push_back("--ephemeral");
        return {*backend, sound->clientEnvironment(), arguments};
    }

    /// Starts the tool with a session that it finds at its first look.
    HeadlessProcess startWithSession(const std::vector<std::string>& arguments = {}) {
        session = backend->startSession();
        return start(arguments);
    }

    void waitForAudio(HeadlessProcess& headless) {
        ASSERT_TRUE(headless.waitFor("Microphone: capturing")) << headless.output();
        ASSERT_TRUE(waitUntil([this] { return backend->messageCount(session) > 0; }));
    }

    /// Sends a signal and expects the end within the two seconds that it may take.
    static int endBySignal(HeadlessProcess& headless, int number) {
        const auto sent = steady_clock::now();
        headless.process().signal(number);
        const auto code = headless.waitForExit(seconds(20));
        const auto took = steady_clock::now() - sent;
        EXPECT_LT(took, seconds(2)) << headless.output();
        return code.value_or(-1);
    }

    static std::unique_ptr<PrivateSoundServer> sound;
    static std::unique_ptr<VirtualMicrophoneFeeder> feeder;
    static std::unique_ptr<DevBackend> backend;
    static VirtualMicrophone microphone;
    std::string session;
};

std::unique_ptr<PrivateSoundServer> Headless::sound;
std::unique_ptr<VirtualMicrophoneFeeder> Headless::feeder;
std::unique_ptr<DevBackend> Headless::backend;
VirtualMicrophone Headless::microphone;

/// Zero crossings tell the frequency of a clean tone.
double frequencyOf(const std::vector<std::int16_t>& samples) {
    std::vector<double> crossings;
    for (std::size_t index = 1; index < samples.size(); ++index) {
        if (samples[index - 1] < 0 && samples[index] >= 0) {
            const double step = samples[index] - samples[index - 1];
            crossings.push_back(static_cast<double>(index) - samples[index] / step);
        }
    }
    return 16000 * static_cast<double>(crossings.size() - 1) /
           (crossings.back() - crossings.front());
}

TEST_F(Headless, StreamsWhatTheMicrophoneHearsForTheTimeAskedFor) {
    HeadlessProcess headless = startWithSession({"--duration", "2", "--device", microphoneName,
                                                 "--record", "/proc/self/cwd/unwritable/record"});
    waitForAudio(headless);
    EXPECT_EQ(headless.waitForExit(), success) << headless.output();
    EXPECT_TRUE(waitUntil([&] { return backend->lastEnd(session) == "client 1000"; }))
        << backend->lastEnd(session);
    const auto samples = backend->received(session);
    EXPECT_NEAR(static_cast<double>(samples.size()) / 16000, 2.0, 0.3);
    // The first 100 ms may hold the filter's start.
    const std::vector<std::int16_t> steady(samples.begin() + 1600, samples.end());
    EXPECT_NEAR(frequencyOf(steady), 1000.0, 0.5);
    EXPECT_THAT(headless.output(), HasSubstr("The record could not be written"));
}

TEST_F(Headless, LosesAndReordersNoMessage) {
    const std::string record = std::string(std::getenv("HOME")) + "/record.csv";
    HeadlessProcess headless = startWithSession({"--duration", "2", "--record", record});
    waitForAudio(headless);
    ASSERT_EQ(headless.waitForExit(), success) << headless.output();
    ASSERT_TRUE(waitUntil([&] { return backend->lastEnd(session) == "client 1000"; }));
    const auto arrived = headless.home() / "arrived.csv";
    ASSERT_EQ(ChildProcess::run({"curl", "-fsS", "-o", arrived.string(),
                                 backend->url() + "/dev/sessions/" + session + "/messages.csv"},
                                {})
                  .exitCode,
              0);
    const auto report = ChildProcess::run({TANDREL_BUILD_BIN "/quorvane-tandrel-stream-report",
                                           "--sent", record, "--arrived", arrived.string()},
                                          {});
    EXPECT_EQ(report.exitCode, 0) << report.text;
    EXPECT_THAT(report.text, HasSubstr("0 lost, 0 reordered, 0 unexpected"));
}

TEST_F(Headless, StopOnStandardInputEndsTheStream) {
    HeadlessProcess headless = startWithSession();
    waitForAudio(headless);
    headless.process().write("stop\n");
    EXPECT_EQ(headless.waitForExit(), success) << headless.output();
    EXPECT_EQ(backend->lastEnd(session), "client 1000");
    EXPECT_THAT(headless.debugLog(), HasSubstr("[PopoverView] Stop requested via URL scheme"));
}

TEST_F(Headless, LogsTheStepsOfAStreamInTheirOrder) {
    HeadlessProcess headless = startWithSession();
    waitForAudio(headless);
    ASSERT_EQ(endBySignal(headless, SIGTERM), success);
    const std::string log = headless.debugLog();
    std::size_t position = 0;
    for (const char* line :
         {"[startPolling] baseURL=", "[poll] #1 requesting...",
          " FOUND session=", "[AutoStart] Conditions met — starting streaming",
          "[Streaming] Starting — connect WebSocket first, then audio", "[connect] token=",
          "[establishConnection] url=ws://127.0.0.1:", "[establishConnection] ping OK -> connected",
          "[Streaming] WebSocket connected, requesting mic permission",
          "[mic permission] current status=3",
          "[Streaming] Mic permission granted, starting audio capture",
          "[startCapture] device=Studio Microphone, onAudioBuffer=true",
          "[startCapture] inputFormat=", "[startCapture] engine started, isCapturing=true",
          "[Streaming] Audio capture started"}) {
        const auto found = log.find(line, position);
        ASSERT_NE(found, std::string::npos) << line << " is missing after\n"
                                            << log.substr(0, position) << "\nin\n"
                                            << log;
        position = found;
    }
    for (const char* line :
         {"[processBuffer] #1 frames=1023 hasConverter=true hasCallback=true",
          "[audioLevel] #1 rms=", "[processBuffer] sending ",
          "[sendAudioData] #1 state=connected bytes=", "[sendAudioData] #1 sent OK"}) {
        EXPECT_THAT(log, HasSubstr(line));
    }
    const auto file = headless.home() / ".local/state/quorvane-tandrel/tandrel-debug.log";
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(Headless, KeepsThePasswordAndTheAccessTokenToItself) {
    HeadlessProcess headless = startWithSession();
    waitForAudio(headless);
    ASSERT_EQ(endBySignal(headless, SIGINT), success);
    EXPECT_THAT(headless.debugLog() + headless.output(), Not(HasSubstr(DevBackend::password)));
    EXPECT_THAT(headless.debugLog() + headless.output(), Not(HasSubstr("Bearer")));
}

TEST_F(Headless, ASignalWhileStreamingClosesNormallyWithinTwoSeconds) {
    for (const int number : {SIGINT, SIGTERM}) {
        HeadlessProcess headless = startWithSession();
        waitForAudio(headless);
        EXPECT_EQ(endBySignal(headless, number), success);
        EXPECT_TRUE(waitUntil([&] { return backend->lastEnd(session) == "client 1000"; }))
            << backend->lastEnd(session);
    }
}

TEST_F(Headless, ASignalWhilePollingEndsWithinTwoSeconds) {
    HeadlessProcess headless = startWithSession();
    ASSERT_TRUE(headless.waitFor("Device: "));
    EXPECT_EQ(endBySignal(headless, SIGTERM), interrupted);
}

TEST_F(Headless, ASignalWhileSigningInEndsWithinTwoSeconds) {
    backend->send("PUT", "/dev/faults/login", R"({"answer": "silence"})");
    HeadlessProcess headless = start();
    ASSERT_TRUE(headless.waitFor("Password of"));
    EXPECT_EQ(endBySignal(headless, SIGTERM), interrupted);
}

TEST_F(Headless, ASignalWhileTheSocketOpensEndsWithinTwoSecondsAndNeverListens) {
    backend->send("PUT", "/dev/faults/stream", R"({"answer": "silence"})");
    HeadlessProcess headless = startWithSession();
    ASSERT_TRUE(headless.waitFor("Socket: connecting"));
    EXPECT_EQ(endBySignal(headless, SIGTERM), interrupted);
    EXPECT_THAT(headless.debugLog(), Not(HasSubstr("[startCapture]")));
}

TEST_F(Headless, ASignalDuringTheBackOffEndsWithinTwoSeconds) {
    backend->send("PUT", "/dev/faults/stream", R"({"status": 503})");
    HeadlessProcess headless = startWithSession();
    ASSERT_TRUE(waitUntil([&] {
        return headless.debugLog().find("[WS] disconnection closeCode=") != std::string::npos;
    }));
    EXPECT_EQ(endBySignal(headless, SIGTERM), interrupted);
}

TEST_F(Headless, AWrongPasswordIsToldAndNothingIsAskedOfTheBackendAfterIt) {
    HeadlessProcess headless(
        {"--backend", backend->url(), "--email", DevBackend::email, "--ephemeral"},
        sound->clientEnvironment());
    headless.process().write("wrong\n");
    EXPECT_EQ(headless.waitForExit(), signInFailed);
    EXPECT_THAT(headless.output(), AllOf(HasSubstr("[Auth] Received 401 — clearing session"),
                                         HasSubstr("Sign-in failed: Invalid email or password")));
}

TEST_F(Headless, AnUnreachableBackendIsTold) {
    HeadlessProcess headless(
        {"--backend", "http://127.0.0.1:9", "--email", DevBackend::email, "--ephemeral"},
        sound->clientEnvironment());
    headless.process().write("any\n");
    EXPECT_EQ(headless.waitForExit(), signInFailed);
    EXPECT_THAT(headless.output(), HasSubstr("Sign-in failed: Network error: "));
}

TEST_F(Headless, AnUnknownDeviceIsTold) {
    HeadlessProcess headless = start({"--device", "No Such Thing"});
    EXPECT_EQ(headless.waitForExit(), noDevice);
    EXPECT_THAT(headless.output(), HasSubstr("No input device is called \"No Such Thing\""));
}

TEST_F(Headless, WithoutASoundServerThereIsNoDevice) {
    HeadlessProcess headless(*backend, {{"PULSE_SERVER", "unix:/nonexistent"}}, {"--ephemeral"});
    EXPECT_EQ(headless.waitForExit(), noDevice);
    EXPECT_THAT(headless.output(), HasSubstr("No input devices found"));
}

TEST_F(Headless, ListsMicrophonesAndNoOutputs) {
    HeadlessProcess headless({"--list-devices"}, sound->clientEnvironment());
    EXPECT_EQ(headless.waitForExit(), success);
    EXPECT_EQ(headless.output(), std::string("studio\t") + microphoneName + '\n');
}

TEST_F(Headless, GivesUpWhenNoSessionIsPendingInTime) {
    HeadlessProcess headless = start({"--wait", "0.5"});
    EXPECT_EQ(headless.waitForExit(), noSession);
}

TEST_F(Headless, ARefusedTokenEndsTheSignIn) {
    HeadlessProcess headless = start();
    ASSERT_TRUE(headless.waitFor("Device: "));
    backend->send("POST", "/dev/tokens/revoke", "{}");
    EXPECT_EQ(headless.waitForExit(), signInFailed);
    EXPECT_THAT(headless.output(), HasSubstr("Signed out: Session expired. Please log in again."));
}

TEST_F(Headless, ASessionThatIsOverEndsTheStreamWithItsReason) {
    HeadlessProcess headless = startWithSession();
    waitForAudio(headless);
    backend->send("POST", "/dev/sessions/" + session + "/stream",
                  R"({"action": "close", "code": 4002})");
    EXPECT_EQ(headless.waitForExit(), streamFailed);
    EXPECT_THAT(headless.output(), HasSubstr("Socket: error(\"Session is no longer pending.\")"));
    EXPECT_THAT(headless.debugLog(), HasSubstr("[WS] disconnection closeCode=4002"));
}

TEST_F(Headless, ALostConnectionIsOpenedAgainAndTheStreamGoesOn) {
    HeadlessProcess headless = startWithSession();
    waitForAudio(headless);
    backend->send("POST", "/dev/sessions/" + session + "/stream",
                  R"({"action": "close", "code": 1011})");
    ASSERT_TRUE(waitUntil([&] {
        const auto output = headless.output();
        return output.rfind("Socket: connected") != output.find("Socket: connected");
    })) << headless.output();
    const auto before = backend->messageCount(session);
    EXPECT_TRUE(waitUntil([&] { return backend->messageCount(session) > before + 10; }));
    EXPECT_EQ(endBySignal(headless, SIGTERM), success);
    EXPECT_THAT(headless.debugLog(), HasSubstr("[WS] disconnection closeCode=1011"));
}

TEST_F(Headless, AMicrophoneThatComesBackStreamsOn) {
    HeadlessProcess headless = startWithSession();
    waitForAudio(headless);
    sound->unplug(microphone);
    EXPECT_TRUE(headless.waitFor("Notice: Microphone disconnected. Waiting for it to return…"))
        << headless.output();
    const auto before = backend->messageCount(session);
    sound->plugIn(microphone, 48000);
    EXPECT_TRUE(waitUntil([&] { return backend->messageCount(session) > before + 30; }));
    EXPECT_EQ(endBySignal(headless, SIGTERM), success);
    EXPECT_THAT(headless.debugLog(),
                HasSubstr("[recovery] capture resumed on " + std::string(microphoneName)));
}

TEST_F(Headless, AMicrophoneThatStaysAwayEndsTheStreamWithItsReason) {
    HeadlessProcess headless = startWithSession();
    waitForAudio(headless);
    sound->unplug(microphone);
    EXPECT_EQ(headless.waitForExit(seconds(60)), streamFailed) << headless.output();
    sound->plugIn(microphone, 48000);
    EXPECT_THAT(headless.output(), HasSubstr("Error: Microphone disconnected. Streaming stopped."));
    EXPECT_THAT(headless.debugLog(),
                HasSubstr("[Streaming] Microphone did not come back: The microphone was "));
    EXPECT_TRUE(waitUntil([&] { return backend->lastEnd(session) == "client 1000"; }))
        << backend->lastEnd(session);
}

TEST_F(Headless, ABackendThatRefusesTheStreamIsTold) {
    backend->send("PUT", "/dev/faults/stream", R"({"then": "close", "code": 4001})");
    HeadlessProcess headless = startWithSession();
    EXPECT_EQ(headless.waitForExit(), streamFailed) << headless.output();
    EXPECT_THAT(headless.output(), HasSubstr("Session token is invalid."));
}

TEST_F(Headless, RefusesAnAddressThatWouldSendThePasswordInTheClear) {
    HeadlessProcess headless({"--backend", "http://backend.example", "--email", "a@b"}, {});
    EXPECT_EQ(headless.waitForExit(), usage);
    EXPECT_THAT(headless.output(), HasSubstr("--backend takes an https origin"));
}

TEST_F(Headless, HelpAndVersionNeedNothing) {
    for (const char* flag : {"--help", "--version"}) {
        HeadlessProcess headless({flag}, {{"PULSE_SERVER", "unix:/nonexistent"}});
        EXPECT_EQ(headless.waitForExit(), success);
        EXPECT_THAT(headless.output(), HasSubstr("quorvane-tandrel-headless"));
    }
}

} // namespace
} // namespace tandrel::test
