#pragma once

#include "Foundation/Handle.h"
#include "Foundation/OperationSet.h"
#include "Foundation/Published.h"
#include "Models/AuthModels.h"
#include "Services/AudioDevice.h"
#include "Services/ConnectionState.h"
#include "Services/SessionState.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {

class AppState;
class AudioCaptureService;
class AuthService;
class CaptureRecovery;
class Clock;
class SessionService;
class WebSocketService;
struct CaptureFault;

/// The logic of the signed-in panel: starts and stops streaming, on the user's word, on a URL
/// command or on an error, has a microphone that was lost come back, says what is waited for, and
/// counts how long it has lasted. Destroying it ends all that it has
/// under way: no capture starts and no polling resumes any more. It stops nothing that runs: that
/// is its owner's. Main thread.
class StreamingController {
public:
    /// All but the socket must outlive the controller. The socket is shared with the handler of
    /// captured buffers, which may hold one buffer longer than anything else.
    StreamingController(AuthService& authService, SessionService& sessionService,
                        AudioCaptureService& audioService,
                        std::shared_ptr<WebSocketService> wsService, AppState& appState,
                        Clock& clock);
    ~StreamingController();
    StreamingController(const StreamingController&) = delete;
    StreamingController& operator=(const StreamingController&) = delete;

    /// Seconds since streaming started, in whole steps; 0 while it does not.
    Published<double> streamingDuration{0.0};
    /// The duration as minutes and seconds; there is no hours field ("65:00").
    [[nodiscard]] std::string formattedDuration() const;
    /// For people: what hinders the stream at this moment and may pass by itself; or, until the
    /// next start, that the last one ended for want of a microphone. Absent while all is well.
    Published<std::optional<std::string>> notice;
    /// What the panel shows as its error.
    [[nodiscard]] std::optional<std::string> currentError() const;

    /// To be called whenever the panel is shown: looks for input devices.
    void appear();
    /// Starts streaming if a start was requested, a device is selected and `state` is a found
    /// session; else the request stays pending.
    void tryAutoStart(const SessionState& state);
    /// Starts streaming to `session` from the selected device: the socket first, then the
    /// permission, then the capture. Failures end in `SessionService::error`. Without a device
    /// nothing happens.
    void startStreaming(const TandrelSessionResponse& session);
    /// Stops streaming, or the start that is under way.
    void stopStreaming();

    [[nodiscard]] AuthService& authService() const { return authService_; }
    [[nodiscard]] SessionService& sessionService() const { return sessionService_; }
    [[nodiscard]] AudioCaptureService& audioService() const { return audioService_; }
    [[nodiscard]] WebSocketService& wsService() const { return *wsService_; }

private:
    /// A start under way, from the opening of the socket to the first captured buffer.
    struct StartSequence {
        AudioDevice device;
        bool isWaitingForSocket = true;
        int sleeps = 0;
        Handle step;
    };

    void observeServices();
    void connectionStateChanged(const ConnectionState& state);
    void stopRequested();

    void waitForSocket();
    void requestPermission();
    void permissionAnswered(bool granted);
    void permissionRefused();
    void startCapture(const AudioDevice& device);
    void standByCapture();
    void microphoneStayedAway(const CaptureFault& fault);
    void updateNotice();
    void socketFailed(const ConnectionState& state);
    void fail(const std::string& logLine, const std::string& error);

    void startDurationTimer();
    void stopDurationTimer();

    AuthService& authService_;
    SessionService& sessionService_;
    AudioCaptureService& audioService_;
    std::shared_ptr<WebSocketService> wsService_;
    AppState& appState_;
    Clock& clock_;

    Handle streamingTimer_;
    std::vector<Handle> olderTimers_;
    std::unique_ptr<StartSequence> start_;
    /// Exists from the start of a capture until the stream is stopped.
    std::unique_ptr<CaptureRecovery> recovery_;
    Subscription recoveryFault_;
    /// Why the last stream ended, where nobody may have been looking.
    std::optional<std::string> stopReason_;
    OperationSet endings_;
    std::vector<Subscription> subscriptions_;
};

} // namespace tandrel
