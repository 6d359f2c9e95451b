#include "Services/AuthService.h"

#include "Services/SessionService.h"
#include "Support/TestBackend.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using test::TestBackend;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Key = KeychainService::Key;

constexpr const char* profileJson =
    R"({"id":"u1","email":"ada@example.org","full_name":"Ada","account_id":"a1"})";
constexpr const char* storedProfile =
    R"({"id":"u1","email":"ada@example.org","fullName":"Ada","accountId":"a1"})";
constexpr const char* loginJson =
    R"({"access_token":"access","refresh_token":"refresh","user":{"id":"u1",)"
    R"("email":"ada@example.org","full_name":"Ada","account_id":"a1"}})";
const UserProfile ada{"u1", "ada@example.org", "Ada", "a1"};
constexpr const char* expiredLine = "[Auth] Received 401 — clearing session\n";
constexpr const char* expiredText = "Session expired. Please log in again.";
const TransportError offline{TransportError::Kind::other, "No route to host"};

class AuthServiceTest : public testing::Test {
protected:
    AuthServiceTest() { testing::internal::CaptureStdout(); }
    ~AuthServiceTest() override {
        if (!outputTaken) {
            testing::internal::GetCapturedStdout();
        }
    }
    /// What was printed; once per test.
    [[nodiscard]] std::string output() {
        outputTaken = true;
        return testing::internal::GetCapturedStdout();
    }
    [[nodiscard]] bool signedIn() const { return auth->isAuthenticated.value(); }
    [[nodiscard]] std::optional<std::string> error() const { return auth->error.value(); }
    [[nodiscard]] std::optional<std::string> cached() const {
        return backend.userDefaults.data("cached_user_data");
    }
    void startLogin() {
        operation = auth->login("ada@example.org", "pass word", [this] { ++done; });
    }
    /// Leaves what an earlier, successful sign-in left.
    void storeSession() {
        backend.keychain.save("access", Key::accessToken);
        backend.keychain.save("refresh", Key::refreshToken);
        backend.keychain.save("u1", Key::userId);
        backend.userDefaults.setData("cached_user_data", storedProfile);
    }
    void restore() {
        operation = auth->restoreSession([this] { ++done; });
    }
    void expectNothingStored() const {
        EXPECT_EQ(backend.credentials.itemCount(), 0U);
        EXPECT_FALSE(cached());
        EXPECT_FALSE(auth->user.value());
        EXPECT_FALSE(signedIn());
    }

    TestBackend backend;
    std::unique_ptr<AuthService> auth =
        std::make_unique<AuthService>(backend.apiClient, backend.keychain, backend.userDefaults);
    Handle operation;
    int done = 0;
    bool outputTaken = false;
};

TEST_F(AuthServiceTest, StartsSignedOutAndSilent) {
    EXPECT_FALSE(signedIn());
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_FALSE(auth->user.value());
    EXPECT_FALSE(error());
    EXPECT_TRUE(backend.transport.requests().empty());
    EXPECT_EQ(output(), "");
}

TEST_F(AuthServiceTest, LoginPostsTheCredentialsWhileLoading) {
    auth->error.set("old");
    startLogin();
    EXPECT_TRUE(auth->isLoading.value());
    EXPECT_FALSE(error());
    ASSERT_EQ(backend.transport.requests().size(), 1U);
    EXPECT_EQ(backend.transport.lastRequest().method, "POST");
    EXPECT_EQ(backend.transport.lastRequest().url, "https://api.test/api/auth/login");
    EXPECT_EQ(backend.transport.lastRequest().body,
              R"({"email":"ada@example.org","password":"pass word"})");
    EXPECT_EQ(done, 0);
}

TEST_F(AuthServiceTest, LoginSetsLoadingBeforeItClearsTheError) {
    std::vector<std::string> order;
    const Subscription loading =
        auth->isLoading.observe([&](bool) { order.emplace_back("isLoading"); });
    const Subscription cleared =
        auth->error.observe([&](const auto&) { order.emplace_back("error"); });
    startLogin();
    EXPECT_THAT(order, ElementsAre("isLoading", "error"));
}

