#include "Services/APIClient.h"

#include "Services/KeychainService.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeHttpTransport.h"
#include "Support/ManualClock.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using test::FakeHttpTransport;
using test::ManualClock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

constexpr const char* profileJson =
    R"({"id":"u1","email":"ann@example.com","full_name":"Ann Bee","account_id":"a1"})";
constexpr const char* camelCaseLoginJson =
    R"({"accessToken":"AT","refreshToken":"RT","user":{"id":"u","email":"e","accountId":"a"}})";

class APIClientTest : public testing::Test {
protected:
    APIClientTest() {
        client.onUnauthorized = [this] { events.emplace_back("onUnauthorized"); };
    }

    std::unique_ptr<APIRequest> getProfile(const std::string& path = "/api/auth/me") {
        return client.authenticatedGet<UserProfile>(path, [this](auto result) {
            if (result.ok()) {
                events.push_back("profile " + result.value().email);
            } else {
                events.push_back(result.error().rendering());
                lastError = result.error();
            }
        });
    }

    std::unique_ptr<APIRequest> login(const LoginRequest& body = {"ann@example.com", "secret"},
                                      const std::string& path = "/api/auth/login") {
        return client.unauthenticatedPost<LoginResponse>(path, body, [this](auto result) {
            if (result.ok()) {
                events.push_back("login " + result.value().accessToken);
            } else if (const auto* error = std::get_if<APIError>(&result.error())) {
                events.push_back(error->rendering());
                lastError = *error;
            } else {
                events.push_back("encoding: " +
                                 std::get<EncodingError>(result.error()).description);
            }
        });
    }

    test::FakeCredentialStore store;
    KeychainService keychain{store};
    FakeHttpTransport transport;
    ManualClock clock;
    APIClient client{"https://api.example", transport, keychain, clock};
    std::vector<std::string> events;
    std::optional<APIError> lastError;
};

TEST_F(APIClientTest, AppendsThePathToTheBaseURLAsItStands) {
    const auto first = getProfile("/a//b?c=%2f%41");
    EXPECT_EQ(transport.lastRequest().url, "https://api.example/a//b?c=%2f%41");
    EXPECT_EQ(client.baseURL(), "https://api.example");
}

TEST_F(APIClientTest, GetSendsTheStoredTokenAndNothingElse) {
    keychain.save("t0k-e.n", KeychainService::Key::accessToken);
    const auto request = getProfile();
    const HttpRequest& sent = transport.lastRequest();
    EXPECT_EQ(sent.method, "GET");
    EXPECT_EQ(sent.url, "https://api.example/api/auth/me");
    EXPECT_THAT(sent.headers, ElementsAre(Pair("Authorization", "Bearer t0k-e.n")));
    EXPECT_EQ(sent.body, std::nullopt);
}

TEST_F(APIClientTest, GetReadsTheTokenAnewForEachRequest) {
    keychain.save("old", KeychainService::Key::accessToken);
    const auto first = getProfile();
    keychain.save("new", KeychainService::Key::accessToken);
    const auto second = getProfile();
    EXPECT_THAT(FakeHttpTransport::headerValues(transport.requests()[0], "authorization"),
                ElementsAre("Bearer old"));
    EXPECT_THAT(FakeHttpTransport::headerValues(transport.requests()[1], "authorization"),
                ElementsAre("Bearer new"));
}

TEST_F(APIClientTest, GetWithoutAStoredTokenGoesOutWithoutAuthorization) {
    const auto request = getProfile();
    EXPECT_THAT(transport.lastRequest().headers, IsEmpty());
    ASSERT_TRUE(transport.answer(401));
    EXPECT_THAT(events, ElementsAre("onUnauthorized", "unauthorized"));
}

TEST_F(APIClientTest, AnEmptyStoredTokenIsSentAsItIs) {
    keychain.save("", KeychainService::Key::accessToken);
    const auto request = getProfile();
    EXPECT_THAT(FakeHttpTransport::headerValues(transport.lastRequest(), "Authorization"),
                ElementsAre("Bearer "));
}

TEST_F(APIClientTest, PostSendsTheEncodedBodyWithoutTheToken) {
    keychain.save("token", KeychainService::Key::accessToken);
    const auto request = login({"ann@example.com", "p\"w"});
    const HttpRequest& sent = transport.lastRequest();
    EXPECT_EQ(sent.method, "POST");
    EXPECT_EQ(sent.url, "https://api.example/api/auth/login");
    EXPECT_THAT(sent.headers, ElementsAre(Pair("Content-Type", "application/json")));
    EXPECT_EQ(sent.body, R"({"email":"ann@example.com","password":"p\"w"})");
}

