#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Lifetime.h"
#include "Foundation/Published.h"
#include "Foundation/Result.h"
#include "Models/AuthModels.h"
#include "Platform/CredentialStore.h"
#include "Services/APIClient.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tandrel {

class KeychainService;
class UserDefaults;

/// Who is signed in: signs in and out, restores and validates a cached session. Main thread.
class AuthService {
public:
    /// What the profile of the signed-in user is kept under in the user defaults.
    static constexpr std::string_view cachedUserKey = "cached_user_data";

    /// Installs the client's `onUnauthorized`. All three must outlive the service.
    AuthService(APIClient& apiClient, KeychainService& keychain, UserDefaults& userDefaults);
    ~AuthService();
    AuthService(const AuthService&) = delete;
    AuthService& operator=(const AuthService&) = delete;

    Published<bool> isAuthenticated{false};
    /// A sign-in is under way.
    Published<bool> isLoading{false};
    Published<std::optional<UserProfile>> user;
    /// For the sign-in form.
    Published<std::optional<std::string>> error;

    /// Signs in. `done` comes when the outcome is published; destroying the handle ends the sign-in
    /// without one.
    [[nodiscard]] Handle login(std::string email, std::string password,
                               std::function<void()> done = {});
    /// Restores the cached session, then validates it. `done` comes when both have ended: before
    /// this returns, with a null handle, when there is no session to restore. The cached profile
    /// then goes, unless `access` says that its token may only be out of reach.
    [[nodiscard]] Handle restoreSession(const std::function<void()>& done = {},
                                        CredentialAccess access = CredentialAccess::readable);
    /// Confirms the session with the backend; only a 401 signs out. `done` comes when the outcome
    /// is published; neither comes once somebody has signed out or anew, whom the answer would not
    /// concern.
    [[nodiscard]] Handle validateSession(std::function<void()> done = {});
    void logout();

private:
    void finishLogin(const Result<LoginResponse, PostError>& answer);
    void finishValidation(const Result<UserProfile, APIError>& answer);
    void handleUnauthorized();

    void cacheUser(const UserProfile& profile);
    [[nodiscard]] std::optional<UserProfile> loadCachedUser() const;
    /// Removes all that is stored of the signed-in user.
    void clearStores();

    APIClient& apiClient_;
    KeychainService& keychain_;
    UserDefaults& userDefaults_;
    /// Ends the validation under way, if there is one.
    std::function<void()> endValidation_ = [] {};
    Lifetime lifetime_;
};

} // namespace tandrel