TEST_F(AuthServiceTest, ASuccessfulLoginStoresThenPublishesThenPrints) {
    std::vector<std::string> order;
    const Subscription user = auth->user.observe([&](const auto&) {
        EXPECT_EQ(backend.keychain.retrieve(Key::accessToken), "access");
        EXPECT_EQ(backend.keychain.retrieve(Key::refreshToken), "refresh");
        EXPECT_EQ(backend.keychain.retrieve(Key::userId), "u1");
        EXPECT_EQ(cached(), storedProfile);
        order.emplace_back("user");
    });
    const Subscription authenticated = auth->isAuthenticated.observe([&](bool value) {
        EXPECT_TRUE(value);
        EXPECT_EQ(auth->user.value(), ada);
        order.emplace_back("isAuthenticated");
    });
    startLogin();
    const Subscription loading = auth->isLoading.observe([&](bool value) {
        EXPECT_FALSE(value);
        order.emplace_back("isLoading");
    });
    backend.transport.answer(200, loginJson);
    EXPECT_THAT(order, ElementsAre("user", "isAuthenticated", "isLoading"));
    EXPECT_THAT(backend.credentials.operations(),
                ElementsAre("remove quorvane-access-token", "add quorvane-access-token",
                            "remove quorvane-refresh-token", "add quorvane-refresh-token",
                            "remove quorvane-user-id", "add quorvane-user-id",
                            "read quorvane-access-token", "read quorvane-refresh-token",
                            "read quorvane-user-id"));
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(error());
    EXPECT_EQ(output(), "[Auth] Login successful for ada@example.org\n");
}

TEST_F(AuthServiceTest, LoginSucceedsEvenWhenNothingCanBeStored) {
    backend.credentials.setAvailable(false);
    backend.userDefaults.setReadOnly(true);
    startLogin();
    backend.transport.answer(200, loginJson);
    EXPECT_TRUE(signedIn());
    EXPECT_FALSE(auth->isLoading.value());
}

TEST_F(AuthServiceTest, AWrongPasswordShowsTheSignInTextAndNotTheExpiry) {
    storeSession();
    std::vector<std::optional<std::string>> errors;
    startLogin();
    const Subscription subscription =
        auth->error.observe([&](const auto& value) { errors.push_back(value); });
    backend.transport.answer(401, "{}");
    EXPECT_THAT(errors, ElementsAre(std::optional<std::string>(expiredText),
                                    std::optional<std::string>("Invalid email or password")));
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_EQ(done, 1);
    expectNothingStored();
    EXPECT_EQ(output(), std::string(expiredLine) + "[Auth] Login failed: unauthorized\n");
}

TEST_F(AuthServiceTest, AServerErrorShowsItsStatus) {
    startLogin();
    backend.transport.answer(500, "oops");
    EXPECT_EQ(error(), "HTTP error 500");
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_FALSE(signedIn());
    EXPECT_EQ(output(), "[Auth] Login failed: httpError(statusCode: 500, message: nil)\n");
}

TEST_F(AuthServiceTest, ATransportFailureIsANetworkError) {
    startLogin();
    backend.transport.fail(offline);
    EXPECT_EQ(error(), "Network error: No route to host");
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_EQ(output(), "[Auth] Login failed: networkError(No route to host)\n");
}

TEST_F(AuthServiceTest, AnAnswerThatDoesNotDecodeIsAParseFailure) {
    startLogin();
    backend.transport.answer(200, R"({"access_token":1})");
    EXPECT_THAT(error().value(), StartsWith("Failed to parse response: "));
    EXPECT_FALSE(signedIn());
    EXPECT_THAT(output(), StartsWith("[Auth] Login failed: decodingError("));
}

