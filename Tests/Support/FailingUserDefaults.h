#pragma once

#include "Platform/UserDefaults.h"
#include "Support/NthCall.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tandrel::test {

/// Settings of which the Nth call of a kind goes wrong; the others are passed on. Main thread.
class FailingUserDefaults : public UserDefaults {
public:
    struct Failure {
        enum class Call {
            /// The answer is `bytes`.
            data,
            /// Nothing is changed.
            setData,
            remove,
        };
        Call call = Call::data;
        std::optional<std::string> bytes;
    };

    /// Without a failure all is passed on. `inner` and `nth` must outlive this.
    FailingUserDefaults(UserDefaults& inner, NthCall& nth, std::optional<Failure> failure)
        : inner_(inner)
        , nth_(nth)
        , failure_(std::move(failure)) {}

    [[nodiscard]] std::optional<std::string> data(std::string_view key) const override {
        return fails(Failure::Call::data) ? failure_->bytes : inner_.data(key);
    }
    void setData(std::string_view key, std::string bytes) override {
        if (!fails(Failure::Call::setData)) {
            inner_.setData(key, std::move(bytes));
        }
    }
    void remove(std::string_view key) override {
        if (!fails(Failure::Call::remove)) {
            inner_.remove(key);
        }
    }

private:
    [[nodiscard]] bool fails(Failure::Call call) const {
        return failure_ && failure_->call == call && nth_.fails();
    }

    UserDefaults& inner_;
    NthCall& nth_;
    const std::optional<Failure> failure_;
};

} // namespace tandrel::test
