#include "Services/APIClient.h"

#include "Foundation/UrlSyntax.h"
#include "Platform/Clock.h"
#include "Services/KeychainService.h"

#include <optional>
#include <utility>

namespace tandrel {

namespace {

constexpr int unauthorizedStatus = 401;

std::optional<APIError> validate(const HttpResponse& response) {
    if (response.statusCode >= 200 && response.statusCode <= 299) {
        return std::nullopt;
    }
    if (response.statusCode == unauthorizedStatus) {
        return APIError::unauthorized();
    }
    return APIError::httpError(response.statusCode);
}

/// A request that was handed to the transport.
class SentRequest : public APIRequest {
public:
    using Completion = std::function<void(Result<std::string, APIError>)>;

    SentRequest(std::function<void()>& onUnauthorized, Completion completion)
        : onUnauthorized_(onUnauthorized)
        , completion_(std::make_shared<Completion>(std::move(completion))) {}

    void start(HttpTransport& transport, const HttpRequest& request) {
        exchange_ = transport.send(request, [this](Result<HttpResponse, TransportError> outcome) {
            finish(std::move(outcome));
        });
    }

    void cancel() override { exchange_->cancel(); }

private:
    void finish(Result<HttpResponse, TransportError> outcome) {
        if (!outcome.ok()) {
            complete(APIError::networkError(std::move(outcome).error()));
            return;
        }
        HttpResponse response = std::move(outcome).value();
        auto error = validate(response);
        if (!error) {
            complete(std::move(response.body));
            return;
        }
        const std::weak_ptr<Completion> stillWanted = completion_;
        if (error->isUnauthorized() && onUnauthorized_) {
            // A copy: the callback may be replaced, and this request destroyed, while it runs.
            const auto callback = onUnauthorized_;
            callback();
        }
        if (!stillWanted.expired()) {
            complete(std::move(*error));
        }
    }

    void complete(Result<std::string, APIError> answer) {
        // Taken out first, since the completion may destroy this request.
        const auto completion = std::exchange(completion_, nullptr);
        (*completion)(std::move(answer));
    }

    std::function<void()>& onUnauthorized_;
    /// Shared with nobody for long: it tells `finish` whether this request still exists.
    std::shared_ptr<Completion> completion_;
    std::unique_ptr<HttpExchange> exchange_;
};

/// A request that failed before it could be sent, and has yet to say so.
class UnsentRequest : public APIRequest {
public:
    UnsentRequest(Clock& clock, std::function<void()> completion)
        : timer_(clock.after(Clock::Duration::zero(), std::move(completion))) {}

    // There is nothing to abort, and the failure stands.
    void cancel() override {}

private:
    Handle timer_;
};

} // namespace

APIClient::APIClient(std::string baseURL, HttpTransport& transport, KeychainService& keychain,
                     Clock& clock)
    : baseURL_(std::move(baseURL))
    , transport_(transport)
    , keychain_(keychain)
    , clock_(clock) {}

std::unique_ptr<APIRequest>
APIClient::post(std::string_view path, Result<std::string, EncodingError> body,
                std::function<void(Result<std::string, PostError>)> completion) {
    auto request = makeRequest(path, "POST", false);
    if (!request.ok()) {
        return failLater([completion = std::move(completion), error = std::move(request).error()] {
            completion(PostError(error));
        });
    }
    if (!body.ok()) {
        return failLater([completion = std::move(completion), error = std::move(body).error()] {
            completion(PostError(error));
        });
    }
    HttpRequest complete = std::move(request).value();
    complete.body = std::move(body).value();
    complete.headers.emplace_back("Content-Type", "application/json");
    return perform(complete,
                   [completion = std::move(completion)](Result<std::string, APIError> answer) {
                       if (answer.ok()) {
                           completion(std::move(answer).value());
                       } else {
                           completion(PostError(std::move(answer).error()));
                       }
                   });
}

std::unique_ptr<APIRequest> APIClient::get(std::string_view path, AnswerCompletion completion) {
    auto request = makeRequest(path, "GET", true);
    if (!request.ok()) {
        return failLater([completion = std::move(completion), error = std::move(request).error()] {
            completion(error);
        });
    }
    return perform(request.value(), std::move(completion));
}

Result<HttpRequest, APIError> APIClient::makeRequest(std::string_view path, std::string_view method,
                                                     bool authenticated) const {
    HttpRequest request;
    request.url = baseURL_;
    request.url += path;
    if (!isValidUrl(request.url)) {
        return APIError::invalidURL();
    }
    request.method = method;
    if (authenticated) {
        if (const auto token = keychain_.retrieve(KeychainService::Key::accessToken)) {
            request.headers.emplace_back("Authorization", "Bearer " + *token);
        }
    }
    return request;
}

std::unique_ptr<APIRequest> APIClient::perform(const HttpRequest& request,
                                               AnswerCompletion completion) {
    auto sent = std::make_unique<SentRequest>(onUnauthorized, std::move(completion));
    sent->start(transport_, request);
    return sent;
}

std::unique_ptr<APIRequest> APIClient::failLater(std::function<void()> completion) {
    return std::make_unique<UnsentRequest>(clock_, std::move(completion));
}

} // namespace tandrel
