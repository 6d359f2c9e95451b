#include "Services/AuthService.h"

#include "Foundation/Console.h"
#include "Platform/UserDefaults.h"
#include "Services/KeychainService.h"

#include <memory>
#include <string_view>
#include <utility>
#include <variant>

namespace tandrel {

namespace {

/// A call to the backend whose caller may lose interest at any time, also while its outcome is
/// being published.
class BackendCall : public Operation {
public:
    struct Progress {
        bool isFinished = false;
        std::function<void()> done;
        /// Its completion shares this; whoever ends the call takes it out.
        std::unique_ptr<APIRequest> request;

        /// No outcome will come any more.
        void end() {
            done = nullptr;
            request.reset();
        }
    };

    /// `abandoned` is called when this goes before the outcome came.
    explicit BackendCall(std::function<void()> done, std::function<void()> abandoned = {})
        : progress_(std::make_shared<Progress>(Progress{false, std::move(done), {}}))
        , abandoned_(std::move(abandoned)) {}

    ~BackendCall() override {
        progress_->end();
        if (!progress_->isFinished && abandoned_) {
            abandoned_();
        }
    }

    void setRequest(std::unique_ptr<APIRequest> request) {
        progress_->request = std::move(request);
    }

    /// Ends the call as its caller does who lets go of it. May be kept longer than the call.
    [[nodiscard]] std::function<void()> ender() const {
        return [weak = std::weak_ptr(progress_)] {
            if (const auto progress = weak.lock()) {
                progress->end();
            }
        };
    }

    /// A completion that publishes the outcome, then tells the caller.
    template <typename Publish>
    [[nodiscard]] auto completion(Publish publish) const {
        return [progress = progress_, publish = std::move(publish)](const auto& answer) mutable {
            progress->isFinished = true;
            publish(answer);
            if (const auto done = std::exchange(progress->done, nullptr)) {
                done();
            }
        };
    }

private:
    std::shared_ptr<Progress> progress_;
    std::function<void()> abandoned_;
};

/// What the sign-in form says of a refused or failed sign-in.
std::string loginErrorText(const APIError& error) {
    if (const auto* transport = std::get_if<TransportError>(&error.value())) {
        return "Network error: " + transport->description;
    }
    if (error.isUnauthorized()) {
        return "Invalid email or password";
    }
    return error.errorDescription();
}

} // namespace

AuthService::AuthService(APIClient& apiClient, KeychainService& keychain,
                         UserDefaults& userDefaults)
    : apiClient_(apiClient)
    , keychain_(keychain)
    , userDefaults_(userDefaults) {
    apiClient_.onUnauthorized = lifetime_.guard([this] { handleUnauthorized(); });
}

AuthService::~AuthService() = default;

Handle AuthService::login(std::string email, std::string password, std::function<void()> done) {
    isLoading.set(true);
    error.set(std::nullopt);
    auto call = std::make_unique<BackendCall>(std::move(done),
                                              lifetime_.guard([this] { isLoading.set(false); }));
    call->setRequest(apiClient_.unauthenticatedPost<LoginResponse>(
        "/api/auth/login", LoginRequest{std::move(email), std::move(password)},
        call->completion(lifetime_.guard(
            [this](const Result<LoginResponse, PostError>& answer) { finishLogin(answer); }))));
    return call;
}

void AuthService::finishLogin(const Result<LoginResponse, PostError>& answer) {
    if (answer.ok()) {
        endValidation_();
        const LoginResponse& response = answer.value();
        keychain_.save(response.accessToken, KeychainService::Key::accessToken);
        keychain_.save(response.refreshToken, KeychainService::Key::refreshToken);
        keychain_.save(response.user.id, KeychainService::Key::userId);
        cacheUser(response.user);
        user.set(response.user);
        isAuthenticated.set(true);
        printLine("[Auth] Login successful for " + response.user.email);
    } else if (const auto* apiError = std::get_if<APIError>(&answer.error())) {
        printLine("[Auth] Login failed: " + apiError->rendering());
        // A 401 has already put the text of an expired session there.
        error.set(loginErrorText(*apiError));
    } else {
        const std::string& description = std::get<EncodingError>(answer.error()).description;
        printLine("[Auth] Login error: " + description);
        error.set(description);
    }
    isLoading.set(false);
}

Handle AuthService::restoreSession(const std::function<void()>& done, CredentialAccess access) {
    const std::optional<UserProfile> cached = loadCachedUser();
    if (cached && keychain_.retrieve(KeychainService::Key::accessToken)) {
        user.set(cached);
        isAuthenticated.set(true);
        printLine("[Auth] Restored session from cache for " + cached->email);
        return validateSession(done);
    }
    printLine("[Auth] No cached session to restore");
    // A token that cannot be read now is worth nothing the next time without its profile.
    if (!cached || access == CredentialAccess::readable) {
        userDefaults_.remove(cachedUserKey);
    }
    isAuthenticated.set(false);
    if (done) {
        done();
    }
    return nullptr;
}

Handle AuthService::validateSession(std::function<void()> done) {
    printLine("[Auth] Validating session with /api/auth/me");
    auto call = std::make_unique<BackendCall>(std::move(done));
    endValidation_ = call->ender();
    call->setRequest(apiClient_.authenticatedGet<UserProfile>(
        "/api/auth/me",
        call->completion(lifetime_.guard(
            [this](const Result<UserProfile, APIError>& answer) { finishValidation(answer); }))));
    return call;
}

void AuthService::finishValidation(const Result<UserProfile, APIError>& answer) {
    if (answer.ok()) {
        user.set(answer.value());
        cacheUser(answer.value());
        isAuthenticated.set(true);
        printLine("[Auth] Session valid for " + answer.value().email);
        return;
    }
    const APIError& failure = answer.error();
    printLine("[Auth] Validation failed: " + failure.rendering());
    if (failure.isUnauthorized()) {
        clearStores();
        user.set(std::nullopt);
        isAuthenticated.set(false);
    } else if (const auto* decoding = std::get_if<DecodingError>(&failure.value())) {
        printLine("[Auth] Decoding error (keeping session): " + decoding->description);
    } else {
        printLine("[Auth] Transient error (keeping session): " + failure.rendering());
    }
}

void AuthService::logout() {
    printLine("[Auth] Logging out");
    endValidation_();
    clearStores();
    user.set(std::nullopt);
    isAuthenticated.set(false);
    error.set(std::nullopt);
}

void AuthService::handleUnauthorized() {
    printLine("[Auth] Received 401 — clearing session");
    clearStores();
    user.set(std::nullopt);
    isAuthenticated.set(false);
    error.set("Session expired. Please log in again.");
}

void AuthService::cacheUser(const UserProfile& profile) {
    if (auto encoded = encode(profile); encoded.ok()) {
        userDefaults_.setData(cachedUserKey, std::move(encoded).value());
    }
}

std::optional<UserProfile> AuthService::loadCachedUser() const {
    const auto data = userDefaults_.data(cachedUserKey);
    if (!data) {
        return std::nullopt;
    }
    auto profile = decodeStoredProfile(*data);
    if (!profile.ok()) {
        return std::nullopt;
    }
    return std::move(profile).value();
}

void AuthService::clearStores() {
    for (const KeychainService::Key key : KeychainService::allKeys) {
        keychain_.remove(key);
    }
    userDefaults_.remove(cachedUserKey);
}

} // namespace tandrel
