#include "BuildPaths.h"
#include "EndToEnd/HeadlessProcess.h"
#include "Support/Desktop/PrivateDesktop.h"
#include "Support/DevBackend.h"
#include "Support/FileText.h"
#include "Support/PrivateSoundServer.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* program = TANDREL_BUILD_BIN "/quorvane-tandrel-under-test";
constexpr const char* service = "TandrelStatusBar";
constexpr int headlessInterrupted = 6;
constexpr const char* tokenAccount = "quorvane-access-token";

/// The report of the real program on machines that have everything, or lack something.
class Doctor : public testing::Test {
protected:
    static void SetUpTestSuite() {
        desktop = std::make_unique<PrivateDesktop>(PrivateDesktop::Accessibility::off);
        backend = std::make_unique<DevBackend>();
    }
    static void TearDownTestSuite() {
        backend.reset();
        desktop.reset();
    }
    void TearDown() override {
        backend->send("DELETE", "/dev/faults", "{}");
        desktop->stopTray();
        desktop->stopKeyring();
        // The next test's knows of nobody.
        fs::remove_all(desktop->folder() / "keyring");
    }

    void startSound() {
        sound = std::make_unique<PrivateSoundServer>(PrivateSoundServer::Kind::pulseAudio);
        microphone = sound->addMicrophone("desk", "Desk Microphone", 48000, 1);
        environment["PULSE_SERVER"] = sound->address();
    }
    void speak() {
        std::vector<float> tone(std::size_t{48000} * 60);
        for (std::size_t index = 0; index < tone.size(); ++index) {
            const double phase = 2 * std::numbers::pi * 1000 * static_cast<double>(index) / 48000;
            tone[index] = static_cast<float>(0.25 * std::sin(phase));
        }
        feeder = std::make_unique<VirtualMicrophoneFeeder>(*sound, microphone, tone);
        const auto isRunning = [&] {
            return sound->control({"list", "short", "sinks"}).find("RUNNING") != std::string::npos;
        };
        ASSERT_TRUE(waitUntil(isRunning));
    }
    /// As a person does, by the core without a window; its home is the doctor's from then on.
    void signIn() {
        HeadlessProcess headless(*backend, environment);
        home = headless.home();
        ASSERT_TRUE(waitUntil([&] {
            return fs::exists(home / ".config/Quorvane/Tandrel.conf") && storedToken();
        })) << headless.output();
        headless.process().signal(SIGINT);
        ASSERT_EQ(headless.waitForExit(), headlessInterrupted);
        // The other program's: this one is to write none.
        fs::remove_all(home / ".local/state");
    }
    [[nodiscard]] std::optional<std::string> storedToken() const {
        return keyring->lookup(service, tokenAccount);
    }
    void startKeyring() { keyring = &desktop->startKeyring(); }
    void registerLinks() const {
        const fs::path entry = home / ".local/share/applications/com.quorvane.Tandrel.desktop";
        fs::create_directories(entry.parent_path());
        std::ofstream(entry) << "[Desktop Entry]\nType=Application\nName=T\nExec=true %u\n"
                                "MimeType=x-scheme-handler/quorvane-tandrel;\n";
        fs::create_directories(home / ".config");
        std::ofstream(home / ".config/mimeapps.list")
            << "[Default Applications]\n"
               "x-scheme-handler/quorvane-tandrel=com.quorvane.Tandrel.desktop\n";
    }
    /// A machine on which everything is there.
    void makeAllGood() {
        desktop->startStatusNotifierTray();
        startKeyring();
        startSound();
        signIn();
        registerLinks();
        speak();
    }

    [[nodiscard]] EnvironmentChanges doctorEnvironment() const {
        EnvironmentChanges all = environment;
        all["HOME"] = home.string();
        all["XDG_CONFIG_HOME"] = (home / ".config").string();
        all["XDG_DATA_HOME"] = (home / ".local/share").string();
        all["XDG_STATE_HOME"] = (home / ".local/state").string();
        all["TANDREL_TEST_ADDRESS"] = address.empty() ? backend->url() : address;
        return all;
    }
    /// What it prints to either stream, and how it ends.
    [[nodiscard]] ChildProcess::Output report(const std::string& format = {}) const {
        const auto start = steady_clock::now();
        auto output = ChildProcess::run(
            {"sh", "-c", "exec \"$0\" --doctor " + format + " 2>&1", program}, doctorEnvironment());
        EXPECT_LT(steady_clock::now() - start, seconds(15));
        EXPECT_FALSE(fs::exists(home / ".local/state")) << "it writes no log";
        return output;
    }