TEST(AuthServiceUrl, AnInvalidBaseShowsInvalidUrl) {
    TestBackend backend("https://api test");
    AuthService auth(backend.apiClient, backend.keychain, backend.userDefaults);
    testing::internal::CaptureStdout();
    const Handle login = auth.login("a", "b");
    backend.clock.runPending();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[Auth] Login failed: invalidURL\n");
    EXPECT_EQ(auth.error.value(), "Invalid URL");
    EXPECT_FALSE(auth.isLoading.value());
}

TEST_F(AuthServiceTest, ABodyThatCannotBeEncodedIsALoginErrorAndNothingIsSent) {
    operation = auth->login("ada@example.org", "\xff");
    backend.clock.runPending();
    EXPECT_TRUE(backend.transport.requests().empty());
    ASSERT_TRUE(error());
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_EQ(output(), "[Auth] Login error: " + *error() + "\n");
}

TEST_F(AuthServiceTest, AnAbandonedLoginIsSilentAndNoLongerLoading) {
    startLogin();
    operation.reset();
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_EQ(backend.transport.pendingCount(), 0U);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(output(), "");
}

TEST_F(AuthServiceTest, TheFormMayGoWhileTheSuccessIsBeingPublished) {
    startLogin();
    const Subscription form = auth->isAuthenticated.onChange([&](bool) { operation.reset(); });
    backend.transport.answer(200, loginJson);
    EXPECT_TRUE(signedIn());
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_EQ(done, 0) << "whoever asked has gone";
    EXPECT_EQ(output(), "[Auth] Login successful for ada@example.org\n");
}

TEST_F(AuthServiceTest, ConcurrentLoginsEachEndAsTheyCome) {
    startLogin();
    const Handle second = auth->login("b", "c");
    backend.transport.answer(500);
    EXPECT_FALSE(auth->isLoading.value());
    backend.transport.answer(200, loginJson);
    EXPECT_TRUE(signedIn());
}

TEST_F(AuthServiceTest, RestoringWithoutACacheSendsNothing) {
    backend.keychain.save("access", Key::accessToken);
    restore();
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(operation);
    EXPECT_FALSE(signedIn());
    EXPECT_TRUE(backend.transport.requests().empty());
    EXPECT_EQ(backend.keychain.retrieve(Key::accessToken), "access") << "the token stays stored";
    EXPECT_EQ(output(), "[Auth] No cached session to restore\n");
}

TEST_F(AuthServiceTest, RestoringWithoutATokenRemovesTheCache) {
    backend.userDefaults.setData("cached_user_data", storedProfile);
    restore();
    EXPECT_FALSE(cached());
    EXPECT_FALSE(signedIn());
    EXPECT_TRUE(backend.transport.requests().empty());
    EXPECT_EQ(output(), "[Auth] No cached session to restore\n");
}

TEST_F(AuthServiceTest, ATokenOutOfReachKeepsTheCacheForTheNextTime) {
    backend.userDefaults.setData("cached_user_data", storedProfile);
    for (const auto access : {CredentialAccess::unreadable, CredentialAccess::noStore}) {
        operation = auth->restoreSession([this] { ++done; }, access);
        EXPECT_EQ(cached(), storedProfile);
        EXPECT_FALSE(signedIn());
    }
    EXPECT_EQ(done, 2);
    EXPECT_EQ(output(), "[Auth] No cached session to restore\n"
                        "[Auth] No cached session to restore\n");
}

TEST_F(AuthServiceTest, ACorruptCacheIsRemovedThoughTheTokenIsOutOfReach) {
    backend.userDefaults.setData("cached_user_data", "{");
    operation = auth->restoreSession({}, CredentialAccess::unreadable);
    EXPECT_FALSE(cached());
}

