#pragma once

#include "Platform/AudioInput.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {

class MainQueue;

namespace pulse {
class Server;
}

/// Input devices of the user's sound server, PulseAudio or PipeWire's stand-in for it. A source's
/// name is its unique identifier: indexes start anew with the server. Main thread.
class PulseAudioInput : public AudioInput {
public:
    /// Connects to nothing yet. `mainQueue` must outlive this object and its engines.
    explicit PulseAudioInput(MainQueue& mainQueue);
    ~PulseAudioInput() override;

    [[nodiscard]] std::optional<std::vector<InputDeviceFacts>> devices() override;
    /// Looks every 0.3 s, on a thread that lasts as long as the handle.
    [[nodiscard]] Handle awaitDevice(const std::string& uid, std::function<void()> found) override;
    [[nodiscard]] std::unique_ptr<AudioEngine> makeEngine() override;

private:
    MainQueue& mainQueue_;
    std::shared_ptr<pulse::Server> server_;
};

} // namespace tandrel
