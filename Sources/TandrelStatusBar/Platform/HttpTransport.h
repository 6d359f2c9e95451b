#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Result.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {

/// Where the answers to a request may send it on to.
enum class HttpRedirects {
    /// The same scheme, host and port, so that headers and body never leave them.
    withinOrigin,
    /// Any place that https reaches; from plain http on this machine also plain http on this
    /// machine. For requests that hold nothing of the user's.
    secure,
};

/// Takes the body of an answer part by part, of at most 64 KiB. The next part comes once `taken`
/// was called, on the main thread and later than the sink; until then the sender waits. The sink
/// does not destroy the exchange. Main thread.
using HttpBodySink = std::function<void(std::string part, std::function<void()> taken)>;

/// One request as it goes out. `url` is absolute and valid (see `isValidUrl`); its bytes are sent
/// as they stand.
struct HttpRequest {
    /// What most answers never come near.
    static constexpr std::size_t usualMaxBodySize = std::size_t{1024} * 1024;

    std::string method;
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;

    HttpRedirects redirects = HttpRedirects::withinOrigin;
    /// Bytes, unpacked; a longer body is refused.
    std::uint64_t maxBodySize = usualMaxBodySize;
    /// When set, it gets the body of an answer with status 200, and `HttpResponse::body` is empty.
    HttpBodySink sink = nullptr;
};

/// A complete answer: final status (the redirects that the request allows already followed) and
/// whole body.
struct HttpResponse {
    int statusCode = 0;
    std::string body;
};

/// Why a transfer gave no answer: no connection, time-out, TLS, cancellation, oversized reply.
struct TransportError {
    enum class Kind { other, timedOut, cancelled, tls, tooLarge };
    Kind kind = Kind::other;
    /// For people; holds no URL, header or body.
    std::string description;

    friend bool operator==(const TransportError&, const TransportError&) = default;
};

/// A request under way. Destroying it silences the completion and aborts the transfer.
class HttpExchange : public Operation {
public:
    /// Aborts the transfer. The completion still comes, later: with `Kind::cancelled`, or with the
    /// answer if that had already come in whole.
    virtual void cancel() = 0;
};

/// The HTTP stack. Main thread.
class HttpTransport {
public:
    using Completion = std::function<void(Result<HttpResponse, TransportError>)>;

    HttpTransport() = default;
    HttpTransport(const HttpTransport&) = delete;
    HttpTransport& operator=(const HttpTransport&) = delete;
    virtual ~HttpTransport() = default;

    /// Starts `request`; `completion` is called exactly once, never from inside this call.
    [[nodiscard]] virtual std::unique_ptr<HttpExchange> send(const HttpRequest& request,
                                                             Completion completion) = 0;
};

} // namespace tandrel
