#include "Support/FailingAudioInput.h"

#include <utility>

namespace tandrel::test {

class FailingAudioInput::Engine : public AudioEngine {
public:
    Engine(std::unique_ptr<AudioEngine> inner, Clock& clock, NthCall& nth, Failure failure)
        : inner_(std::move(inner))
        , clock_(clock)
        , nth_(nth)
        , failure_(std::move(failure)) {}

    [[nodiscard]] bool bindDevice(std::uint32_t id, const std::string& uid) override {
        return !fails(Failure::Call::bindDevice) && inner_->bindDevice(id, uid);
    }

    [[nodiscard]] AudioFormat inputFormat() const override {
        const AudioFormat right = inner_->inputFormat();
        return fails(Failure::Call::inputFormat) ? failure_.format : right;
    }

    void installTap(std::uint32_t bufferFrames, Tap tap) override {
        inner_->installTap(bufferFrames,
                           [isSilent = isSilent_, tap = std::move(tap)](const AudioBuffer& buffer) {
                               if (!*isSilent) {
                                   tap(buffer);
                               }
                           });
    }

    void removeTap() override { inner_->removeTap(); }

    void setFaultHandler(FaultHandler handler) override {
        faultHandler_ = handler;
        inner_->setFaultHandler(std::move(handler));
    }

    void start() override {
        if (fails(Failure::Call::start)) {
            throw AudioEngineError(failure_.description);
        }
        inner_->start();
        if (fails(Failure::Call::capture)) {
            fault_ = clock_.after(failure_.faultAfter, [this] {
                *isSilent_ = true;
                if (failure_.healsAfter) {
                    healing_ = clock_.after(*failure_.healsAfter, [this] {
                        *isSilent_ = false;
                        tell(std::nullopt);
                    });
                }
                tell(CaptureFault{failure_.fault, failure_.description});
            });
        }
    }

    void stop() override {
        fault_.reset();
        healing_.reset();
        inner_->stop();
    }

private:
    [[nodiscard]] bool fails(Failure::Call call) const {
        return failure_.call == call && nth_.fails();
    }

    void tell(const std::optional<CaptureFault>& fault) {
        // A copy: whoever hears of it may drop this engine.
        const FaultHandler handler = faultHandler_;
        handler(fault);
    }

    std::unique_ptr<AudioEngine> inner_;
    Clock& clock_;
    NthCall& nth_;
    const Failure failure_;
    FaultHandler faultHandler_;
    std::shared_ptr<bool> isSilent_ = std::make_shared<bool>(false);
    Handle fault_;
    Handle healing_;
};

std::optional<std::vector<InputDeviceFacts>> FailingAudioInput::devices() {
    auto right = inner_.devices();
    const bool isBad = failure_ && failure_->call == Failure::Call::devices && nth_.fails();
    return isBad ? failure_->devices : right;
}

Handle FailingAudioInput::awaitDevice(const std::string& uid, std::function<void()> found) {
    if (failure_ && failure_->staysAway && nth_.hasFailed()) {
        return std::make_unique<Operation>();
    }
    return inner_.awaitDevice(uid, std::move(found));
}

std::unique_ptr<AudioEngine> FailingAudioInput::makeEngine() {
    auto engine = inner_.makeEngine();
    if (failure_) {
        return std::make_unique<Engine>(std::move(engine), clock_, nth_, *failure_);
    }
    return engine;
}

} // namespace tandrel::test