TEST_F(AuthServiceTest, ACorruptCacheCountsAsNoneAndIsRemoved) {
    for (const char* corrupt : {"", "{", "[]", R"({"id":"u1","email":"e"})", "\xff\xfe",
                                // not the form that is written
                                R"({"id":"u1","email":"e","account_id":"a"})"}) {
        storeSession();
        backend.userDefaults.setData("cached_user_data", corrupt);
        restore();
        EXPECT_FALSE(signedIn()) << corrupt;
        EXPECT_FALSE(cached()) << corrupt;
        EXPECT_EQ(backend.credentials.itemCount(), 3U) << "the credentials are not touched";
    }
    EXPECT_TRUE(backend.transport.requests().empty());
}

TEST_F(AuthServiceTest, RestoringAnnouncesSignedOutEvenWhenItWas) {
    int announced = 0;
    const Subscription subscription =
        auth->isAuthenticated.observe([&](bool value) { announced += value ? 100 : 1; });
    restore();
    EXPECT_EQ(announced, 1);
}

TEST_F(AuthServiceTest, RestoringSignsInAtOnceThenValidates) {
    storeSession();
    restore();
    EXPECT_TRUE(signedIn());
    EXPECT_EQ(auth->user.value(), ada);
    EXPECT_FALSE(auth->isLoading.value());
    EXPECT_EQ(done, 0);
    ASSERT_EQ(backend.transport.requests().size(), 1U);
    EXPECT_EQ(backend.transport.lastRequest().method, "GET");
    EXPECT_EQ(backend.transport.lastRequest().url, "https://api.test/api/auth/me");
    EXPECT_THAT(
        test::FakeHttpTransport::headerValues(backend.transport.lastRequest(), "Authorization"),
        ElementsAre("Bearer access"));
    backend.transport.answer(200, R"({"id":"u1","email":"new@example.org","account_id":"a2"})");
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(signedIn());
    EXPECT_EQ(auth->user.value()->email, "new@example.org");
    EXPECT_EQ(cached(), R"({"id":"u1","email":"new@example.org","accountId":"a2"})");
    EXPECT_EQ(output(), "[Auth] Restored session from cache for ada@example.org\n"
                        "[Auth] Validating session with /api/auth/me\n"
                        "[Auth] Session valid for new@example.org\n");
}

TEST_F(AuthServiceTest, ARestoredUserStaysSignedInWhenTheBackendIsDown) {
    storeSession();
    restore();
    backend.transport.fail(offline);
    EXPECT_TRUE(signedIn());
    EXPECT_EQ(auth->user.value(), ada);
    EXPECT_EQ(cached(), storedProfile);
    EXPECT_FALSE(error());
    EXPECT_EQ(done, 1);
    EXPECT_EQ(output(),
              "[Auth] Restored session from cache for ada@example.org\n"
              "[Auth] Validating session with /api/auth/me\n"
              "[Auth] Validation failed: networkError(No route to host)\n"
              "[Auth] Transient error (keeping session): networkError(No route to host)\n");
}

TEST_F(AuthServiceTest, ARestoredUserStaysSignedInOnAServerError) {
    storeSession();
    restore();
    backend.transport.answer(503);
    EXPECT_TRUE(signedIn());
    EXPECT_THAT(output(), HasSubstr("[Auth] Transient error (keeping session): "
                                    "httpError(statusCode: 503, message: nil)\n"));
}

TEST_F(AuthServiceTest, ARestoredUserStaysSignedInWhenTheAnswerDoesNotDecode) {
    storeSession();
    restore();
    backend.transport.answer(200, "[]");
    EXPECT_TRUE(signedIn());
    EXPECT_EQ(auth->user.value(), ada);
    const std::string printed = output();
    EXPECT_THAT(printed, HasSubstr("[Auth] Validation failed: decodingError("));
    EXPECT_THAT(printed, HasSubstr("[Auth] Decoding error (keeping session): "));
}

TEST_F(AuthServiceTest, OnlyARefusalEndsARestoredSession) {
    storeSession();
    restore();
    backend.transport.answer(401);
    expectNothingStored();
    EXPECT_EQ(error(), expiredText);
    EXPECT_EQ(done, 1);
    EXPECT_EQ(output(), "[Auth] Restored session from cache for ada@example.org\n"
                        "[Auth] Validating session with /api/auth/me\n" +
                            std::string(expiredLine) + "[Auth] Validation failed: unauthorized\n");
}

