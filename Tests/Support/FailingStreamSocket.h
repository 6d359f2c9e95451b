#pragma once

#include "Platform/Clock.h"
#include "Platform/StreamSocket.h"
#include "Support/NthCall.h"

#include <memory>
#include <optional>
#include <string>

namespace tandrel::test {

/// WebSocket connections of which the Nth call of a kind goes wrong; the others are passed on. Main
/// thread, sending included.
class FailingStreamSocket : public StreamSocket {
public:
    struct Failure {
        /// The calls that are counted.
        enum class Call { ping, receive, send, closeCode };
        Call call = Call::ping;
        /// A failed ping or receive is the loss of the connection, a failed send that of its
        /// message. Missing: the right answer comes late.
        std::optional<SocketError> error;
        /// How much later the answer comes; missing: never, which a send alone may do.
        std::optional<Clock::Duration> after = Clock::Duration::zero();
        /// What the server has closed with, when the connection is lost.
        int closeCode = 0;
    };

    /// Without a failure all is passed on. `inner`, `clock` and `nth` must outlive this and its
    /// tasks.
    FailingStreamSocket(StreamSocket& inner, Clock& clock, NthCall& nth,
                        std::optional<Failure> failure)
        : inner_(inner)
        , clock_(clock)
        , nth_(nth)
        , failure_(std::move(failure)) {}

    [[nodiscard]] std::shared_ptr<StreamSocketTask> webSocketTask(const std::string& url) override;

private:
    class Task;

    StreamSocket& inner_;
    Clock& clock_;
    NthCall& nth_;
    const std::optional<Failure> failure_;
};

} // namespace tandrel::test
