#include "Services/APIError.h"

#include <iomanip>
#include <sstream>
#include <utility>

namespace tandrel {

namespace {

struct Description {
    std::string operator()(const APIError::HttpError& error) const {
        return error.message.value_or("HTTP error " + std::to_string(error.statusCode));
    }
    std::string operator()(const DecodingError& error) const {
        return "Failed to parse response: " + error.description;
    }
    std::string operator()(const TransportError& error) const { return error.description; }
    std::string operator()(const APIError::InvalidURL& /*error*/) const { return "Invalid URL"; }
    std::string operator()(const APIError::Unauthorized& /*error*/) const {
        return "Session expired. Please log in again.";
    }
};

struct Rendering {
    std::string operator()(const APIError::HttpError& error) const {
        std::ostringstream text;
        text << "httpError(statusCode: " << error.statusCode << ", message: ";
        if (error.message) {
            text << std::quoted(*error.message);
        } else {
            text << "nil";
        }
        text << ')';
        return text.str();
    }
    std::string operator()(const DecodingError& error) const {
        return "decodingError(" + error.description + ')';
    }
    std::string operator()(const TransportError& error) const {
        return "networkError(" + error.description + ')';
    }
    std::string operator()(const APIError::InvalidURL& /*error*/) const { return "invalidURL"; }
    std::string operator()(const APIError::Unauthorized& /*error*/) const { return "unauthorized"; }
};

} // namespace

APIError APIError::httpError(std::int64_t statusCode, std::optional<std::string> message) {
    return {std::in_place_type<HttpError>, HttpError{statusCode, std::move(message)}};
}

APIError APIError::decodingError(DecodingError underlying) {
    return {std::in_place_type<DecodingError>, std::move(underlying)};
}

APIError APIError::networkError(TransportError underlying) {
    return {std::in_place_type<TransportError>, std::move(underlying)};
}

APIError APIError::invalidURL() {
    return {std::in_place_type<InvalidURL>, InvalidURL{}};
}

APIError APIError::unauthorized() {
    return {std::in_place_type<Unauthorized>, Unauthorized{}};
}

std::string APIError::errorDescription() const {
    return std::visit(Description{}, value_);
}

std::string APIError::rendering() const {
    return std::visit(Rendering{}, value_);
}

} // namespace tandrel
