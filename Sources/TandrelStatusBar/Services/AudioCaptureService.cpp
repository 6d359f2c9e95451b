#include "Services/AudioCaptureService.h"

#include "DebugLog.h"
#include "Foundation/Precondition.h"
#include "Platform/MainQueue.h"
#include "Services/AudioFormatText.h"
#include "Services/CapturedBufferProcessor.h"
#include "Services/InputDeviceList.h"
#include "Services/MicrophoneAccess.h"
#include "Services/PCMConverter.h"

#include <string>
#include <utility>

namespace tandrel {

namespace {

/// Asked of the engine, which grants a length near it.
constexpr std::uint32_t bufferFrameSize = 1024;

/// Hands levels over to the main thread. One is posted for every buffer, so that the last one is
/// never held back.
CapturedBufferProcessor::LevelHandler
levelPublisher(MainQueue& mainQueue, const std::weak_ptr<AudioCaptureService>& service) {
    return [&mainQueue, service](float level) {
        mainQueue.post([service, level] {
            if (const auto alive = service.lock()) {
                alive->audioLevel.set(level);
            }
        });
    };
}

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

} // namespace

AudioCaptureService::AudioCaptureService(AudioInput& audioInput, MicrophonePermission& permission,
                                         MainQueue& mainQueue)
    : audioInput_(audioInput)
    , permission_(permission)
    , mainQueue_(mainQueue)
    , lifeline_(this, [](AudioCaptureService*) {}) {
    processor_ = std::make_shared<CapturedBufferProcessor>(levelPublisher(mainQueue, lifeline_));
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

Handle
AudioCaptureService::requestMicrophonePermission(std::function<void(bool granted)> completion) {
    return tandrel::requestMicrophonePermission(permission_, mainQueue_, std::move(completion));
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
    }
    processor_->setConverter(nullptr);
    isCapturing.set(false);
    audioLevel.set(0.0F);
    captureFault.set(std::nullopt);
}

AudioEngine::FaultHandler
AudioCaptureService::makeFaultHandler(const std::shared_ptr<AudioEngine>& engine) {
    // Posted, not published at once: an observer may well stop the capture, and so destroy the
    // engine that is calling. A report of an engine that has been replaced meanwhile is void.
    return [&mainQueue = mainQueue_, service = std::weak_ptr(lifeline_),
            reporter = std::weak_ptr(engine)](const CaptureFault& fault) {
        mainQueue.post([service, reporter, fault] {
            const auto alive = service.lock();
            if (alive && alive->audioEngine_ && alive->audioEngine_ == reporter.lock()) {
                alive->publishFault(fault);
            }
        });
    };
}

void AudioCaptureService::publishFault(const CaptureFault& fault) {
    DebugLog::write(std::string("[capture] fault=") + kindName(fault.kind) +
                    ", description=" + fault.description);
    captureFault.set(fault);
}

} // namespace tandrel
