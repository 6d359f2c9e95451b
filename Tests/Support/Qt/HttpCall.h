#pragma once

#include "Platform/HttpTransport.h"
#include "Support/Qt/EventLoop.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tandrel::test {

/// A request and what became of it.
class HttpCall {
public:
    using Outcome = Result<HttpResponse, TransportError>;

    HttpCall(HttpTransport& transport, const HttpRequest& request)
        : exchange_(transport.send(request, [this](Outcome outcome) {
            ++completions_;
            outcome_ = std::move(outcome);
        })) {
        EXPECT_EQ(completions_, 0) << "the completion came from inside send()";
    }

    [[nodiscard]] bool isDone() const { return completions_ > 0; }
    [[nodiscard]] int completions() const { return completions_; }
    void cancel() {
        const int before = completions_;
        exchange_->cancel();
        EXPECT_EQ(completions_, before) << "the completion came from inside cancel()";
    }
    void destroy() { exchange_.reset(); }

    /// Waits for the outcome and returns it.
    const Outcome& outcome() {
        if (!runUntil([this] { return isDone(); })) {
            ADD_FAILURE() << "the request never ended";
            outcome_ = TransportError{TransportError::Kind::other, "never ended"};
        }
        return *outcome_;
    }
    int status() {
        const Outcome& result = outcome();
        EXPECT_TRUE(result.ok()) << (result.ok() ? "" : result.error().description);
        return result.ok() ? result.value().statusCode : 0;
    }
    std::string body() { return status() != 0 ? outcome_->value().body : std::string(); }
    TransportError error() {
        const Outcome& result = outcome();
        EXPECT_FALSE(result.ok()) << (result.ok() ? result.value().statusCode : 0);
        return result.ok() ? TransportError{} : result.error();
    }

private:
    std::optional<Outcome> outcome_;
    int completions_ = 0;
    std::unique_ptr<HttpExchange> exchange_;
};

inline HttpRequest get(const std::string& url) {
    return {"GET", url, {}, std::nullopt};
}

inline HttpRequest authenticatedGet(const std::string& url) {
    return {"GET", url, {{"Authorization", "Bearer t0ken"}}, std::nullopt};
}

inline HttpRequest post(const std::string& url, const std::string& body) {
    return {"POST", url, {{"Content-Type", "application/json"}}, body};
}

} // namespace tandrel::test
