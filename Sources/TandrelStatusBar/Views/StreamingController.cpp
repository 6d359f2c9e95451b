#include "Views/StreamingController.h"

#include "AppState.h"
#include "DebugLog.h"
#include "Platform/Clock.h"
#include "Services/AudioCaptureService.h"
#include "Services/AuthService.h"
#include "Services/CaptureFaultText.h"
#include "Services/CaptureRecovery.h"
#include "Services/SessionService.h"
#include "Services/WebSocketService.h"

#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <utility>

namespace tandrel {

namespace {

constexpr std::chrono::milliseconds socketCheckInterval(100);
constexpr int maxSocketChecks = 100;
constexpr std::chrono::seconds durationTick(1);

/// The error for the log: the case's name, or the engine's own words.
std::string rendering(const std::exception& error) {
    if (const auto* capture = dynamic_cast<const AudioCaptureError*>(&error)) {
        return capture->caseName();
    }
    return error.what();
}

} // namespace

StreamingController::StreamingController(AuthService& authService, SessionService& sessionService,
                                         AudioCaptureService& audioService,
                                         std::shared_ptr<WebSocketService> wsService,
                                         AppState& appState, Clock& clock)
    : authService_(authService)
    , sessionService_(sessionService)
    , audioService_(audioService)
    , wsService_(std::move(wsService))
    , appState_(appState)
    , clock_(clock) {
    // A stop that came while there was nothing to stop is void; left standing, it would keep the
    // next one from being seen.
    appState_.stopRequested.set(false);
    observeServices();
}

StreamingController::~StreamingController() = default;

void StreamingController::observeServices() {
    subscriptions_.push_back(
        sessionService_.state.onChange([this](const SessionState& state) { tryAutoStart(state); }));
    subscriptions_.push_back(appState_.autoStartRequested.onChange([this](bool requested) {
        if (requested) {
            tryAutoStart(sessionService_.state.value());
        }
    }));
    subscriptions_.push_back(wsService_->state.onChange(
        [this](const ConnectionState& state) { connectionStateChanged(state); }));
    subscriptions_.push_back(wsService_->isReconnecting.onChange([this](bool) { updateNotice(); }));
    subscriptions_.push_back(appState_.stopRequested.onChange([this](bool requested) {
        if (requested) {
            stopRequested();
        }
    }));
}

std::string StreamingController::formattedDuration() const {
    const auto seconds = static_cast<std::int64_t>(streamingDuration.value());
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%02" PRId64 ":%02" PRId64, seconds / 60, seconds % 60);
    return text.data();
}

std::optional<std::string> StreamingController::currentError() const {
    if (const auto& error = sessionService_.error.value()) {
        return error;
    }
    if (const std::string* message = wsService_->state.value().errorMessage()) {
        return *message;
    }
    return std::nullopt;
}

void StreamingController::appear() {
    audioService_.refreshDevices();
}

void StreamingController::connectionStateChanged(const ConnectionState& state) {
    const std::string* message = state.errorMessage();
    if (message == nullptr || sessionService_.state.value() != SessionState::streaming()) {
        return;
    }
    DebugLog::write("[PopoverView] WebSocket error during streaming: " + *message +
                    " — resetting to poll");
    if (start_ && start_->isWaitingForSocket) {
        // The start that waits for this socket ends with its own outcome.
        socketFailed(state);
    } else {
        stopStreaming();
    }
}

void StreamingController::stopRequested() {
    appState_.stopRequested.set(false);
    if (sessionService_.state.value() == SessionState::streaming()) {
        DebugLog::write("[PopoverView] Stop requested via URL scheme");
        stopStreaming();
    }
}

void StreamingController::tryAutoStart(const SessionState& state) {
    if (!appState_.autoStartRequested.value() || !audioService_.selectedDevice.value() ||
        state.session() == nullptr) {
        return;
    }
    DebugLog::write("[AutoStart] Conditions met — starting streaming");
    // Copied: `state` may be the very value that the start replaces.
    const TandrelSessionResponse session = *state.session();
    appState_.autoStartRequested.set(false);
    startStreaming(session);
}

void StreamingController::startStreaming(const TandrelSessionResponse& session) {
    const std::optional<AudioDevice> device = audioService_.selectedDevice.value();
    if (!device) {
        DebugLog::write("[Streaming] No device selected");
        return;
    }
    DebugLog::write("[Streaming] Starting — connect WebSocket first, then audio");
    const std::string token = session.token; // `session` may go with the state that holds it
    stopReason_.reset();
    updateNotice();
    sessionService_.state.set(SessionState::streaming());
    startDurationTimer();
    audioService_.setOnAudioBuffer([socket = wsService_](std::vector<std::uint8_t> data) {
        socket->sendAudioData(std::move(data));
    });
    // Before connecting, which may fail at once and then ends this start.
    start_ = std::make_unique<StartSequence>();
    start_->device = *device;
    start_->step = clock_.after(Clock::Duration::zero(), [this] { waitForSocket(); });
    wsService_->connect(token);
}

void StreamingController::waitForSocket() {
    const ConnectionState state = wsService_->state.value();
    const bool isDecided = state.kind() == ConnectionState::Kind::connected ||
                           state.kind() == ConnectionState::Kind::error;
    if (!isDecided && start_->sleeps < maxSocketChecks) {
        ++start_->sleeps;
        start_->step = clock_.after(socketCheckInterval, [this] { waitForSocket(); });
        return;
    }
    if (state.kind() == ConnectionState::Kind::connected) {
        requestPermission();
    } else {
        socketFailed(state);
    }
}

void StreamingController::socketFailed(const ConnectionState& state) {
    fail("[Streaming] WebSocket failed to connect: " + state.rendering(),
         "Failed to connect WebSocket");
}

void StreamingController::requestPermission() {
    DebugLog::write("[Streaming] WebSocket connected, requesting mic permission");
    start_->isWaitingForSocket = false;
    start_->step = audioService_.requestMicrophonePermission(
        [this](bool granted) { permissionAnswered(granted); });
}

void StreamingController::permissionAnswered(bool granted) {
    if (!granted) {
        permissionRefused();
        return;
    }
    DebugLog::write("[Streaming] Mic permission granted, starting audio capture");
    const std::unique_ptr<StartSequence> finished = std::move(start_);
    startCapture(finished->device);
}

void StreamingController::permissionRefused() {
    fail("[Streaming] Microphone permission denied",
         "Microphone permission denied. Grant access in System Settings → Privacy & Security "
         "→ Microphone.");
}

void StreamingController::startCapture(const AudioDevice& device) {
    try {
        audioService_.startCapture(device);
    } catch (const std::exception& error) {
        fail("[Streaming] Audio capture failed: " + rendering(error),
             std::string("Failed to start audio: ") + error.what());
        return;
    }
    DebugLog::write("[Streaming] Audio capture started");
    standByCapture();
}

void StreamingController::standByCapture() {
    recovery_ = std::make_unique<CaptureRecovery>(
        audioService_, clock_,
        CaptureRecovery::Handlers{
            [this](const CaptureFault& fault) { microphoneStayedAway(fault); },
            [this] { permissionRefused(); }});
    recoveryFault_ = recovery_->fault.observe([this](const auto&) { updateNotice(); });
}

void StreamingController::microphoneStayedAway(const CaptureFault& fault) {
    const std::string reason = stoppedText(fault.kind);
    fail("[Streaming] Microphone did not come back: " + fault.description, reason);
    // The error goes with the next search for a session, 2 s from now.
    stopReason_ = reason;
    updateNotice();
}

void StreamingController::updateNotice() {
    std::optional<std::string> now;
    if (const auto fault = recovery_ ? recovery_->fault.value() : std::nullopt) {
        // Before the connection, which needs nobody's help.
        now = waitingText(fault->kind);
    } else if (wsService_->isReconnecting.value()) {
        now = "Connection lost. Reconnecting…";
    } else {
        now = stopReason_;
    }
    if (now != notice.value()) {
        notice.set(std::move(now));
    }
}

void StreamingController::fail(const std::string& logLine, const std::string& error) {
    DebugLog::write(logLine);
    stopStreaming();
    // After the stop, so that it is what the panel shows.
    sessionService_.error.set(error);
}

void StreamingController::stopStreaming() {
    // First: nothing of a start that was stopped may follow, neither a question to the user nor a
    // capture.
    const std::unique_ptr<StartSequence> stopped = std::move(start_);
    recoveryFault_.reset();
    const std::unique_ptr<CaptureRecovery> standby = std::move(recovery_);
    stopDurationTimer();
    audioService_.stopCapture();
    wsService_->disconnect();
    updateNotice();
    endings_.after(clock_, Clock::Duration::zero(), [this] {
        endings_.start([this](OperationSet::Ended ended) {
            return sessionService_.endSession(std::move(ended));
        });
    });
}

void StreamingController::startDurationTimer() {
    streamingDuration.set(0.0);
    // A timer that still runs is not ended by the next one; both count until the panel goes.
    if (streamingTimer_) {
        olderTimers_.push_back(std::move(streamingTimer_));
    }
    streamingTimer_ = clock_.every(
        durationTick, [this] { streamingDuration.set(streamingDuration.value() + 1.0); });
}

void StreamingController::stopDurationTimer() {
    streamingTimer_.reset();
    streamingDuration.set(0.0);
}

} // namespace tandrel
