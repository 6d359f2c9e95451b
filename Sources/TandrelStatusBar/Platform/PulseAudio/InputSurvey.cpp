#include "Platform/PulseAudio/InputSurvey.h"

#include "Platform/GrantedBuffer.h"
#include "Platform/PulseAudio/CaptureStream.h"
#include "Platform/PulseAudio/PulseConnection.h"
#include "Platform/SampleRing.h"
#include "Services/AudioLevel.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace tandrel {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds longestConnect{1000};
constexpr milliseconds longestQuery{500};
constexpr milliseconds longestStart{1500};
/// A device that slept takes a moment until its first sound.
constexpr milliseconds longestWakeUp{1000};
constexpr milliseconds betweenLooks{20};
constexpr std::size_t mostInputs = 16;
constexpr std::uint32_t requestedFrames = 1024;

struct ServerFacts {
    std::string name;
    std::string version;
    std::string defaultSource;
};

std::string orEmpty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

/// What the server says of itself; nothing when it does not answer in time.
std::optional<ServerFacts> askServer(pulse::Connection& connection, pulse::Deadline deadline) {
    struct Answer {
        pulse::Loop& loop;
        std::optional<ServerFacts> facts;
        bool isOver = false;
    };
    Answer answer{connection.loop(), {}, false};
    auto lock = connection.loop().lock();
    const pulse::PendingOperation operation(pa_context_get_server_info(
        connection.context(),
        [](pa_context*, const pa_server_info* info, void* data) {
            auto& received = *static_cast<Answer*>(data);
            if (info != nullptr) {
                received.facts =
                    ServerFacts{orEmpty(info->server_name), orEmpty(info->server_version),
                                orEmpty(info->default_source_name)};
            }
            received.isOver = true;
            received.loop.signal();
        },
        &answer));
    if (operation) {
        connection.loop().waitUntil(lock, deadline, [&] { return answer.isOver; });
    }
    return answer.facts;
}

/// Hears one input, from its construction to its end.
class Listener {
public:
    Listener(std::shared_ptr<pulse::Connection> connection, const pulse::Source& source,
             milliseconds duration, pulse::Deadline deadline)
        : grant_(grantCapture(source.sampleSpec.rate, requestedFrames))
        , wanted_(grant_.sampleRate * static_cast<std::size_t>(duration.count()) / 1000)
        , ring_(2 * wanted_) {
        pulse::CaptureSettings settings;
        settings.sourceName = source.name.value_or("");
        settings.sampleSpec = {PA_SAMPLE_FLOAT32NE, grant_.sampleRate, source.sampleSpec.channels};
        settings.channelMap = source.channelMap;
        settings.bufferFrames = grant_.bufferFrames;
        auto opened = pulse::CaptureStream::open(std::move(connection), settings, ring_,
                                                 eventsInto(news_), deadline);
        if (opened) {
            stream_ = std::move(opened).value();
        } else {
            problem_ = opened.error().description();
        }
    }

    /// Whether there is nothing to wait for.
    [[nodiscard]] bool isDone() const {
        return !stream_ || ring_.size() >= wanted_ || news_->isOver;
    }

    /// Ends the recording and says what was heard.
    void conclude(SurveyedInput& input) {
        stream_.reset();
        std::vector<float> samples(std::min(ring_.size(), wanted_));
        ring_.pop(samples.data(), samples.size());
        input.isMuted = input.isMuted || news_->isMuted;
        if (!samples.empty()) {
            float peak = 0;
            for (const float sample : samples) {
                peak = std::max(peak, std::fabs(sample));
            }
            input.loudness = InputLoudness{measureLevel(samples).rms, peak};
            return;
        }
        const std::lock_guard lock(news_->mutex);
        input.problem = !problem_.empty()       ? problem_
                        : !news_->fault.empty() ? news_->fault
                                                : "No sound arrives";
    }

private:
    struct News {
        std::atomic<bool> isMuted{false};
        std::atomic<bool> isOver{false};
        std::mutex mutex;
        std::string fault;
    };

    static pulse::CaptureEvents eventsInto(const std::shared_ptr<News>& news) {
        pulse::CaptureEvents events;
        events.bufferReady = [] {};
        events.muted = [news] { news->isMuted = true; };
        events.fault = [news](const std::optional<CaptureFault>& fault) {
            if (!fault) {
                return; // sound after all: too late for a survey, which has concluded
            }
            const std::lock_guard lock(news->mutex);
            news->fault = fault->description;
            news->isOver = true;
        };
        return events;
    }

    CaptureGrant grant_;
    std::size_t wanted_;
    SampleRing ring_;
    std::shared_ptr<News> news_ = std::make_shared<News>();
    std::string problem_;
    std::unique_ptr<pulse::CaptureStream> stream_;
};

void listen(const std::shared_ptr<pulse::Connection>& connection,
            const std::vector<pulse::Source>& sources, std::vector<SurveyedInput>& inputs,
            milliseconds duration) {
    const auto startDeadline = steady_clock::now() + longestStart;
    std::vector<std::unique_ptr<Listener>> listeners;
    for (std::size_t index = 0; index < std::min(sources.size(), mostInputs); ++index) {
        listeners.push_back(
            std::make_unique<Listener>(connection, sources[index], duration, startDeadline));
    }
    const auto end = steady_clock::now() + duration + longestWakeUp;
    const auto isDone = [](const auto& listener) { return listener->isDone(); };
    while (steady_clock::now() < end && !std::all_of(listeners.begin(), listeners.end(), isDone)) {
        std::this_thread::sleep_for(betweenLooks);
    }
    for (std::size_t index = 0; index < listeners.size(); ++index) {
        listeners[index]->conclude(inputs[index]);
    }
}

SurveyedInput describe(const pulse::Source& source, const std::string& defaultSource) {
    SurveyedInput input;
    input.uid = source.name.value_or("");
    input.name = source.description.value_or(input.uid);
    input.sampleRate = source.sampleSpec.rate;
    input.channels = source.sampleSpec.channels;
    input.isDefault = !input.uid.empty() && input.uid == defaultSource;
    input.isMuted = source.isMuted;
    return input;
}

} // namespace

Result<InputSurvey, std::string> surveyInputs(milliseconds listening) {
    const auto connection = pulse::Connection::open(steady_clock::now() + longestConnect);
    if (!connection) {
        return connection.error().description();
    }
    const auto server = askServer(*connection.value(), steady_clock::now() + longestQuery);
    auto sources = connection.value()->sources(steady_clock::now() + longestQuery);
    if (!server || !sources) {
        return std::string(sources ? "It does not answer" : sources.error().description());
    }
    InputSurvey survey{server->name, server->version, {}};
    std::vector<pulse::Source> microphones = std::move(sources).value();
    std::erase_if(microphones, [](const pulse::Source& source) { return source.isMonitor; });
    for (const pulse::Source& source : microphones) {
        survey.inputs.push_back(describe(source, server->defaultSource));
    }
    if (listening > milliseconds(0)) {
        listen(connection.value(), microphones, survey.inputs, listening);
    }
    return survey;
}

} // namespace tandrel
