#pragma once

#include "Platform/AudioInput.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tandrel {

class PCMConverter;

/// The tap thread's half of the capture service: measures, converts and hands on each captured
/// buffer. The main thread hands it the converter and the handler; a buffer under way finishes
/// with those that it took. Its counters live as long as it does, so that their log lines are
/// throttled over all captures.
class CapturedBufferProcessor {
public:
    /// Receives frames x 2 bytes of the stream format on the tap thread.
    using Handler = std::function<void(std::vector<std::uint8_t>)>;
    /// Receives the level of every buffer, 0...1, on the tap thread.
    using LevelHandler = std::function<void(float)>;

    explicit CapturedBufferProcessor(LevelHandler onLevel);

    /// Null: buffers are only measured. Any thread.
    void setConverter(std::shared_ptr<PCMConverter> converter);
    /// Empty: converted buffers are dropped. Any thread.
    void setHandler(Handler handler);
    [[nodiscard]] bool hasHandler() const;

    /// Tap thread, one buffer at a time. Allocates the payload and nothing else.
    void processBuffer(const AudioBuffer& buffer);

private:
    void updateAudioLevel(const AudioBuffer& buffer);
    [[nodiscard]] std::shared_ptr<PCMConverter> converter() const;
    [[nodiscard]] std::shared_ptr<const Handler> handler() const;

    const LevelHandler onLevel_;
    std::int64_t processBufferCount_ = 0;
    std::int64_t levelLogCount_ = 0;

    // Guards the two pointers only, never a call: this is not the sound library's callback, and
    // the main thread holds it for a few instructions.
    mutable std::mutex mutex_;
    std::shared_ptr<PCMConverter> converter_;
    std::shared_ptr<const Handler> handler_;
};

} // namespace tandrel
