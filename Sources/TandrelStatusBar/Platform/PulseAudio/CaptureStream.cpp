#include "Platform/PulseAudio/CaptureStream.h"

#include "Platform/PulseAudio/FragmentLength.h"

#include <utility>

namespace tandrel::pulse {

namespace {

constexpr std::chrono::milliseconds watchdogInterval{250};
// Four whole intervals: reported 1.0 to 1.25 s after the last sample.
constexpr int silentTicksAllowed = 4;
// What the server keeps for us while a tap is held up. Its own limit is 4 MB, more than 20 s of
// sound, which would then arrive as one late burst.
constexpr std::uint32_t backlogSeconds = 4;

pa_usec_t nextTick() {
    return pa_rtclock_now() +
           static_cast<pa_usec_t>(std::chrono::microseconds(watchdogInterval).count());
}

/// A stream callback that calls `method` of the object it is registered with.
template <auto method>
void forward(pa_stream*, void* object) {
    (static_cast<CaptureStream*>(object)->*method)();
}

} // namespace

Result<std::unique_ptr<CaptureStream>, Error>
CaptureStream::open(std::shared_ptr<Connection> connection, const CaptureSettings& settings,
                    SampleRing& ring, CaptureEvents events, Deadline deadline) {
    std::unique_ptr<CaptureStream> stream(
        new CaptureStream(std::move(connection), settings, ring, std::move(events)));
    if (const auto error = stream->start(deadline)) {
        return *error;
    }
    return stream;
}

CaptureStream::CaptureStream(std::shared_ptr<Connection> connection,
                             const CaptureSettings& settings, SampleRing& ring,
                             CaptureEvents events)
    : connection_(std::move(connection))
    , settings_(settings)
    , ring_(ring)
    , events_(std::move(events))
    , bufferReady_(std::make_shared<const std::function<void()>>(std::move(events_.bufferReady))) {
    connection_->addStream();
}

CaptureStream::~CaptureStream() {
    {
        const auto lock = connection_->loop().lock();
        connection_->loop().removeObserver(*this);
        muteQuery_.reset();
        watchdog_.reset();
        stream_.reset();
    }
    connection_->removeStream();
}

std::optional<Error> CaptureStream::start(Deadline deadline) {
    auto lock = connection_->loop().lock();
    connection_->loop().addObserver(*this);
    createWatchdog();
    if (!createStream() || !requestRecording()) {
        return connection_->lastError();
    }
    const auto isSettled = [this] {
        const pa_stream_state_t state = pa_stream_get_state(stream_.get());
        return state == PA_STREAM_READY || !PA_STREAM_IS_GOOD(state);
    };
    if (!connection_->loop().waitUntil(lock, deadline, isSettled)) {
        return Error{PA_ERR_TIMEOUT};
    }
    if (pa_stream_get_state(stream_.get()) != PA_STREAM_READY) {
        return connection_->lastError();
    }
    if (!recordsTheRightSource()) {
        return Error{PA_ERR_NOENTITY};
    }
    checkMute();
    return std::nullopt;
}

void CaptureStream::createWatchdog() {
    watchdog_ = {pa_context_rttime_new(
                     connection_->context(), nextTick(),
                     [](pa_mainloop_api*, pa_time_event*, const timeval*, void* object) {
                         static_cast<CaptureStream*>(object)->onWatchdog();
                     },
                     this),
                 {connection_->loop().api()}};
}

bool CaptureStream::createStream() {
    stream_.reset(pa_stream_new(connection_->context(), "Microphone", &settings_.sampleSpec,
                                &settings_.channelMap));
    if (!stream_) {
        return false;
    }
    pa_stream_set_state_callback(stream_.get(), forward<&CaptureStream::onStateChange>, this);
    pa_stream_set_moved_callback(stream_.get(), forward<&CaptureStream::onMoved>, this);
    pa_stream_set_read_callback(
        stream_.get(),
        [](pa_stream*, std::size_t, void* object) {
            static_cast<CaptureStream*>(object)->onReadable();
        },
        this);
    return true;
}

bool CaptureStream::requestRecording() {
    const auto frameBytes = static_cast<std::uint32_t>(pa_frame_size(&settings_.sampleSpec));
    constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
    pa_buffer_attr buffering;
    buffering.maxlength = backlogSeconds * settings_.sampleSpec.rate * frameBytes;
    buffering.tlength = serversChoice;
    buffering.prebuf = serversChoice;
    buffering.minreq = serversChoice;
    // A whole buffer: each smaller portion would wake this thread and the server once more.
    buffering.fragsize = fragmentBytes(settings_.sampleSpec, settings_.bufferFrames);
    // Without ADJUST_LATENCY a source may deliver in bursts of 2 s. With DONT_MOVE the stream ends
    // with its device, rather than recording another one.
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    return pa_stream_connect_record(stream_.get(), settings_.sourceName.c_str(), &buffering,
                                    flags) == 0;
}

bool CaptureStream::recordsTheRightSource() const {
    const char* const name = pa_stream_get_device_name(stream_.get());
    return name != nullptr && settings_.sourceName == name;
}

void CaptureStream::onStateChange() {
    const pa_stream_state_t state = pa_stream_get_state(stream_.get());
    if (state == PA_STREAM_READY) {
        isOpen_ = recordsTheRightSource();
    } else if (!PA_STREAM_IS_GOOD(state) && isOpen_) {
        if (PA_CONTEXT_IS_GOOD(pa_context_get_state(connection_->context()))) {
            lose(CaptureFault::Kind::deviceLost, "The microphone was disconnected");
        } else {
            lose(CaptureFault::Kind::serverLost, "The sound server stopped");
        }
    }
    connection_->loop().signal();
}

void CaptureStream::onMoved() {
    lose(CaptureFault::Kind::deviceLost, "The recording was moved to another device");
}

/// Real-time: copies, and nothing else that could wait. The consumer has its turn once this has
/// returned.
void CaptureStream::onReadable() noexcept {
    const std::size_t channels = settings_.sampleSpec.channels;
    const std::size_t frameBytes = channels * sizeof(float);
    const void* data = nullptr;
    std::size_t bytes = 0;
    while (pa_stream_peek(stream_.get(), &data, &bytes) == 0 && bytes > 0) {
        const std::size_t frames = bytes / frameBytes;
        if (isOpen_ && frames > ring_.room()) {
            // After a tap that was held up all of the backlog may come at once. What does not fit
            // stays with libpulse until the next call, some milliseconds on; the tap's turn is
            // between.
            break;
        }
        if (!isOpen_) {
            // Not known to be the right source, or no longer.
        } else if (data != nullptr) {
            ring_.push(static_cast<const float*>(data), frames, channels);
        } else {
            // A hole, where the server lost sound: its length is kept.
            ring_.pushSilence(frames);
        }
        framesReceived_ += frames;
        pa_stream_drop(stream_.get());
    }
    isBufferReady_ = ring_.size() >= settings_.bufferFrames;
}

LoopObserver::Work CaptureStream::aboutToWait() {
    return std::exchange(isBufferReady_, false) ? bufferReady_ : nullptr;
}

/// Catches what no event tells, such as a session manager that died. The stream stays as it is: a
/// server that was only busy, or a device that wakes up, goes on by itself.
void CaptureStream::onWatchdog() {
    pa_context_rttime_restart(connection_->context(), watchdog_.get(), nextTick());
    const bool isSilent = std::exchange(framesAtLastTick_, framesReceived_) == framesReceived_;
    if (!isOpen_) {
        silentTicks_ = 0;
        return;
    }
    if (!isSilent) {
        silentTicks_ = 0;
        if (std::exchange(isStalled_, false)) {
            events_.fault(std::nullopt);
        }
        return;
    }
    if (++silentTicks_ >= silentTicksAllowed && !std::exchange(isStalled_, true)) {
        events_.fault(CaptureFault{CaptureFault::Kind::stalled,
                                   pa_stream_is_suspended(stream_.get()) > 0
                                       ? "The microphone was suspended"
                                       : "No sound arrives from the microphone"});
    }
}

void CaptureStream::lose(CaptureFault::Kind kind, std::string description) {
    isOpen_ = false;
    if (!std::exchange(isLost_, true)) {
        events_.fault(CaptureFault{kind, std::move(description)});
    }
}

void CaptureStream::checkMute() {
    muteQuery_.reset(pa_context_get_source_output_info(
        connection_->context(), pa_stream_get_index(stream_.get()),
        [](pa_context*, const pa_source_output_info* info, int, void* object) {
            if (info != nullptr && info->mute != 0) {
                static_cast<CaptureStream*>(object)->events_.muted();
            }
        },
        this));
}

} // namespace tandrel::pulse
