#include "StreamBackend.h"

#include "Support/FakeHttpTransport.h"

#include <initializer_list>
#include <string_view>

namespace tandrel::test {

namespace {

// Appended piece by piece: g++ 12 takes moved sums of strings for overflows.
std::string joined(std::initializer_list<std::string_view> pieces) {
    std::string text;
    for (const std::string_view piece : pieces) {
        text += piece;
    }
    return text;
}

std::string profile() {
    return joined({R"({"id":"u1","email":")", StreamBackend::email, R"(","account_id":"a1"})"});
}

} // namespace

std::string StreamBackend::issueAccessToken() {
    std::string token = joined({"access-SECRET-", std::to_string(accessTokens_.size())});
    accessTokens_.insert(token);
    return token;
}

void StreamBackend::setSession(bool isPending) {
    if (isPending && !hasSession_) {
        ++sessionNumber_;
    }
    hasSession_ = isPending;
}

HttpResponse StreamBackend::answer(const HttpRequest& request) {
    if (request.url.ends_with("/api/auth/login")) {
        return signIn(request);
    }
    if (!isAuthorized(request)) {
        return {401, {}};
    }
    if (request.url.ends_with("/api/auth/me")) {
        return {200, profile()};
    }
    if (!hasSession_) {
        return {404, {}};
    }
    const std::string number = std::to_string(sessionNumber_);
    return {200, joined({R"({"session_id":"s)", number, R"(","token":")", streamTokenStart,
                         "oken-SECRET-", number, R"(","interview_id":"i1"})"})};
}

HttpResponse StreamBackend::signIn(const HttpRequest& request) {
    if (!request.body || request.body->find(password) == std::string::npos) {
        return {401, {}};
    }
    return {200, joined({R"({"access_token":")", issueAccessToken(),
                         R"(","refresh_token":"refresh-SECRET","user":)", profile(), "}"})};
}

bool StreamBackend::isAuthorized(const HttpRequest& request) const {
    static const std::string scheme = "Bearer ";
    const auto values = FakeHttpTransport::headerValues(request, "Authorization");
    return values.size() == 1 && values[0].starts_with(scheme) &&
           accessTokens_.contains(values[0].substr(scheme.size()));
}

} // namespace tandrel::test
