#pragma once

#include "Platform/HttpTransport.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tandrel::test {

/// An HTTP stack without a network. It records every request and completes each only when the test
/// says so; a request that is not answered hangs. Completions keep the rules of `HttpTransport`:
/// once, never from inside `send()` or `cancel()`, none after the exchange is destroyed.
class FakeHttpTransport : public HttpTransport {
public:
    FakeHttpTransport();
    ~FakeHttpTransport() override;

    [[nodiscard]] std::unique_ptr<HttpExchange> send(const HttpRequest& request,
                                                     Completion completion) override;

    /// Every request so far, in order.
    [[nodiscard]] const std::vector<HttpRequest>& requests() const;
    [[nodiscard]] const HttpRequest& lastRequest() const { return requests().back(); }
    /// The values of the header `name` (in any case) of a request, in order.
    [[nodiscard]] static std::vector<std::string> headerValues(const HttpRequest& request,
                                                               std::string_view name);

    /// Exchanges that wait for an answer: neither completed nor destroyed.
    [[nodiscard]] std::size_t pendingCount() const;
    /// Exchanges that were cancelled, or destroyed before their completion.
    [[nodiscard]] std::size_t abortedCount() const;

    /// Completes the oldest exchange that waits; false when none does.
    bool answer(int statusCode, std::string body = {});
    bool fail(TransportError error);

    /// Lets the answer of the oldest exchange that waits come in, without completing it: a later
    /// `cancel()` no longer changes it. `deliver()` completes it.
    bool bringIn(int statusCode, std::string body = {});

    /// Completes what was cancelled or brought in, in the order of the requests; returns how many
    /// completions ran.
    std::size_t deliver();

    /// What a cancelled exchange completes with.
    [[nodiscard]] static TransportError cancelledError();

private:
    class Exchange;
    struct Shared;
    bool complete(Result<HttpResponse, TransportError> outcome);
    std::shared_ptr<Shared> shared_;
};

} // namespace tandrel::test
