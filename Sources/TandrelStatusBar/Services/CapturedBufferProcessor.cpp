#include "Services/CapturedBufferProcessor.h"

#include "DebugLog.h"
#include "Foundation/Console.h"
#include "Foundation/Precondition.h"
#include "Services/AudioLevel.h"
#include "Services/PCMConverter.h"

#include <new>
#include <string>
#include <utility>

namespace tandrel {

namespace {

/// The first few buffers show that capture works, every 200th (4 s) that it goes on.
bool isLogged(std::int64_t count) {
    return count <= 5 || count % 200 == 0;
}

const char* text(bool value) {
    return value ? "true" : "false";
}

/// The stream format's bytes for one buffer; empty when there are none.
std::vector<std::uint8_t> convert(PCMConverter& converter, const AudioBuffer& buffer,
                                  std::uint32_t capacity) {
    if (buffer.floatChannelData == nullptr) {
        printLine("Audio conversion error: the buffer holds no floating-point samples");
        return {};
    }
    std::vector<std::uint8_t> bytes;
    try {
        bytes.resize(capacity * streamBytesPerFrame);
    } catch (const std::bad_alloc&) {
        return {};
    }
    const auto frames = converter.convert({buffer.floatChannelData, buffer.frameLength}, bytes);
    if (!frames) {
        printLine("Audio conversion error: " + frames.error().description);
        return {};
    }
    bytes.resize(frames.value() * streamBytesPerFrame);
    return bytes;
}

} // namespace

CapturedBufferProcessor::CapturedBufferProcessor(LevelHandler onLevel)
    : onLevel_(std::move(onLevel)) {}

void CapturedBufferProcessor::setConverter(std::shared_ptr<PCMConverter> converter) {
    const std::lock_guard lock(mutex_);
    // Swapped, so that the old one is freed by the argument, after the lock.
    converter_.swap(converter);
}

void CapturedBufferProcessor::setHandler(Handler handler) {
    auto shared = handler ? std::make_shared<const Handler>(std::move(handler)) : nullptr;
    const std::lock_guard lock(mutex_);
    handler_.swap(shared);
}

bool CapturedBufferProcessor::hasHandler() const {
    return handler() != nullptr;
}

std::shared_ptr<PCMConverter> CapturedBufferProcessor::converter() const {
    const std::lock_guard lock(mutex_);
    return converter_;
}

std::shared_ptr<const CapturedBufferProcessor::Handler> CapturedBufferProcessor::handler() const {
    const std::lock_guard lock(mutex_);
    return handler_;
}

void CapturedBufferProcessor::processBuffer(const AudioBuffer& buffer) {
    const std::int64_t count = increment(processBufferCount_);
    if (isLogged(count)) {
        DebugLog::write("[processBuffer] #" + std::to_string(count) +
                        " frames=" + std::to_string(buffer.frameLength) + " hasConverter=" +
                        text(converter() != nullptr) + " hasCallback=" + text(hasHandler()));
    }
    updateAudioLevel(buffer);

    const std::shared_ptr<PCMConverter> converter = this->converter();
    if (!converter) {
        return;
    }
    const std::uint32_t capacity = streamFrameCapacity(buffer.frameLength, buffer.sampleRate);
    if (capacity == 0) {
        return;
    }
    std::vector<std::uint8_t> bytes = convert(*converter, buffer, capacity);
    if (bytes.empty()) {
        return;
    }
    if (isLogged(count)) {
        DebugLog::write("[processBuffer] sending " + std::to_string(bytes.size()) +
                        " bytes to callback");
    }
    if (const auto handler = this->handler()) {
        (*handler)(std::move(bytes));
    }
}

void CapturedBufferProcessor::updateAudioLevel(const AudioBuffer& buffer) {
    if (buffer.floatChannelData == nullptr) {
        if (increment(levelLogCount_) <= 3) {
            DebugLog::write("[audioLevel] no floatChannelData!");
        }
        return;
    }
    const AudioLevel measured = measureLevel({buffer.floatChannelData, buffer.frameLength});
    const std::int64_t count = increment(levelLogCount_);
    if (isLogged(count)) {
        DebugLog::write("[audioLevel] #" + std::to_string(count) + " rms=" +
                        shortestText(measured.rms) + " level=" + shortestText(measured.level));
    }
    onLevel_(measured.level);
}

} // namespace tandrel
