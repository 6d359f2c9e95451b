#pragma once

#include "Platform/HttpTransport.h"

#include <set>
#include <string>

namespace tandrel::test {

/// What a backend with one account answers: sign-ins, the profile, the pending session. All its
/// secrets hold the word `secretMark`.
class StreamBackend {
public:
    static constexpr const char* secretMark = "SECRET";
    static constexpr const char* email = "ada@example.org";
    static constexpr const char* password = "password-SECRET";
    /// Every stream token starts with these, and no other secret does.
    static constexpr const char* streamTokenStart = "stream-t";

    [[nodiscard]] HttpResponse answer(const HttpRequest& request);

    /// A token of an earlier sign-in.
    [[nodiscard]] std::string issueAccessToken();
    /// Whether somebody has started a session in the web app. Each is another one.
    void setSession(bool isPending);

private:
    [[nodiscard]] HttpResponse signIn(const HttpRequest& request);
    [[nodiscard]] bool isAuthorized(const HttpRequest& request) const;

    std::set<std::string> accessTokens_;
    bool hasSession_ = false;
    int sessionNumber_ = 0;
};

} // namespace tandrel::test
