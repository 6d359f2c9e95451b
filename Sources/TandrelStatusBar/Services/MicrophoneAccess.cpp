#include "Services/MicrophoneAccess.h"

#include "DebugLog.h"
#include "Foundation/Lifetime.h"
#include "Platform/MainQueue.h"
#include "Platform/MicrophonePermission.h"

#include <memory>
#include <string>
#include <utility>

namespace tandrel {

namespace {

using Completion = std::function<void(bool granted)>;

/// Completes with an answer that is known already, on the next turn of the main loop.
class KnownAnswer : public Operation {
public:
    KnownAnswer(MainQueue& mainQueue, bool granted, Completion completion) {
        mainQueue.post([complete = lifetime_.guard(std::move(completion)), granted]() mutable {
            complete(granted);
        });
    }

private:
    Lifetime lifetime_;
};

} // namespace

Handle requestMicrophonePermission(MicrophonePermission& permission, MainQueue& mainQueue,
                                   Completion completion) {
    const AuthorizationStatus status = permission.authorizationStatus();
    DebugLog::write("[mic permission] current status=" + std::to_string(static_cast<int>(status)));
    if (status == AuthorizationStatus::notDetermined) {
        return permission.requestAccess([completion = std::move(completion)](bool granted) {
            DebugLog::write(std::string("[mic permission] user responded: granted=") +
                            (granted ? "true" : "false"));
            completion(granted);
        });
    }
    const bool granted = status == AuthorizationStatus::authorized;
    if (!granted) {
        DebugLog::write("[mic permission] denied or restricted");
    }
    return std::make_unique<KnownAnswer>(mainQueue, granted, std::move(completion));
}

} // namespace tandrel
