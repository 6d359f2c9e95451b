#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Platform/AudioInput.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace tandrel {

class AudioCaptureService;
class Clock;
struct AudioDevice;

/// Stands by a running capture. When its microphone or the sound server goes, it waits for the
/// selected device, and starts the capture anew once that is there; it never takes another. A stall
/// is left to pass by itself. Destroying it ends all that it has under way and stops nothing that
/// runs. Main thread.
class CaptureRecovery {
public:
    /// How long a fault may last.
    static constexpr std::chrono::seconds limit{30};
    /// At least, between two starts.
    static constexpr std::chrono::milliseconds pause{500};

    /// How it may end without success; at most one of them is called, and nothing happens after it.
    /// Both may destroy this object.
    struct Handlers {
        /// The fault has lasted for the whole limit.
        std::function<void(const CaptureFault& fault)> gaveUp;
        /// The device is there, but this program may not record any more.
        std::function<void()> refused;
    };

    /// For a capture that has just been started; service and clock must outlive this object.
    CaptureRecovery(AudioCaptureService& audioService, Clock& clock, Handlers handlers);
    ~CaptureRecovery();
    CaptureRecovery(const CaptureRecovery&) = delete;
    CaptureRecovery& operator=(const CaptureRecovery&) = delete;

    /// What is wrong, from the moment that the service tells of it until sound may flow again:
    /// unlike the service's own it stays while starts fail.
    Published<std::optional<CaptureFault>> fault;

private:
    void faultChanged(const std::optional<CaptureFault>& now);
    void selectionChanged();
    void awaitDevice();
    void askPermission();
    void permissionAnswered(bool granted);
    void startCapture();
    [[nodiscard]] AudioDevice presentRecord() const;
    void recovered();
    void pauseEnded();
    void end(const std::function<void()>& outcome);

    AudioCaptureService& audioService_;
    Clock& clock_;
    Handlers handlers_;

    /// Whether the capture has to be started anew.
    bool isLost_ = false;
    bool isStarting_ = false;
    /// The wait for the device, then the question whether it may be used.
    Handle step_;
    Handle limit_;
    Handle pause_;
    Subscription faultSubscription_;
    Subscription selection_;
    /// For what the service's observers may do to this object during a start.
    std::shared_ptr<const bool> token_ = std::make_shared<const bool>(true);
};

} // namespace tandrel
