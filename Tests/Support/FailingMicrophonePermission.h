#pragma once

#include "Platform/Clock.h"
#include "Platform/MicrophonePermission.h"
#include "Support/BadAnswer.h"
#include "Support/NthCall.h"

#include <functional>
#include <optional>

namespace tandrel::test {

/// A permission of which the Nth call of a kind goes wrong; the others are passed on. Main thread.
class FailingMicrophonePermission : public MicrophonePermission {
public:
    /// The calls that are counted are those with a bad answer.
    struct Failure {
        std::optional<BadAnswer<AuthorizationStatus>> status;
        std::optional<BadAnswer<bool>> access;
    };

    /// Without a failure all is passed on. `inner`, `clock` and `nth` must outlive this.
    FailingMicrophonePermission(MicrophonePermission& inner, Clock& clock, NthCall& nth,
                                std::optional<Failure> failure)
        : inner_(inner)
        , clock_(clock)
        , nth_(nth)
        , failure_(failure.value_or(Failure{})) {}

    [[nodiscard]] Handle
    authorizationStatus(std::function<void(AuthorizationStatus status)> completion) override;
    [[nodiscard]] Handle requestAccess(std::function<void(bool granted)> completion) override;

private:
    MicrophonePermission& inner_;
    Clock& clock_;
    NthCall& nth_;
    const Failure failure_;
};

} // namespace tandrel::test
