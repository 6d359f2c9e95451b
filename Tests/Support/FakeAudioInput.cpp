#include "Support/FakeAudioInput.h"

#include <utility>

namespace tandrel::test {

struct FakeAudioInput::EngineState {
    // Held while the tap runs, so that nothing is under way once `stop()` has returned; recursive,
    // so that a tap on the test's own thread may stop the engine.
    std::recursive_mutex mutex;
    AudioEngine::Tap tap;
    AudioEngine::FaultHandler faultHandler;
    std::uint32_t bufferFrames = 0;
    bool started = false;
    bool isLost = false;
};

/// A device that somebody awaits, for as long as the handle lives.
struct FakeAudioInput::Wait {
    std::string uid;
    std::function<void()> found;
};

class FakeAudioInput::Engine : public AudioEngine {
public:
    Engine(const FakeAudioInput& script, int number, std::shared_ptr<EngineState> state)
        : bindSucceeds_(script.bindSucceeds)
        , inputFormat_(script.inputFormat)
        , startError_(script.startError)
        , calls_(script.calls_)
        , prefix_(std::to_string(number) + ".")
        , state_(std::move(state)) {}

    ~Engine() override {
        halt();
        record("destroyed");
    }

    bool bindDevice(std::uint32_t id, const std::string& uid) override {
        record("bindDevice(" + std::to_string(id) + ", " + uid + ")");
        return bindSucceeds_;
    }

    AudioFormat inputFormat() const override {
        record("inputFormat");
        return inputFormat_;
    }

    void installTap(std::uint32_t bufferFrames, Tap tap) override {
        record("installTap(" + std::to_string(bufferFrames) + ")");
        const std::lock_guard lock(state_->mutex);
        state_->bufferFrames = bufferFrames;
        state_->tap = std::move(tap);
    }

    void removeTap() override {
        record("removeTap");
        const std::lock_guard lock(state_->mutex);
        state_->bufferFrames = 0;
        state_->tap = nullptr;
    }

    void setFaultHandler(FaultHandler handler) override {
        record("setFaultHandler");
        const std::lock_guard lock(state_->mutex);
        state_->faultHandler = std::move(handler);
    }

    void start() override {
        record("start");
        if (startError_) {
            throw AudioEngineError(*startError_);
        }
        const std::lock_guard lock(state_->mutex);
        state_->started = true;
        state_->isLost = false;
    }

    void stop() override {
        record("stop");
        halt();
    }

private:
    void halt() {
        const std::lock_guard lock(state_->mutex);
        state_->started = false;
    }

    void record(const std::string& call) const { calls_->push_back(prefix_ + call); }

    bool bindSucceeds_;
    AudioFormat inputFormat_;
    std::optional<std::string> startError_;
    std::shared_ptr<std::vector<std::string>> calls_;
    std::string prefix_;
    std::shared_ptr<EngineState> state_;
};

FakeAudioInput::FakeAudioInput()
    : calls_(std::make_shared<std::vector<std::string>>())
    , newest_(std::make_shared<EngineState>()) {}

FakeAudioInput::~FakeAudioInput() = default;

std::optional<std::vector<InputDeviceFacts>> FakeAudioInput::devices() {
    calls_->emplace_back("devices");
    return deviceFacts;
}

Handle FakeAudioInput::awaitDevice(const std::string& uid, std::function<void()> found) {
    class Awaiting : public Operation {
    public:
        explicit Awaiting(std::shared_ptr<Wait> wait)
            : wait_(std::move(wait)) {}

    private:
        std::shared_ptr<Wait> wait_;
    };
    calls_->push_back("awaitDevice(" + uid + ")");
    auto wait = std::make_shared<Wait>(Wait{uid, std::move(found)});
    waits_.push_back(wait);
    return std::make_unique<Awaiting>(std::move(wait));
}

std::vector<std::string> FakeAudioInput::awaited() const {
    std::vector<std::string> uids;
    for (const auto& weak : waits_) {
        if (const auto wait = weak.lock(); wait && wait->found) {
            uids.push_back(wait->uid);
        }
    }
    return uids;
}

int FakeAudioInput::findDevice(const std::string& uid) {
    std::erase_if(waits_, [](const auto& wait) { return wait.expired(); });
    int count = 0;
    for (const auto& weak : std::vector(waits_)) {
        const auto wait = weak.lock();
        if (wait && wait->uid == uid && wait->found) {
            const auto found = std::exchange(wait->found, nullptr);
            found();
            ++count;
        }
    }
    return count;
}

std::unique_ptr<AudioEngine> FakeAudioInput::makeEngine() {
    calls_->emplace_back("makeEngine");
    auto state = std::make_shared<EngineState>();
    auto engine = std::make_unique<Engine>(*this, ++engineCount_, state);
    const std::lock_guard lock(mutex_);
    newest_ = std::move(state);
    return engine;
}

std::shared_ptr<FakeAudioInput::EngineState> FakeAudioInput::newest() const {
    const std::lock_guard lock(mutex_);
    return newest_;
}

InputDeviceFacts FakeAudioInput::microphone(std::uint32_t id, std::string name, std::string uid,
                                            std::uint32_t channels) {
    return {id, std::vector{channels}, std::move(name), std::move(uid)};
}

bool FakeAudioInput::isRunning() const {
    const auto state = newest();
    const std::lock_guard lock(state->mutex);
    return state->started && state->tap;
}

std::uint32_t FakeAudioInput::requestedBufferFrames() const {
    const auto state = newest();
    const std::lock_guard lock(state->mutex);
    return state->bufferFrames;
}

bool FakeAudioInput::push(std::span<const float> samples) {
    return push(AudioBuffer{samples.data(), static_cast<std::uint32_t>(samples.size()),
                            inputFormat.sampleRate});
}

bool FakeAudioInput::push(const AudioBuffer& buffer) {
    const auto state = newest();
    const std::lock_guard lock(state->mutex);
    if (!state->started || !state->tap) {
        return false;
    }
    // A copy: the call may end in the tap's removal.
    const AudioEngine::Tap tap = state->tap;
    tap(buffer);
    return true;
}

bool FakeAudioInput::pushSilence(std::uint32_t frameLength) {
    return push(std::vector<float>(frameLength));
}

AudioEngine::Tap FakeAudioInput::installedTap() const {
    const auto state = newest();
    const std::lock_guard lock(state->mutex);
    return state->tap;
}

bool FakeAudioInput::reportFault(const std::optional<CaptureFault>& fault) {
    const auto state = newest();
    const std::lock_guard lock(state->mutex);
    if (!state->started || !state->faultHandler || state->isLost) {
        return false;
    }
    state->isLost = fault && fault->isFinal();
    // A copy: it may replace itself.
    const AudioEngine::FaultHandler handler = state->faultHandler;
    handler(fault);
    return true;
}

const std::vector<std::string>& FakeAudioInput::calls() const {
    return *calls_;
}

void FakeAudioInput::clearCalls() {
    calls_->clear();
}

} // namespace tandrel::test