TEST_F(APIClientTest, DecodesAnAnswerInSnakeCaseAndInCamelCase) {
    const auto get = getProfile();
    ASSERT_TRUE(transport.answer(200, profileJson));
    const auto post = login();
    ASSERT_TRUE(transport.answer(200, camelCaseLoginJson));
    EXPECT_THAT(events, ElementsAre("profile ann@example.com", "login AT"));
}

TEST_F(APIClientTest, AcceptsEveryStatusFrom200To299AndNoOther) {
    for (int status = 100; status <= 600; ++status) {
        events.clear();
        const auto request = getProfile();
        ASSERT_TRUE(transport.answer(status, profileJson));
        if (status >= 200 && status <= 299) {
            EXPECT_THAT(events, ElementsAre("profile ann@example.com")) << status;
        } else if (status == 401) {
            EXPECT_THAT(events, ElementsAre("onUnauthorized", "unauthorized"));
        } else {
            EXPECT_THAT(events, ElementsAre("httpError(statusCode: " + std::to_string(status) +
                                            ", message: nil)"));
            EXPECT_EQ(lastError->errorDescription(), "HTTP error " + std::to_string(status));
        }
    }
}

TEST_F(APIClientTest, AnEmptyAcceptedAnswerIsADecodingError) {
    for (const int status : {200, 204}) {
        const auto request = getProfile();
        ASSERT_TRUE(transport.answer(status, ""));
        EXPECT_TRUE(std::holds_alternative<DecodingError>(lastError->value()));
        EXPECT_THAT(lastError->errorDescription(), StartsWith("Failed to parse response: "));
    }
    const auto request = login();
    ASSERT_TRUE(transport.answer(204, ""));
    EXPECT_TRUE(std::holds_alternative<DecodingError>(lastError->value()));
}

TEST_F(APIClientTest, AnAnswerThatIsAnotherRecordIsADecodingError) {
    const auto request = login();
    ASSERT_TRUE(transport.answer(200, profileJson));
    EXPECT_THAT(events, ElementsAre(R"(decodingError(The key "accessToken" is missing.))"));
}

TEST_F(APIClientTest, TheBodyOfAnErrorStatusIsNotReadForAMessage) {
    const auto request = getProfile();
    ASSERT_TRUE(transport.answer(500, R"({"message":"from the server"})"));
    EXPECT_EQ(lastError, APIError::httpError(500));
}

TEST_F(APIClientTest, AFailedTransferIsANetworkErrorThatKeepsItsCause) {
    const TransportError cause{TransportError::Kind::tls, "The certificate has expired."};
    const auto get = getProfile();
    ASSERT_TRUE(transport.fail(cause));
    EXPECT_EQ(lastError, APIError::networkError(cause));
    lastError.reset();
    const auto post = login();
    ASSERT_TRUE(transport.fail(cause));
    EXPECT_EQ(lastError, APIError::networkError(cause));
}

TEST_F(APIClientTest, ARejectedSignInCallsOnUnauthorizedFirst) {
    const auto request = login();
    ASSERT_TRUE(transport.answer(401, "{}"));
    EXPECT_THAT(events, ElementsAre("onUnauthorized", "unauthorized"));
}

TEST_F(APIClientTest, A401WithoutACallbackStillFails) {
    client.onUnauthorized = nullptr;
    const auto request = getProfile();
    ASSERT_TRUE(transport.answer(401));
    EXPECT_THAT(events, ElementsAre("unauthorized"));
}

TEST_F(APIClientTest, TheLastInstalledCallbackWinsAlsoForRequestsUnderWay) {
    const auto request = getProfile();
    client.onUnauthorized = [this] { events.emplace_back("second"); };
    ASSERT_TRUE(transport.answer(401));
    EXPECT_THAT(events, ElementsAre("second", "unauthorized"));
}

TEST_F(APIClientTest, TheCallbackMayReplaceItself) {
    client.onUnauthorized = [this] {
        client.onUnauthorized = nullptr;
        events.emplace_back("once");
    };
    const auto first = getProfile();
    const auto second = getProfile();
    ASSERT_TRUE(transport.answer(401));
    ASSERT_TRUE(transport.answer(401));
    EXPECT_THAT(events, ElementsAre("once", "unauthorized", "unauthorized"));
}

TEST_F(APIClientTest, TheCallbackMayDestroyTheRequestWhichIsThenSilent) {
    auto request = getProfile();
    client.onUnauthorized = [&] {
        request.reset();
        events.emplace_back("destroyed");
    };
    ASSERT_TRUE(transport.answer(401));
    EXPECT_THAT(events, ElementsAre("destroyed"));
}

