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

/// The system's permission to record. Main thread.
class MicrophonePermission {
public:
    MicrophonePermission() = default;
    MicrophonePermission(const MicrophonePermission&) = delete;
    MicrophonePermission& operator=(const MicrophonePermission&) = delete;
    virtual ~MicrophonePermission() = default;

    [[nodiscard]] virtual AuthorizationStatus authorizationStatus() const = 0;
    /// Asks the user once; `completion` comes later on the main thread with the answer.
    [[nodiscard]] virtual Handle requestAccess(std::function<void(bool granted)> completion) = 0;
};

} // namespace tandrel
