#pragma once

#include "Platform/Clock.h"
#include "Platform/HttpTransport.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace tandrel::test {

/// A server that answers every request by itself, in virtual time, and keeps all the rules of
/// `HttpTransport`. Main thread.
class SimulatedServer : public HttpTransport {
public:
    using Answer = std::function<HttpResponse(const HttpRequest&)>;

    static constexpr std::chrono::milliseconds roundTrip{40};
    /// Bytes of each part of a body that is taken in parts.
    static constexpr std::size_t partSize = 8;

    /// `answer` is asked when a request has arrived. The clock must outlive the server.
    SimulatedServer(Clock& clock, Answer answer)
        : clock_(clock)
        , answer_(std::move(answer)) {}

    [[nodiscard]] std::unique_ptr<HttpExchange> send(const HttpRequest& request,
                                                     Completion completion) override;

    /// Requests under way: neither completed nor destroyed.
    [[nodiscard]] std::size_t pendingCount() const { return *pending_; }

private:
    class Exchange;

    Clock& clock_;
    const Answer answer_;
    std::shared_ptr<std::size_t> pending_ = std::make_shared<std::size_t>(0);
};

} // namespace tandrel::test
