#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Result.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {

/// One request as it goes out. `url` is absolute and valid (see `isValidUrl`); its bytes are sent
/// as they stand.
struct HttpRequest {
    std::string method;
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;
};

/// A complete answer: final status (redirects within the origin already followed) and whole body.
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
