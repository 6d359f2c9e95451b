#include "Services/AudioCaptureService.h"

#include "DebugLog.h"
#include "Foundation/Precondition.h"
#include "Platform/MainQueue.h"
#include "Services/AudioFormatText.h"
#include "Services/CapturedBufferProcessor.h"
#include "Services/InputDeviceList.h"
#include "Services/MicrophoneAccess.h"
#include "Services/PCMConverter.h"

#include <atomic>
#include <string>
#include <utility>

namespace tandrel {

namespace {

/// Asked of the engine, which grants a length near it.
constexpr std::uint32_t bufferFrameSize = 1024;

const char* kindName(CaptureFault::Kind kind) {
    switch (kind) {
    case CaptureFault::Kind::deviceLost:
        return "deviceLost";
    case CaptureFault::Kind::serverLost:
        return "serverLost";
    case CaptureFault::Kind::stalled:
        return "stalled";
    }
    return "unknown";
}

/// What the tap and the main thread share of the levels.
struct LevelsOnTheirWay {
    std::atomic<bool> isWatched{false};
    std::atomic<float> latest{0.0F};
    /// Whether `latest` is in the main queue already.
    std::atomic<bool> isPosted{false};
};

/// Has what was posted without waking run soon: an action worth a wake-up takes it along.
void deliverWaiting(MainQueue& mainQueue) {
    mainQueue.post([] {});
}

} // namespace

AudioCaptureService::AudioCaptureService(AudioInput& audioInput, MicrophonePermission& permission,
                                         MainQueue& mainQueue)
    : audioInput_(audioInput)
    , permission_(permission)
    , mainQueue_(mainQueue) {
    auto publish = lifetime_.guard([this](float level) { audioLevel.set(level); });
    const auto levels = std::make_shared<LevelsOnTheirWay>();
    processor_ =
        std::make_shared<CapturedBufferProcessor>([&mainQueue, publish, levels](float level) {
            if (levels->isWatched.load()) {
                mainQueue.post([publish, level]() mutable { publish(level); });
                return;
            }
            // Nobody watches, maybe for hours: then no level is worth waking the main thread, or
            // being kept when the next one is there.
            levels->latest.store(level);
            if (!levels->isPosted.exchange(true)) {
                mainQueue.postWithoutWaking([publish, levels]() mutable {
                    levels->isPosted.store(false);
                    publish(levels->latest.load());
                });
            }
        });
    audioLevel.setOnWatched([&mainQueue, levels](bool watched) {
        levels->isWatched.store(watched);
        deliverWaiting(mainQueue);
    });
}

AudioCaptureService::~AudioCaptureService() {
    if (audioEngine_) {
        audioEngine_->removeTap();
        audioEngine_->stop();
    }
}

void AudioCaptureService::setOnAudioBuffer(AudioBufferHandler handler) {
    processor_->setHandler(std::move(handler));
}

void AudioCaptureService::refreshDevices() {
    const auto facts = audioInput_.devices();
    if (!facts) {
        return;
    }
    const std::vector<AudioDevice> devices = inputDevices(*facts);
    availableDevices.set(devices);
    // A choice once made stands, also when its device has gone.
    if (!selectedDevice.value() && !devices.empty()) {
        selectedDevice.set(devices.front());
    }
}

bool AudioCaptureService::isMicrophoneOpen() const {
    const auto& fault = captureFault.value();
    return isCapturing.value() && !(fault && fault->isFinal());
}

Handle AudioCaptureService::awaitDevice(const AudioDevice& device, std::function<void()> found) {
    return audioInput_.awaitDevice(device.uid, std::move(found));
}

Handle
AudioCaptureService::requestMicrophonePermission(std::function<void(bool granted)> completion) {
    return tandrel::requestMicrophonePermission(permission_, std::move(completion));
}

void AudioCaptureService::startCapture(const AudioDevice& device) {
    // A copy: what observers do during the stop may replace the caller's record.
    const AudioDevice chosen = device;
    stopCapture();
    DebugLog::write("[startCapture] device=" + chosen.name +
                    ", onAudioBuffer=" + (processor_->hasHandler() ? "true" : "false"));
    const std::shared_ptr<AudioEngine> engine = audioInput_.makeEngine();
    precondition(engine != nullptr, "the platform made no audio engine");
    prepareEngine(*engine, chosen);
    engine->setFaultHandler(makeFaultHandler(engine));
    engine->start();

    audioEngine_ = engine;
    selectedDevice.set(chosen);
    isCapturing.set(true);
    DebugLog::write("[startCapture] engine started, isCapturing=true");
}

void AudioCaptureService::prepareEngine(AudioEngine& engine, const AudioDevice& device) {
    if (!engine.bindDevice(device.id, device.uid)) {
        throw AudioCaptureError(AudioCaptureError::Case::deviceSelectionFailed);
    }
    const AudioFormat inputFormat = engine.inputFormat();
    std::shared_ptr<PCMConverter> converter = PCMConverter::create(inputFormat);
    if (!converter) {
        throw AudioCaptureError(AudioCaptureError::Case::converterCreationFailed);
    }
    processor_->setConverter(std::move(converter));
    DebugLog::write("[startCapture] inputFormat=" + describe(inputFormat) +
                    ", targetFormat=" + describe(streamFormat));
    engine.installTap(bufferFrameSize,
                      [weak = std::weak_ptr(processor_)](const AudioBuffer& buffer) {
                          if (const auto processor = weak.lock()) {
                              processor->processBuffer(buffer);
                          }
                      });
}

void AudioCaptureService::stopCapture() {
    if (const auto engine = std::exchange(audioEngine_, nullptr)) {
        engine->removeTap();
        engine->stop();
        deliverWaiting(mainQueue_);
    }
    processor_->setConverter(nullptr);
    isCapturing.set(false);
    audioLevel.set(0.0F);
    captureFault.set(std::nullopt);
}

AudioEngine::FaultHandler
AudioCaptureService::makeFaultHandler(const std::shared_ptr<AudioEngine>& engine) {
    auto publish = lifetime_.guard([this, reporter = std::weak_ptr(engine)](const auto& fault) {
        // A report of an engine that has been replaced meanwhile is void.
        if (audioEngine_ && audioEngine_ == reporter.lock()) {
            publishFault(fault);
        }
    });
    // Posted, not published at once: an observer may well stop the capture, and so destroy the
    // engine that is calling.
    return [&mainQueue = mainQueue_, publish](const std::optional<CaptureFault>& fault) {
        mainQueue.post([publish, fault]() mutable { publish(fault); });
    };
}

void AudioCaptureService::publishFault(const std::optional<CaptureFault>& fault) {
    if (fault) {
        DebugLog::write(std::string("[capture] fault=") + kindName(fault->kind) +
                        ", description=" + fault->description);
        // The level of the last buffer would stand there as if it were heard.
        audioLevel.set(0.0F);
    } else {
        DebugLog::write("[capture] sound flows again");
    }
    captureFault.set(fault);
}

} // namespace tandrel