    static fs::path newHome() {
        static int count = 0;
        const fs::path made = fs::path(std::getenv("HOME")) / ("doctor" + std::to_string(++count));
        fs::create_directories(made);
        return made;
    }

    static inline std::unique_ptr<PrivateDesktop> desktop;
    static inline std::unique_ptr<DevBackend> backend;
    EnvironmentChanges environment = desktop->clientEnvironment();
    fs::path home = newHome();
    /// The backend's, when it is not the real one.
    std::string address;
    PrivateKeyring* keyring = nullptr;
    std::unique_ptr<PrivateSoundServer> sound;
    VirtualMicrophone microphone;
    std::unique_ptr<VirtualMicrophoneFeeder> feeder;
};

TEST_F(Doctor, OnAMachineThatHasEverythingStreamingCanWork) {
    makeAllGood();
    const auto logins = backend->requestCount("login");
    const auto output = report();
    EXPECT_EQ(output.exitCode, 0);
    for (const char* const line :
         {"[ok] Backend ", "[--] Certificate ", "[ok] Keyring ", "[ok] Sign-in ",
          "[ok] Permission ", "[ok] Sound server ", "[ok] Microphones ",
          "    [ok] Desk Microphone: -", "[ok] Session bus ", "[ok] Tray ", "[ok] Links ",
          "[--] Start at login ", "[ok] Log ", "\nAll that streaming needs is there.\n"}) {
        EXPECT_THAT(output.text, HasSubstr(line));
    }
    EXPECT_LT(std::count(output.text.begin(), output.text.end(), '\n'), 24) << "one screen";
    // 0.25 of full scale: -12 dB the peak of a sine, 3 dB less its mean.
    EXPECT_THAT(output.text, HasSubstr("peak -12.0 dBFS"));
    EXPECT_EQ(backend->requestCount("login"), logins) << "nobody was signed in anew";
}

TEST_F(Doctor, ForProgramsItSaysTheSameInJson) {
    makeAllGood();
    const auto output = report("--json");
    EXPECT_EQ(output.exitCode, 0);
    const auto parsed = nlohmann::json::parse(output.text);
    EXPECT_EQ(parsed.at("format"), 1);
    EXPECT_EQ(parsed.at("ready"), true);
    EXPECT_EQ(parsed.at("program").at("backend"), backend->url());
    std::vector<std::string> ids;
    for (const auto& finding : parsed.at("findings")) {
        ids.push_back(finding.at("id"));
        if (ids.back() == "microphone") {
            EXPECT_EQ(finding.at("facts").at("device"), "desk");
            EXPECT_NEAR(finding.at("facts").at("level_dbfs").get<double>(), -15, 0.5);
        }
    }
    EXPECT_THAT(ids, testing::ElementsAre("backend", "certificate", "keyring", "sign_in",
                                          "microphone_permission", "sound_server", "microphones",
                                          "microphone", "session_bus", "tray", "url_scheme",
                                          "start_at_login", "log"));
}

TEST_F(Doctor, WithoutABackendItSaysSo) {
    makeAllGood();
    address = "http://127.0.0.1:9";
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[!!] Backend        The server refused the connection."));
    EXPECT_THAT(output.text, HasSubstr("[!!] Sign-in        stored, but could not be tried"));
}

TEST_F(Doctor, ABackendThatNeverAnswersIsGivenUp) {
    makeAllGood();
    backend->send("PUT", "/dev/faults/me", R"({"answer": "silence"})");
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[!!] Backend        The server does not answer."));
}

TEST_F(Doctor, WithoutASignInItSaysSo) {
    startKeyring();
    startSound();
    speak();
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[!!] Sign-in        nobody is signed in"));
    EXPECT_THAT(output.text, HasSubstr("[ok] Microphones "));
    EXPECT_THAT(output.text, HasSubstr("\nStreaming needs what is marked [!!].\n"));
}

TEST_F(Doctor, ARefusedSignInIsSaidAndLeftWhereItIs) {
    makeAllGood();
    const std::string settings = textOf(home / ".config/Quorvane/Tandrel.conf");
    const auto token = storedToken();
    backend->send("PUT", "/dev/faults/me", R"({"status": 401})");
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[!!] Sign-in        the backend refuses it"));
    EXPECT_EQ(storedToken(), token);
    EXPECT_EQ(textOf(home / ".config/Quorvane/Tandrel.conf"), settings);
}

TEST_F(Doctor, ALockedKeyringIsSaidAndNobodyIsAsked) {
    makeAllGood();
    keyring->restart(PrivateKeyring::Start::locked);
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[--] Keyring        locked"));
    EXPECT_THAT(output.text, HasSubstr("[!!] Sign-in        stored, but the keyring is locked"));
}

