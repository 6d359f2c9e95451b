#pragma once

#include "Foundation/Handle.h"

#include <functional>

namespace tandrel {

/// Raw values are logged, so they are fixed.
enum class AuthorizationStatus : int {
    notDetermined = 0,
    restricted = 1,
    denied = 2,
    authorized = 3,
};

/// The system's permission to record. Main thread; completions come later on it.
class MicrophonePermission {
public:
    MicrophonePermission() = default;
    MicrophonePermission(const MicrophonePermission&) = delete;
    MicrophonePermission& operator=(const MicrophonePermission&) = delete;
    virtual ~MicrophonePermission() = default;

    /// What is decided so far.
    [[nodiscard]] virtual Handle
    authorizationStatus(std::function<void(AuthorizationStatus status)> completion) = 0;
    /// Asks the user once.
    [[nodiscard]] virtual Handle requestAccess(std::function<void(bool granted)> completion) = 0;
};

} // namespace tandrel
