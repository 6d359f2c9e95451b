#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Result.h"
#include "Models/AuthModels.h"
#include "Platform/HttpTransport.h"
#include "Services/APIError.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tandrel {

class Clock;
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
/// never from inside the call that started the request. Its requests must not outlive it.
class APIClient {
public:
    template <typename Record>
    using GetCompletion = std::function<void(Result<Record, APIError>)>;
    template <typename Record>
    using PostCompletion = std::function<void(Result<Record, PostError>)>;

    /// `baseURL`: scheme and host of the backend, no trailing slash. The transport, the keychain
    /// and the clock must outlive the client; the clock delivers what fails before it is sent.
    APIClient(std::string baseURL, HttpTransport& transport, KeychainService& keychain,
              Clock& clock);

    [[nodiscard]] const std::string& baseURL() const { return baseURL_; }

    /// Called on every 401, the sign-in's included, before the caller sees the error. The last one
    /// installed wins. It may destroy the request, whose completion is then silenced.
    std::function<void()> onUnauthorized;

    /// Posts `body` as JSON to `path`, without the token, and decodes the answer. Fails with
    /// `invalidURL` or an `EncodingError` before anything is sent, and like `authenticatedGet`
    /// after.
    template <typename Record, typename Body>
    [[nodiscard]] std::unique_ptr<APIRequest>
    unauthenticatedPost(std::string_view path, const Body& body,
                        PostCompletion<Record> completion) {
        return post(path, encode(body),
                    [completion = std::move(completion)](Result<std::string, PostError> answer) {
                        completion(decoded<Record>(std::move(answer)));
                    });
    }

    /// Gets `path` with the stored access token (without one when none is stored) and decodes the
    /// answer. Fails with `invalidURL` before anything is sent, `networkError` when the transfer
    /// fails, `unauthorized` on a 401, `httpError` on any other status but 200 to 299, and
    /// `decodingError` when the answer is not a `Record`.
    template <typename Record>
    [[nodiscard]] std::unique_ptr<APIRequest> authenticatedGet(std::string_view path,
                                                               GetCompletion<Record> completion) {
        return get(path,
                   [completion = std::move(completion)](Result<std::string, APIError> answer) {
                       completion(decoded<Record>(std::move(answer)));
                   });
    }

private:
    /// The body of an accepted answer.
    using AnswerCompletion = std::function<void(Result<std::string, APIError>)>;

    template <typename Record, typename Error>
    static Result<Record, Error> decoded(Result<std::string, Error> answer) {
        if (!answer.ok()) {
            return std::move(answer).error();
        }
        auto record = decodeAnswer<Record>(answer.value());
        if (!record.ok()) {
            return Error(APIError::decodingError(std::move(record).error()));
        }
        return std::move(record).value();
    }

    [[nodiscard]] std::unique_ptr<APIRequest>
    post(std::string_view path, Result<std::string, EncodingError> body,
         std::function<void(Result<std::string, PostError>)> completion);
    [[nodiscard]] std::unique_ptr<APIRequest> get(std::string_view path,
                                                  AnswerCompletion completion);

    [[nodiscard]] Result<HttpRequest, APIError>
    makeRequest(std::string_view path, std::string_view method, bool authenticated) const;
    [[nodiscard]] std::unique_ptr<APIRequest> perform(const HttpRequest& request,
                                                      AnswerCompletion completion);
    [[nodiscard]] std::unique_ptr<APIRequest> failLater(std::function<void()> completion);

    std::string baseURL_;
    HttpTransport& transport_;
    KeychainService& keychain_;
    Clock& clock_;
};

} // namespace tandrel
