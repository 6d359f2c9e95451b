#include "Platform/PulseAudio/PulseAudioInput.h"

#include "Platform/PulseAudio/DeviceLook.h"
#include "Platform/PulseAudio/PulseAudioEngine.h"
#include "Platform/PulseAudio/PulseServer.h"
#include "Platform/RepeatedLook.h"

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

// Long enough for a busy server, short enough for the interface, which waits for it.
constexpr std::chrono::milliseconds longestQuery{500};
// Asking costs the server a fraction of a millisecond.
constexpr std::chrono::milliseconds betweenLooks{300};

InputDeviceFacts toFacts(const pulse::Source& source) {
    InputDeviceFacts facts;
    facts.id = source.index;
    facts.inputStreamChannels = std::vector<std::uint32_t>{source.sampleSpec.channels};
    facts.name = source.description;
    facts.uid = source.name;
    return facts;
}

} // namespace

PulseAudioInput::PulseAudioInput(MainQueue& mainQueue)
    : mainQueue_(mainQueue)
    , server_(std::make_shared<pulse::Server>()) {}

PulseAudioInput::~PulseAudioInput() = default;

std::optional<std::vector<InputDeviceFacts>> PulseAudioInput::devices() {
    const pulse::Deadline deadline = std::chrono::steady_clock::now() + longestQuery;
    const auto connection = server_->connection(deadline);
    if (!connection) {
        return std::nullopt;
    }
    const auto sources = connection.value()->sources(deadline);
    if (!sources) {
        server_->giveUp(connection.value());
        return std::nullopt;
    }
    std::vector<InputDeviceFacts> devices;
    for (const pulse::Source& source : sources.value()) {
        if (!source.isMonitor) {
            devices.push_back(toFacts(source));
        }
    }
    return devices;
}

Handle PulseAudioInput::awaitDevice(const std::string& uid, std::function<void()> found) {
    return std::make_unique<RepeatedLook>(
        mainQueue_, betweenLooks,
        [look = std::make_shared<pulse::DeviceLook>(uid)] { return look->isThere(); },
        std::move(found));
}

std::unique_ptr<AudioEngine> PulseAudioInput::makeEngine() {
    return std::make_unique<PulseAudioEngine>(server_, mainQueue_);
}

} // namespace tandrel
