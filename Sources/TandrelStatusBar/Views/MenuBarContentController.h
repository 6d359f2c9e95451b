#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Platform/Clock.h"
#include "Platform/CredentialStore.h"
#include "Services/AuthService.h"
#include "Services/SessionService.h"
#include "Services/WebSocketService.h"
#include "Views/StreamingController.h"

#include <functional>
#include <memory>
#include <vector>

namespace tandrel {

class APIClient;
class AppState;
class AudioCaptureService;
class KeychainService;
class StreamSocket;
class UserDefaults;

/// The root content without its widgets: owns the services of the signed-in user, restores the
/// previous sign-in once, and has the panel's logic exist exactly while somebody is signed in. Main
/// thread.
class MenuBarContentController {
public:
    /// What lies outside; all must outlive the controller.
    struct Environment {
        APIClient& apiClient;
        AudioCaptureService& audioService;
        KeychainService& keychain;
        UserDefaults& userDefaults;
        StreamSocket& streamSocket;
        AppState& appState;
        Clock& clock;
    };

    /// Makes the stored credentials readable and calls `done`, then or later, with what came of it.
    /// May return null when they are already.
    using CredentialLoader = std::function<Handle(std::function<void(CredentialAccess)> done)>;

    /// Without a loader the credentials are taken to be readable and kept.
    explicit MenuBarContentController(const Environment& environment,
                                      CredentialLoader loadCredentials = {});
    /// Shuts down.
    ~MenuBarContentController();
    MenuBarContentController(const MenuBarContentController&) = delete;
    MenuBarContentController& operator=(const MenuBarContentController&) = delete;

    /// To be called whenever the content is shown. The first time it restores the previous sign-in,
    /// as soon as the credentials are readable, after 30 s at the latest. If they cannot be read by
    /// then, it does so when they can, unless somebody has signed in by hand.
    void appear();

    /// To be called when a store of credentials has come, or come back.
    void credentialStoreAppeared();

    /// For the end of the program, whatever is under way: stops capture, closes the socket
    /// normally, ends all pending work. Nothing starts any more. May be called again.
    void shutdown();

    /// The panel's logic; null while nobody is signed in. It is announced when it exists, and that
    /// it goes before it does.
    Published<StreamingController*> panel{nullptr};

    /// Whether a sign-in will be remembered; assigned by whoever learns of it.
    Published<CredentialKeeping> credentialKeeping;

    [[nodiscard]] AuthService& authService() { return authService_; }
    [[nodiscard]] SessionService& sessionService() { return sessionService_; }
    [[nodiscard]] WebSocketService& wsService() { return *wsService_; }
    [[nodiscard]] AudioCaptureService& audioService() { return environment_.audioService; }

private:
    void loadCredentials();
    void credentialsLoaded(CredentialAccess access);
    void restoreSoon(Clock::Duration delay, CredentialAccess access);
    void restoreSession(CredentialAccess access);
    [[nodiscard]] bool hasMovedOn();
    void authenticationChanged(bool isAuthenticated);
    void createPanel();
    void destroyPanel();

    Environment environment_;
    CredentialLoader loadCredentials_;
    AuthService authService_;
    SessionService sessionService_;
    std::shared_ptr<WebSocketService> wsService_;
    std::unique_ptr<StreamingController> streamingController_;

    /// `waiting`: once tried, without being able to read the credentials.
    enum class Restore { due, waiting, done };

    bool hasInitialized_ = false;
    Restore restoreState_ = Restore::due;
    Handle credentialLoad_;
    Handle startUp_;
    Handle restore_;
    Subscription authentication_;
};

} // namespace tandrel
