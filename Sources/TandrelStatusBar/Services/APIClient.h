#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Result.h"
#include "Models/AuthModels.h"
#include "Platform/HttpTransport.h"
#include "Services/APIError.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace tandrel {

class KeychainService;

/// A backend call under way. Destroying it silences the completion; `cancel()` aborts the transfer
/// and lets the completion come with a `networkError`, or with the answer that was in already.
class APIRequest : public Operation {
public:
    virtual void cancel() = 0;
};

/// Why a POST failed: an `APIError`, or a body that could not be encoded.
using PostError = std::variant<APIError, EncodingError>;

/// The one HTTP/JSON client of the program. Main thread; completions come there too, exactly once,
/// never from inside the call that started the request.
class APIClient {
public:
    template <typename Record>
    using GetCompletion = std::function<void(Result<Record, APIError>)>;
    template <typename Record>
    using PostCompletion = std::function<void(Result<Record, PostError>)>;

    /// `baseURL`: scheme and host of the backend, no trailing slash. The transport and the keychain
    /// must outlive the client.
    APIClient(std::string baseURL, HttpTransport& transport, KeychainService& keychain);

    [[nodiscard]] const std::string& baseURL() const { return baseURL_; }

    /// Called on every 401, before the caller sees the error. The last one installed wins.
    std::function<void()> onUnauthorized;

    // unauthenticatedPost<Record>(path, body, completion), authenticatedGet<Record>(path,
    // completion)

private:
    std::string baseURL_;
    HttpTransport& transport_;
    KeychainService& keychain_;
};

} // namespace tandrel