TEST_F(APIClientTest, TheCallbackMayCancelTheRequestWhoseAnswerStands) {
    auto request = getProfile();
    client.onUnauthorized = [&] { request->cancel(); };
    ASSERT_TRUE(transport.answer(401));
    EXPECT_EQ(transport.deliver(), 0U);
    EXPECT_THAT(events, ElementsAre("unauthorized"));
}

TEST_F(APIClientTest, TheCompletionMayDestroyTheRequest) {
    std::unique_ptr<APIRequest> request;
    int completions = 0;
    request = client.authenticatedGet<UserProfile>("/", [&](const auto&) {
        request.reset();
        ++completions;
    });
    ASSERT_TRUE(transport.answer(200, profileJson));
    EXPECT_EQ(completions, 1);
}

TEST_F(APIClientTest, ACancelledRequestFailsAsANetworkErrorLater) {
    const auto request = getProfile();
    request->cancel();
    request->cancel();
    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(transport.deliver(), 1U);
    EXPECT_EQ(lastError, APIError::networkError(FakeHttpTransport::cancelledError()));
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(APIClientTest, AnAnswerThatWasInBeforeTheCancellationCounts) {
    const auto request = getProfile();
    ASSERT_TRUE(transport.bringIn(200, profileJson));
    request->cancel();
    EXPECT_EQ(transport.deliver(), 1U);
    EXPECT_THAT(events, ElementsAre("profile ann@example.com"));
}

TEST_F(APIClientTest, ADestroyedRequestIsAbortedAndSilent) {
    auto request = getProfile();
    request.reset();
    EXPECT_EQ(transport.abortedCount(), 1U);
    EXPECT_FALSE(transport.answer(401));
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(APIClientTest, SeveralRequestsRunAtOnceAndEndOnTheirOwn) {
    const auto first = getProfile("/1");
    const auto second = login();
    const auto third = getProfile("/3");
    EXPECT_EQ(transport.pendingCount(), 3U);
    ASSERT_TRUE(transport.answer(500));
    ASSERT_TRUE(transport.answer(200, camelCaseLoginJson));
    ASSERT_TRUE(transport.answer(200, profileJson));
    EXPECT_THAT(events, ElementsAre("httpError(statusCode: 500, message: nil)", "login AT",
                                    "profile ann@example.com"));
}

TEST_F(APIClientTest, AMalformedURLIsRefusedLaterAndNothingIsSent) {
    for (const char* path : {"/with space", "/\n", "/%zz", "/\xc3\xa9", ":70000/"}) {
        events.clear();
        const auto get = getProfile(path);
        const auto post = login({"e", "p"}, path);
        EXPECT_THAT(events, IsEmpty());
        clock.runPending();
        EXPECT_THAT(events, ElementsAre("invalidURL", "invalidURL")) << path;
    }
    EXPECT_THAT(transport.requests(), IsEmpty());
}

TEST_F(APIClientTest, AMalformedBaseURLIsRefused) {
    APIClient broken("api.example", transport, keychain, clock);
    std::optional<APIError> error;
    const auto request = broken.authenticatedGet<UserProfile>(
        "/api", [&](const auto& result) { error = result.error(); });
    clock.runPending();
    EXPECT_EQ(error, APIError::invalidURL());
    EXPECT_THAT(transport.requests(), IsEmpty());
}

TEST_F(APIClientTest, ABodyThatCannotBeEncodedFailsUnwrappedAndNothingIsSent) {
    const auto request = login({"ann@example.com", "\xff"});
    EXPECT_THAT(events, IsEmpty());
    clock.runPending();
    EXPECT_THAT(events, ElementsAre("encoding: The text is not valid UTF-8."));
    EXPECT_THAT(transport.requests(), IsEmpty());
}

TEST_F(APIClientTest, AMalformedURLComesBeforeABodyThatCannotBeEncoded) {
    const auto request = login({"e", "\xff"}, "/with space");
    clock.runPending();
    EXPECT_THAT(events, ElementsAre("invalidURL"));
}

TEST_F(APIClientTest, AnUnsentRequestKeepsTheRulesOfASentOne) {
    const auto cancelled = getProfile("/with space");
    cancelled->cancel();
    auto destroyed = getProfile("/with space");
    destroyed.reset();
    std::unique_ptr<APIRequest> destroysItself;
    destroysItself = client.authenticatedGet<UserProfile>("/with space", [&](const auto&) {
        destroysItself.reset();
        events.emplace_back("destroyed itself");
    });
    clock.advance(std::chrono::seconds(1));
    EXPECT_THAT(events, ElementsAre("invalidURL", "destroyed itself"));
    EXPECT_EQ(clock.pendingCount(), 0U);
}

} // namespace
} // namespace tandrel
