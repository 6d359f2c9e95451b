#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Models/AuthModels.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tandrel {

class APIClient;
class KeychainService;
class UserDefaults;

/// Who is signed in: signs in and out, restores and validates a cached session. Main thread.
class AuthService {
public:
    /// Installs the client's `onUnauthorized`. All three must outlive the service.
    AuthService(APIClient& apiClient, KeychainService& keychain, UserDefaults& userDefaults);
    ~AuthService();
    AuthService(const AuthService&) = delete;
    AuthService& operator=(const AuthService&) = delete;

    Published<bool> isAuthenticated{false};
    Published<bool> isLoading{false};
    Published<std::optional<UserProfile>> user;
    Published<std::optional<std::string>> error;

    /// Signs in. `done` comes when the outcome is published; destroying the handle ends the sign-in
    /// without one.
    [[nodiscard]] Handle login(std::string email, std::string password,
                               std::function<void()> done = {});
    /// Restores the cached session, then validates it. `done` comes when both have ended.
    [[nodiscard]] Handle restoreSession(std::function<void()> done = {});
    /// Confirms the session with the backend; only a 401 signs out.
    [[nodiscard]] Handle validateSession(std::function<void()> done = {});
    void logout();

private:
    APIClient& apiClient_;
    KeychainService& keychain_;
    UserDefaults& userDefaults_;
};

} // namespace tandrel
