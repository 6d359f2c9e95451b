#pragma once

#include <utility>
#include <variant>

namespace tandrel {

/// A value or the error that came in its place. Exactly one of the two is held.
template <typename Value, typename Error>
class Result {
public:
    // Implicit, so that a function returns either as it is.
    Result(Value value)
        : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error)
        : state_(std::in_place_index<1>, std::move(error)) {}

    [[nodiscard]] bool ok() const { return state_.index() == 0; }
    explicit operator bool() const { return ok(); }

    /// The value; only when `ok()`.
    [[nodiscard]] const Value& value() const& { return std::get<0>(state_); }
    [[nodiscard]] Value&& value() && { return std::get<0>(std::move(state_)); }
    /// The error; only when not `ok()`.
    [[nodiscard]] const Error& error() const& { return std::get<1>(state_); }
    [[nodiscard]] Error&& error() && { return std::get<1>(std::move(state_)); }

private:
    std::variant<Value, Error> state_;
};

} // namespace tandrel
