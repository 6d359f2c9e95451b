#pragma once

#include "Foundation/Handle.h"
#include "Platform/Clock.h"

#include <functional>
#include <optional>
#include <utility>

namespace tandrel::test {

/// What comes in the place of a call's answer: another one, the right one late, or none.
template <typename Value>
struct BadAnswer {
    /// Missing: the right one.
    std::optional<Value> value;
    /// How much later it comes; missing: never.
    std::optional<Clock::Duration> after = Clock::Duration::zero();

    static BadAnswer late(Clock::Duration by) { return {std::nullopt, by}; }
    static BadAnswer never() { return {std::nullopt, std::nullopt}; }
};

/// A call that is answered badly. Destroying it silences the completion. Main thread.
template <typename Value>
class BadlyAnsweredCall : public Operation {
public:
    using Completion = std::function<void(Value)>;
    /// Makes the call whose answer is the right one; null where there is nothing to hold.
    using Call = std::function<Handle(Completion)>;

    BadlyAnsweredCall(Clock& clock, const BadAnswer<Value>& bad, Completion completion,
                      const Call& call)
        : clock_(clock)
        , completion_(std::move(completion)) {
        if (bad.value && bad.after) {
            answerAfter(*bad.after, *bad.value);
        } else if (bad.after) {
            call_ = call(
                [this, delay = *bad.after](Value right) { answerAfter(delay, std::move(right)); });
        }
    }

private:
    void answerAfter(Clock::Duration delay, Value value) {
        // By copies: the completion may destroy this.
        answer_ = clock_.after(
            delay, [completion = completion_, value = std::move(value)] { completion(value); });
    }

    Clock& clock_;
    Completion completion_;
    Handle call_;
    Handle answer_;
};

} // namespace tandrel::test
