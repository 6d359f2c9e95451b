#include "Platform/PulseAudio/PulseAudioEngine.h"

#include "DebugLog.h"
#include "Platform/MainQueue.h"

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds longestConnect{2};
constexpr std::chrono::seconds longestStreamStart{3};
// More than the library takes from the server between two turns of the tap.
constexpr std::size_t ringSeconds = 2;

} // namespace

PulseAudioEngine::PulseAudioEngine(std::shared_ptr<pulse::Server> server, MainQueue& mainQueue)
    : server_(std::move(server))
    , mainQueue_(mainQueue) {
    source_.sampleSpec = {PA_SAMPLE_FLOAT32NE, 48000, 1};
    pa_channel_map_init_mono(&source_.channelMap);
}

PulseAudioEngine::~PulseAudioEngine() {
    // Not the virtual stop(): this class's own.
    PulseAudioEngine::stop();
}

bool PulseAudioEngine::bindDevice(std::uint32_t /*id*/, const std::string& uid) {
    bindError_.reset();
    const pulse::Deadline deadline = steady_clock::now() + longestConnect;
    const auto connection = server_->connection(deadline);
    if (!connection) {
        bindError_ = connection.error();
        return true;
    }
    auto source = connection.value()->source(uid, deadline);
    if (!source) {
        if (source.error().code == PA_ERR_NOENTITY) {
            return false;
        }
        server_->giveUp(connection.value());
        bindError_ = source.error();
        return true;
    }
    if (source.value().isMonitor) {
        return false;
    }
    source_ = std::move(source).value();
    return true;
}

AudioFormat PulseAudioEngine::inputFormat() const {
    return {static_cast<double>(grant().sampleRate), source_.sampleSpec.channels,
            SampleType::float32, true};
}

void PulseAudioEngine::installTap(std::uint32_t bufferFrames, Tap tap) {
    requestedFrames_ = bufferFrames;
    tap_ = std::move(tap);
}

void PulseAudioEngine::removeTap() {
    stop();
    tap_ = nullptr;
}

void PulseAudioEngine::setFaultHandler(FaultHandler handler) {
    faultHandler_ = std::move(handler);
    if (faultRelay_) {
        faultRelay_->handler = faultHandler_;
    }
}

void PulseAudioEngine::start() {
    stop();
    if (bindError_) {
        failStart(*bindError_);
    }
    const auto connection = server_->connection(steady_clock::now() + longestConnect);
    if (!connection) {
        failStart(connection.error());
    }
    const CaptureGrant granted = grant();
    ring_ = std::make_shared<SampleRing>(ringSeconds * granted.sampleRate);
    tapFeed_ = std::make_shared<TapFeed>(
        ring_, granted.bufferFrames, granted.sampleRate, tap_ ? tap_ : [](const AudioBuffer&) {});
    faultRelay_ = std::make_shared<FaultRelay>(FaultRelay{faultHandler_});
    auto stream =
        pulse::CaptureStream::open(connection.value(), captureSettings(), *ring_, captureEvents(),
                                   steady_clock::now() + longestStreamStart);
    if (!stream) {
        stop();
        if (stream.error().code == PA_ERR_TIMEOUT) {
            server_->giveUp(connection.value());
        }
        failStart(stream.error());
    }
    stream_ = std::move(stream).value();
}

void PulseAudioEngine::stop() {
    faultRelay_.reset();
    stream_.reset();
    if (const auto feed = std::exchange(tapFeed_, nullptr)) {
        feed->end();
    }
    if (ring_ && ring_->dropped() > 0) {
        DebugLog::write("[capture] frames lost because the tap was too slow: " +
                        std::to_string(ring_->dropped()));
    }
    ring_.reset();
}

CaptureGrant PulseAudioEngine::grant() const {
    return grantCapture(source_.sampleSpec.rate, requestedFrames_);
}

pulse::CaptureSettings PulseAudioEngine::captureSettings() const {
    pulse::CaptureSettings settings;
    settings.sourceName = source_.name.value_or("");
    settings.sampleSpec = {PA_SAMPLE_FLOAT32NE, grant().sampleRate, source_.sampleSpec.channels};
    settings.channelMap = source_.channelMap;
    settings.bufferFrames = grant().bufferFrames;
    return settings;
}

pulse::CaptureEvents PulseAudioEngine::captureEvents() {
    pulse::CaptureEvents events;
    events.bufferReady = [feed = tapFeed_] { feed->deliver(); };
    events.fault = [&queue = mainQueue_,
                    weak = std::weak_ptr(faultRelay_)](std::optional<CaptureFault> fault) {
        queue.post([weak, fault = std::move(fault)] {
            if (const auto relay = weak.lock(); relay && relay->handler) {
                // A copy: the handler may replace itself.
                const FaultHandler handler = relay->handler;
                handler(fault);
            }
        });
    };
    events.muted = [&queue = mainQueue_] {
        queue.post([] {
            DebugLog::write("[capture] this recording is muted in the system's sound settings");
        });
    };
    return events;
}

void PulseAudioEngine::failStart(const pulse::Error& error) {
    throw AudioEngineError(error.description());
}

} // namespace tandrel
