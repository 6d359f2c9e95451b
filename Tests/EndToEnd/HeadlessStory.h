#pragma once

#include "EndToEnd/HeadlessProcess.h"
#include "Support/DevBackend.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"
#include "Support/PrivateSoundServer.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// A story of the streaming core as a program that keeps what it knows: real settings, a real
/// keyring, a real microphone, the real backend. Backend and sound serve all stories of a test
/// program; home, bus and keyring are each story's own.
class HeadlessStory : public testing::Test {
protected:
    /// What the tool promises to scripts.
    enum ExitCode {
        success = 0,
        usage = 1,
        signInFailed = 2,
        noDevice = 3,
        noSession = 4,
        streamFailed = 5,
        interrupted = 6
    };
    static constexpr const char* keyringService = "TandrelStatusBar";
    static constexpr std::array accounts{"quorvane-access-token", "quorvane-refresh-token",
                                         "quorvane-user-id"};

    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    [[nodiscard]] static DevBackend& backend() { return *backend_; }
    [[nodiscard]] static PrivateSoundServer& sound() { return *sound_; }
    [[nodiscard]] PrivateKeyring& keyring() { return *keyring_; }
    [[nodiscard]] HeadlessProcess& tool() { return *tool_; }
    /// The folder of the settings file.
    [[nodiscard]] std::filesystem::path settingsFolder() const { return home / ".config/Quorvane"; }

    /// The folder of the debug log.
    [[nodiscard]] std::filesystem::path logFolder() const {
        return home / ".local/state/quorvane-tandrel";
    }

    /// Starts the tool for whoever is signed in; an earlier one of the story is killed first.
    HeadlessProcess& start(std::vector<std::string> arguments = {});
    /// Starts it to sign in with the demo account.
    HeadlessProcess& startAndSignIn(std::vector<std::string> arguments = {});
    /// A session that the tool finds at its next look; ended with the story.
    void startSession();
    [[nodiscard]] const std::string& session() const { return session_; }
    /// Signs in and ends in order: the home and the keyring are then those of a user.
    void signInOnce();
    /// Signs in, finds a session and waits for its sound at the backend.
    void startStreaming(std::vector<std::string> arguments = {});
    /// Waits until more sound has come to the backend.
    [[nodiscard]] bool awaitAudio(std::int64_t more = 10);
    /// Waits until the backend has seen the stream end this way ("client 1000").
    [[nodiscard]] bool ended(const std::string& how);
    /// Signals the tool; its exit code if it came within the two seconds that it may take.
    std::optional<int> endBySignal(int number);
    /// Whether the tool works as on its first day: signs in, streams, stops, quits.
    void expectWholeRun();
    /// Whether the tokens and the profile are where the next start finds them.
    [[nodiscard]] bool isSignInKept();

    /// On top of the story's own, for all starts to come.
    EnvironmentChanges environment;
    std::vector<std::string> launcher;
    std::filesystem::path home;

private:
    /// A process that has ended holds nothing any more; this is what it may have left to the rest
    /// of the system.
    void expectNothingLeft() const;

    static inline std::unique_ptr<PrivateSoundServer> sound_;
    static inline std::unique_ptr<VirtualMicrophoneFeeder> feeder_;
    static inline std::unique_ptr<DevBackend> backend_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<PrivateKeyring> keyring_;
    std::unique_ptr<HeadlessProcess> tool_;
    std::string session_;
    /// Where programs put sockets and the like, and what they need for a moment.
    std::filesystem::path runtimeFolder_;
    std::filesystem::path temporaryFolder_;
    std::vector<std::string> childrenBefore_;
};

} // namespace tandrel::test
