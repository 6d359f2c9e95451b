#pragma once

#include "AppState.h"
#include "Services/AudioCaptureService.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/ManualMainQueue.h"
#include "Support/TestBackend.h"

#include <string>

namespace tandrel::test {

/// All that lies outside the services of a signed-in user, sound included: one microphone, and a
/// permission that the user has yet to give.
struct StreamingFixture {
    StreamingFixture() {
        permission.status = AuthorizationStatus::notDetermined;
        audioInput.deviceFacts = {FakeAudioInput::microphone(7, "Desk microphone", "mic-7")};
        audioService.refreshDevices();
    }

    /// Runs whatever waits for the main thread, without moving time.
    void turn() {
        clock().runPending();
        mainQueue.drain();
    }

    [[nodiscard]] ManualClock& clock() { return backend.clock; }
    [[nodiscard]] FakeConnection& connection() { return backend.streamSocket.latest(); }

    static std::string sessionJson(const std::string& token = "stream-token") {
        return R"({"session_id":"s1","token":")" + token + R"(","interview_id":"i1"})";
    }

    TestBackend backend;
    AppState appState;
    FakeAudioInput audioInput;
    ManualMainQueue mainQueue;
    FakeMicrophonePermission permission{mainQueue};
    AudioCaptureService audioService{audioInput, permission, mainQueue};
};

} // namespace tandrel::test
