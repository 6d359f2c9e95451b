#pragma once

#include "Platform/LoginStart.h"
#include "Support/Gate.h"
#include "Support/NthCall.h"

#include <memory>
#include <optional>
#include <utility>

namespace tandrel::test {

/// A start at login of which the Nth call of a kind goes wrong; the others are passed on. Any one
/// thread at a time.
class FailingLoginStart : public LoginStart {
public:
    struct Failure {
        enum class Call { look, change };
        Call call = Call::look;
        /// Missing: the call waits until `gate` is open, and then goes well.
        std::optional<LoginStartAnswer> answer;
        std::shared_ptr<Gate> gate;
    };

    /// Without a failure all is passed on. `nth` is shared with whoever counts.
    FailingLoginStart(std::unique_ptr<LoginStart> inner, std::shared_ptr<NthCall> nth,
                      std::optional<Failure> failure)
        : inner_(std::move(inner))
        , nth_(std::move(nth))
        , failure_(std::move(failure)) {}

    [[nodiscard]] LoginStartAnswer look() const override {
        const auto failed = begin(Failure::Call::look);
        return failed ? *failed : inner_->look();
    }
    LoginStartAnswer change(bool toOn) override {
        auto failed = begin(Failure::Call::change);
        if (!failed) {
            return inner_->change(toOn);
        }
        failed->isOn = inner_->look().isOn;
        return *failed;
    }

private:
    /// What the call comes to; missing: what `inner_` says.
    [[nodiscard]] std::optional<LoginStartAnswer> begin(Failure::Call call) const {
        if (!failure_ || failure_->call != call || !nth_->fails()) {
            return std::nullopt;
        }
        if (!failure_->answer) {
            failure_->gate->pass();
        }
        return failure_->answer;
    }

    std::unique_ptr<LoginStart> inner_;
    std::shared_ptr<NthCall> nth_;
    const std::optional<Failure> failure_;
};

} // namespace tandrel::test