TEST_F(AuthServiceTest, AValidationSignsInAgain) {
    storeSession();
    operation = auth->validateSession();
    backend.transport.answer(200, profileJson);
    EXPECT_TRUE(signedIn());
    EXPECT_EQ(auth->user.value(), ada);
}

TEST_F(AuthServiceTest, LoggingOutEndsAValidationThatIsUnderWay) {
    for (const int status : {200, 401}) {
        storeSession();
        restore();
        auth->logout();
        EXPECT_EQ(backend.transport.pendingCount(), 0U) << "the request is aborted";
        backend.transport.answer(status, profileJson);
        expectNothingStored();
        EXPECT_FALSE(error());
    }
    EXPECT_EQ(done, 0);
}

TEST_F(AuthServiceTest, ASignInEndsTheValidationOfAnEarlierOne) {
    storeSession();
    startLogin();
    const Handle validation = auth->validateSession([this] { ++done; });
    backend.transport.answer(200, loginJson);
    ASSERT_TRUE(signedIn());
    EXPECT_EQ(backend.transport.pendingCount(), 0U) << "the request is aborted";
    EXPECT_EQ(done, 1) << "of the sign-in alone";
}

TEST_F(AuthServiceTest, LoggingOutForgetsAllWithoutABackendCall) {
    storeSession();
    auth->user.set(ada);
    auth->isAuthenticated.set(true);
    auth->error.set("old");
    std::vector<std::string> order;
    const Subscription user = auth->user.observe([&](const auto&) { order.emplace_back("user"); });
    const Subscription authenticated =
        auth->isAuthenticated.observe([&](bool) { order.emplace_back("isAuthenticated"); });
    const Subscription cleared =
        auth->error.observe([&](const auto&) { order.emplace_back("error"); });
    auth->logout();
    expectNothingStored();
    EXPECT_FALSE(error());
    EXPECT_THAT(order, ElementsAre("user", "isAuthenticated", "error"));
    EXPECT_TRUE(backend.transport.requests().empty());
    EXPECT_EQ(output(), "[Auth] Logging out\n");
}

TEST_F(AuthServiceTest, A401OfThePollSignsOutWithTheExpiryText) {
    storeSession();
    auth->user.set(ada);
    auth->isAuthenticated.set(true);
    SessionService sessions(backend.apiClient, backend.keychain, backend.clock);
    sessions.startPolling();
    backend.clock.runPending();
    backend.transport.answer(401);
    expectNothingStored();
    EXPECT_EQ(error(), expiredText);
    EXPECT_EQ(output(), expiredLine);
}

TEST_F(AuthServiceTest, TheLastServiceOfAClientHearsOfThe401) {
    AuthService second(backend.apiClient, backend.keychain, backend.userDefaults);
    backend.apiClient.onUnauthorized();
    EXPECT_FALSE(error());
    EXPECT_EQ(second.error.value(), expiredText);
}

TEST_F(AuthServiceTest, AReleasedServiceIsNoLongerTold) {
    startLogin();
    auth.reset();
    backend.apiClient.onUnauthorized();
    backend.transport.answer(200, loginJson);
    EXPECT_EQ(done, 1) << "the caller still learns that the call has ended";
    EXPECT_EQ(backend.credentials.itemCount(), 0U);
    operation.reset();
    EXPECT_EQ(output(), "");
}

TEST_F(AuthServiceTest, AnEmailFromOutsideCannotForgeALine) {
    startLogin();
    backend.transport.answer(200, R"({"access_token":"a","refresh_token":"r","user":{"id":"1",)"
                                  R"("email":"x\n[Auth] Logging out","account_id":"a"}})");
    EXPECT_EQ(output(), "[Auth] Login successful for x\\x0a[Auth] Logging out\n");
}

} // namespace
} // namespace tandrel
