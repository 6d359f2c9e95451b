#pragma once

#include "Platform/CachedCredentialStore.h"
#include "Platform/Linux/SystemMicrophonePermission.h"
#include "Platform/PulseAudio/PulseAudioInput.h"
#include "Platform/Qt/QtHttpTransport.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Platform/WebSocket/QtStreamSocket.h"
#include "Services/APIClient.h"
#include "Services/AudioCaptureService.h"
#include "Services/KeychainService.h"
#include "Views/MenuBarContentController.h"

#include <string>

namespace tandrel {

/// The program's adapters and services, one of each, put together. Nothing connects to anything
/// before the content appears. Main thread.
class AppServices {
public:
    /// State and clock must outlive the services.
    AppServices(const std::string& backendBaseURL, AppState& appState, Clock& clock);
    AppServices(const AppServices&) = delete;
    AppServices& operator=(const AppServices&) = delete;
    ~AppServices();

    [[nodiscard]] MenuBarContentController& content() { return content_; }

    /// Whether there is a keyring to be had, as far as the session bus knows.
    void keyringChanged(bool isThere);
    /// A keyring came, or came back.
    void keyringAppeared();

    /// Stops everything, and waits (at most 1.7 s) until it is closed and stored.
    void shutDown();

private:
    QtMainQueue mainQueue_;
    QtHttpTransport transport_;
    QtStreamSocket socket_;
    PulseAudioInput audioInput_;
    SystemMicrophonePermission permission_;
    SettingsUserDefaults settings_;
    CachedCredentialStore credentials_;
    KeychainService keychain_;
    APIClient apiClient_;
    AudioCaptureService audioService_;
    MenuBarContentController content_;
};

} // namespace tandrel