TEST_F(Doctor, AKeyringThatHangsHoldsNothingElseUp) {
    makeAllGood();
    keyring->freeze();
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[--] Keyring        does not answer"));
    EXPECT_THAT(output.text, HasSubstr("[!!] Sign-in        cannot be told without a keyring"));
    EXPECT_THAT(output.text, HasSubstr("[ok] Microphones "));
}

TEST_F(Doctor, WithoutASoundServerItSaysSo) {
    startKeyring();
    startSound();
    signIn();
    sound.reset();
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[!!] Sound server   cannot be used: Connection refused"));
    EXPECT_THAT(output.text, HasSubstr("[!!] Microphones    none"));
    EXPECT_THAT(output.text, HasSubstr("[ok] Sign-in "));
}

TEST_F(Doctor, WithoutAMicrophoneItSaysSo) {
    startKeyring();
    startSound();
    signIn();
    sound->unplug(microphone);
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[ok] Sound server "));
    EXPECT_THAT(output.text, HasSubstr("[!!] Microphones    none"));
}

TEST_F(Doctor, AMicrophoneThatGivesNoSoundIsNone) {
    startKeyring();
    startSound();
    signIn();
    const auto output = report();
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text, HasSubstr("[!!] Microphones    1, but it gives no sound"));
    EXPECT_THAT(output.text, HasSubstr("    [--] Desk Microphone: silence"));
}

TEST_F(Doctor, WithoutATrayOrLinksStreamingWorksAllTheSame) {
    startKeyring();
    startSound();
    signIn();
    speak();
    const auto output = report();
    EXPECT_EQ(output.exitCode, 0) << output.text;
    EXPECT_THAT(output.text, HasSubstr("[--] Tray "));
    EXPECT_THAT(output.text, HasSubstr("[--] Links          nothing opens quorvane-tandrel://"));
}

TEST_F(Doctor, WithNothingAtAllEachIsAFinding) {
    environment = {{"DISPLAY", ""},
                   {"WAYLAND_DISPLAY", ""},
                   {"QT_QPA_PLATFORM", ""},
                   {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"},
                   {"PULSE_SERVER", "unix:/nonexistent"},
                   {"PATH", "/nonexistent"}};
    address = "http://127.0.0.1:9";
    // The shell's own search path is gone, too.
    const auto output = ChildProcess::run(
        {"/bin/sh", "-c", std::string("exec ") + program + " --doctor 2>&1"}, doctorEnvironment());
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_THAT(output.text,
                AllOf(HasSubstr("[!!] Backend "), HasSubstr("[--] Keyring "),
                      HasSubstr("[!!] Sign-in "), HasSubstr("[!!] Sound server "),
                      HasSubstr("[!!] Microphones "), HasSubstr("[--] Session bus    none"),
                      HasSubstr("[--] Tray           none"), HasSubstr("[--] Links ")));
    EXPECT_TRUE(output.text.starts_with("Quorvane Tandrel ")) << "no library complains";
}

TEST_F(Doctor, ItSaysNoSecret) {
    makeAllGood();
    const auto token = storedToken();
    ASSERT_TRUE(token && token->size() > 8);
    ASSERT_THAT(textOf(home / ".config/Quorvane/Tandrel.conf"), HasSubstr(DevBackend::email));
    for (const char* const format : {"", "--json"}) {
        const auto output = report(format);
        EXPECT_THAT(output.text, Not(HasSubstr(*token)));
        EXPECT_THAT(output.text, Not(HasSubstr(DevBackend::email)));
        EXPECT_THAT(output.text, Not(HasSubstr("Bearer")));
    }
}

TEST_F(Doctor, ARunningProgramIsLeftAlone) {
    desktop->startStatusNotifierTray();
    environment["QT_QPA_PLATFORM"] = "xcb";
    ChildProcess running(
        {program, "--background"},
        [&] {
            EnvironmentChanges own = doctorEnvironment();
            own["HOME"] = newHome().string();
            return own;
        }(),
        home / "running");
    desktop->bus().awaitOwner("com.quorvane.Tandrel");
    const auto output = report();
    EXPECT_THAT(output.text, HasSubstr("[ok] Session bus    the program is running"));
    EXPECT_TRUE(running.isRunning());
    EXPECT_TRUE(desktop->bus().hasOwner("com.quorvane.Tandrel"));
    running.signal(SIGTERM);
    EXPECT_EQ(running.waitForExit(seconds(5)), 0);
    desktop->bus().awaitRelease("com.quorvane.Tandrel");
    EXPECT_THAT(report().text, HasSubstr("[ok] Session bus    the program is not running"));
}

} // namespace
} // namespace tandrel::test
