#include "Services/CaptureRecovery.h"

#include "DebugLog.h"
#include "Platform/Clock.h"
#include "Services/AudioCaptureService.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

namespace tandrel {

CaptureRecovery::CaptureRecovery(AudioCaptureService& audioService, Clock& clock, Handlers handlers)
    : audioService_(audioService)
    , clock_(clock)
    , handlers_(std::move(handlers))
    , faultSubscription_(
          audioService.captureFault.observe([this](const auto& now) { faultChanged(now); }))
    , selection_(
          audioService.selectedDevice.onChange([this](const auto&) { selectionChanged(); })) {}

CaptureRecovery::~CaptureRecovery() = default;

void CaptureRecovery::faultChanged(const std::optional<CaptureFault>& now) {
    if (isStarting_) {
        return; // cleared by the start
    }
    if (!now) {
        recovered();
        return;
    }
    const CaptureFault& current = *now;
    // What a stall turns into is still the same fault to who waits for sound.
    if (!limit_) {
        limit_ = clock_.after(limit, [this] {
            end([gaveUp = handlers_.gaveUp, last = *fault.value()] { gaveUp(last); });
        });
    }
    isLost_ = current.isFinal();
    if (isLost_) {
        awaitDevice();
    }
    fault.set(current);
}

void CaptureRecovery::selectionChanged() {
    if (isLost_ && !isStarting_) {
        awaitDevice();
    }
}

void CaptureRecovery::awaitDevice() {
    step_.reset();
    const std::optional<AudioDevice>& device = audioService_.selectedDevice.value();
    if (pause_ || !device) {
        return; // the end of the pause, or the next choice, leads here again
    }
    DebugLog::write("[recovery] waiting for " + device->name);
    step_ = audioService_.awaitDevice(*device, [this] { askPermission(); });
}

void CaptureRecovery::askPermission() {
    // As at the start of any capture: it may have been taken back while the device was gone.
    step_ = audioService_.requestMicrophonePermission(
        [this](bool granted) { permissionAnswered(granted); });
}

void CaptureRecovery::permissionAnswered(bool granted) {
    if (granted) {
        step_.reset();
        startCapture();
    } else {
        end(handlers_.refused);
    }
}

void CaptureRecovery::startCapture() {
    pause_ = clock_.after(pause, [this] { pauseEnded(); });
    const std::weak_ptr<const bool> alive = token_;
    isStarting_ = true;
    std::string problem;
    // With the server, its devices' identifiers may have changed.
    audioService_.refreshDevices();
    const AudioDevice device = presentRecord();
    try {
        audioService_.startCapture(device);
    } catch (const std::exception& error) {
        problem = error.what();
    }
    if (alive.expired()) {
        return;
    }
    isStarting_ = false;
    if (problem.empty()) {
        DebugLog::write("[recovery] capture resumed on " + device.name);
        recovered();
    } else {
        DebugLog::write("[recovery] capture did not start: " + problem);
    }
}

/// The selected device as the sound system knows it now.
AudioDevice CaptureRecovery::presentRecord() const {
    const AudioDevice& selected = *audioService_.selectedDevice.value();
    const auto& devices = audioService_.availableDevices.value();
    const auto present = std::find_if(devices.begin(), devices.end(), [&](const auto& device) {
        return device.uid == selected.uid;
    });
    return present == devices.end() ? selected : *present;
}

void CaptureRecovery::recovered() {
    isLost_ = false;
    limit_.reset();
    step_.reset();
    if (fault.value()) {
        fault.set(std::nullopt);
    }
}

void CaptureRecovery::pauseEnded() {
    pause_.reset();
    if (isLost_ && !step_) {
        awaitDevice();
    }
}

void CaptureRecovery::end(const std::function<void()>& outcome) {
    isLost_ = false;
    faultSubscription_.reset();
    selection_.reset();
    limit_.reset();
    step_.reset();
    pause_.reset();
    // A copy: it may destroy this object, and itself with it.
    const std::function<void()> last = outcome;
    last();
}

} // namespace tandrel
