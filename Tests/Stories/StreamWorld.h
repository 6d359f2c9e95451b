#pragma once

#include "AppState.h"
#include "CredentialPath.h"
#include "Outage.h"
#include "Services/APIClient.h"
#include "Services/AudioCaptureService.h"
#include "Services/KeychainService.h"
#include "StreamBackend.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/FakeStreamSocket.h"
#include "Support/FakeUserDefaults.h"
#include "Support/LogCapture.h"
#include "Support/ManualClock.h"
#include "Support/ManualMainQueue.h"
#include "Support/SimulatedServer.h"
#include "Views/MenuBarContentController.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel::test {

/// The program without its widgets, in a world that answers by itself in virtual time and of which
/// one part may fail. At every step it is looked at whether the program is in a state that makes
/// sense; what was found is in `violations()`.
class StreamWorld {
public:
    StreamWorld(const Outage& outage, NthCall& nth);
    ~StreamWorld();
    StreamWorld(const StreamWorld&) = delete;
    StreamWorld& operator=(const StreamWorld&) = delete;

    /// Somebody has signed in at an earlier start.
    void storeSignIn();
    /// A start of the program; the one before must have ended.
    void startProgram();
    /// Its end. What it had under way has ended then.
    void endProgram();

    /// Lets time pass until `condition` holds, or `limit` has passed; whether it holds.
    bool passUntil(const std::function<bool()>& condition, Clock::Duration limit);
    void pass(Clock::Duration duration);

    /// The connection breaks, or the server closes it.
    void loseConnection(int closeCode = 0);
    /// The microphone is unplugged, and soon in again.
    void unplug();
    /// Whether the next start would find the sign-in.
    [[nodiscard]] bool isSignInKept() const;
    /// Messages that the server has received.
    [[nodiscard]] std::size_t receivedCount() const;

    [[nodiscard]] AuthService& auth() { return program_->authService(); }
    [[nodiscard]] SessionService& session() { return program_->sessionService(); }
    [[nodiscard]] WebSocketService& socketService() { return program_->wsService(); }
    [[nodiscard]] MenuBarContentController& program() { return *program_; }
    [[nodiscard]] StreamingController* panel() { return program_->panel.value(); }
    [[nodiscard]] SessionState::Kind sessionKind() { return session().state.value().kind(); }

    /// To be looked at once nobody is signed in and nothing has happened for a minute.
    void checkNothingIsLeft();
    /// To be looked at in the end.
    void checkLogAndConsole(const std::string& console);
    [[nodiscard]] const std::vector<std::string>& violations() const { return violations_; }
    [[nodiscard]] std::vector<std::string> logLines() const { return log_.lines(); }

    StreamBackend backend;
    FakeCredentialStore vault;
    FakeUserDefaults settingsFile;

private:
    void step();
    void answerForTheOutside();
    void checkAlways();
    void checkTexts();
    void check(bool holds, std::string_view what);
    [[nodiscard]] std::size_t openConnections() const;
    [[nodiscard]] std::size_t enginesAlive();

    ManualClock clock_;
    ManualMainQueue mainQueue_;
    SimulatedServer server_;
    FailingHttpTransport transport_;
    FakeStreamSocket sockets_;
    FailingStreamSocket socket_;
    FakeAudioInput soundSystem_;
    FailingAudioInput audioInput_;
    FakeMicrophonePermission desktopPermission_;
    FailingMicrophonePermission permission_;
    FailingUserDefaults settings_;

public:
    CredentialPath credentials;

private:
    const bool connectionsFail_;
    std::set<const FakeConnection*> lost_;
    std::size_t callsSeen_ = 0;
    std::size_t enginesAlive_ = 0;
    std::unique_ptr<KeychainService> keychain_;
    std::unique_ptr<APIClient> apiClient_;
    AppState appState_;
    std::unique_ptr<AudioCaptureService> audio_;
    std::unique_ptr<MenuBarContentController> program_;
    LogCapture log_;
    std::vector<std::string> violations_;
};

} // namespace tandrel::test
