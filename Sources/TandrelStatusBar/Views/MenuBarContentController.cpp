#include "Views/MenuBarContentController.h"

#include "Services/AudioCaptureService.h"

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

constexpr std::chrono::seconds credentialTimeout(30);

} // namespace

MenuBarContentController::MenuBarContentController(const Environment& environment,
                                                   CredentialLoader loadCredentials)
    : credentialKeeping(loadCredentials ? CredentialKeeping::unknown : CredentialKeeping::kept)
    , environment_(environment)
    , loadCredentials_(std::move(loadCredentials))
    , authService_(environment.apiClient, environment.keychain, environment.userDefaults)
    , sessionService_(environment.apiClient, environment.keychain, environment.clock)
    , wsService_(std::make_shared<WebSocketService>(environment.apiClient, environment.streamSocket,
                                                    environment.clock))
    , authentication_(authService_.isAuthenticated.onChange(
          [this](bool isAuthenticated) { authenticationChanged(isAuthenticated); })) {}

MenuBarContentController::~MenuBarContentController() {
    shutdown();
}

void MenuBarContentController::appear() {
    if (hasInitialized_) {
        return;
    }
    // Before any waiting: a second appearance during the restore does nothing.
    hasInitialized_ = true;
    if (!loadCredentials_) {
        restoreSoon(Clock::Duration::zero(), CredentialAccess::readable);
        return;
    }
    restoreSoon(credentialTimeout, CredentialAccess::unreadable);
    loadCredentials();
}

void MenuBarContentController::credentialStoreAppeared() {
    credentialKeeping.set(CredentialKeeping::kept);
    // A look that is under way may have missed it; the new one stands in for it.
    if (loadCredentials_ && hasInitialized_ && restoreState_ != Restore::done) {
        loadCredentials();
    }
}

void MenuBarContentController::loadCredentials() {
    credentialLoad_ =
        loadCredentials_([this](CredentialAccess access) { credentialsLoaded(access); });
}

void MenuBarContentController::credentialsLoaded(CredentialAccess access) {
    credentialKeeping.set(access == CredentialAccess::noStore ? CredentialKeeping::notKept
                                                              : CredentialKeeping::kept);
    if (restoreState_ == Restore::due ||
        (restoreState_ == Restore::waiting && access == CredentialAccess::readable)) {
        restoreSoon(Clock::Duration::zero(), access);
    }
}

void MenuBarContentController::restoreSoon(Clock::Duration delay, CredentialAccess access) {
    startUp_ = environment_.clock.after(delay, [this, access] { restoreSession(access); });
}

void MenuBarContentController::restoreSession(CredentialAccess access) {
    const bool isLate = restoreState_ == Restore::waiting;
    restoreState_ = access == CredentialAccess::readable ? Restore::done : Restore::waiting;
    if (isLate && (authService_.isAuthenticated.value() || authService_.isLoading.value())) {
        return; // somebody was quicker than the keyring
    }
    restore_ = authService_.restoreSession(
        [this] {
            if (authService_.isAuthenticated.value() && !hasMovedOn()) {
                sessionService_.startPolling();
            }
        },
        access);
}

bool MenuBarContentController::hasMovedOn() {
    // The search began with the sign-in; a slow validation may end after it has found a session,
    // and even streams it. Searching anew would then take the stream's state away while the
    // microphone stays open.
    const SessionState::Kind kind = sessionService_.state.value().kind();
    return kind != SessionState::Kind::idle && kind != SessionState::Kind::polling;
}

void MenuBarContentController::authenticationChanged(bool isAuthenticated) {
    if (isAuthenticated) {
        if (restoreState_ == Restore::waiting) {
            restoreState_ = Restore::done;
        }
        sessionService_.startPolling();
        createPanel();
        return;
    }
    // The panel first, so that nothing it has under way sees, or outlives, the teardown.
    destroyPanel();
    sessionService_.stopPolling();
    environment_.audioService.stopCapture();
    wsService_->disconnect();
}

void MenuBarContentController::createPanel() {
    streamingController_ = std::make_unique<StreamingController>(
        authService_, sessionService_, environment_.audioService, wsService_, environment_.appState,
        environment_.clock);
    panel.set(streamingController_.get());
}

void MenuBarContentController::destroyPanel() {
    panel.set(nullptr);
    streamingController_.reset();
}

void MenuBarContentController::shutdown() {
    hasInitialized_ = true;
    restoreState_ = Restore::done;
    authentication_.reset();
    credentialLoad_.reset();
    startUp_.reset();
    restore_.reset();
    destroyPanel();
    sessionService_.stopPolling();
    environment_.audioService.stopCapture();
    // No buffer comes any more, so the socket's last user goes here, on the main thread.
    environment_.audioService.setOnAudioBuffer(nullptr);
    wsService_->disconnect();
}

} // namespace tandrel
