#pragma once

#include <string>
#include <utility>

namespace tandrel {

/// The stream socket's state. `error` carries the text for the user.
class ConnectionState {
public:
    enum class Kind { disconnected, connecting, connected, error };

    static ConnectionState disconnected() { return ConnectionState(Kind::disconnected, {}); }
    static ConnectionState connecting() { return ConnectionState(Kind::connecting, {}); }
    static ConnectionState connected() { return ConnectionState(Kind::connected, {}); }
    static ConnectionState error(std::string message) {
        return ConnectionState(Kind::error, std::move(message));
    }

    ConnectionState() = default;

    [[nodiscard]] Kind kind() const { return kind_; }
    /// The error's text; null in every other state.
    [[nodiscard]] const std::string* errorMessage() const {
        return kind_ == Kind::error ? &message_ : nullptr;
    }
    /// For the log: `connected`, `error("…")`.
    [[nodiscard]] std::string rendering() const;

    friend bool operator==(const ConnectionState&, const ConnectionState&) = default;

private:
    ConnectionState(Kind kind, std::string message)
        : kind_(kind)
        , message_(std::move(message)) {}

    Kind kind_ = Kind::disconnected;
    std::string message_;
};

} // namespace tandrel
