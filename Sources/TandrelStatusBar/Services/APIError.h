#pragma once

#include "Models/AuthModels.h"
#include "Platform/HttpTransport.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace tandrel {

/// How a backend call can fail.
class APIError {
public:
    struct HttpError {
        std::int64_t statusCode = 0;
        std::optional<std::string> message;
        friend bool operator==(const HttpError&, const HttpError&) = default;
    };
    struct InvalidURL {
        friend bool operator==(const InvalidURL&, const InvalidURL&) = default;
    };
    struct Unauthorized {
        friend bool operator==(const Unauthorized&, const Unauthorized&) = default;
    };
    using Case = std::variant<HttpError, DecodingError, TransportError, InvalidURL, Unauthorized>;

    static APIError httpError(std::int64_t statusCode,
                              std::optional<std::string> message = std::nullopt);
    static APIError decodingError(DecodingError underlying);
    static APIError networkError(TransportError underlying);
    static APIError invalidURL();
    static APIError unauthorized();

    [[nodiscard]] const Case& value() const { return value_; }
    [[nodiscard]] bool isUnauthorized() const {
        return std::holds_alternative<Unauthorized>(value_);
    }

    /// For users.
    [[nodiscard]] std::string errorDescription() const;
    /// Case and payload, for the log: `httpError(statusCode: 404, message: nil)`.
    [[nodiscard]] std::string rendering() const;

    friend bool operator==(const APIError&, const APIError&) = default;

private:
    // In place: g++ 12 with sanitizers warns of a variant that is moved.
    template <typename Alternative>
    APIError(std::in_place_type_t<Alternative> type, Alternative alternative)
        : value_(type, std::move(alternative)) {}
    Case value_;
};

} // namespace tandrel
