#include "Services/MicrophoneAccess.h"

#include "DebugLog.h"
#include "Platform/MicrophonePermission.h"

#include <memory>
#include <string>
#include <utility>

namespace tandrel {

namespace {

/// Looks at the permission, then asks if need be. The completion may end it.
class AccessRequest : public Operation {
public:
    AccessRequest(MicrophonePermission& permission, std::function<void(bool granted)> completion)
        : permission_(permission)
        , completion_(std::move(completion))
        , step_(permission.authorizationStatus(
              [this](AuthorizationStatus status) { statusKnown(status); })) {}

private:
    void statusKnown(AuthorizationStatus status) {
        DebugLog::write("[mic permission] current status=" +
                        std::to_string(static_cast<int>(status)));
        if (status == AuthorizationStatus::notDetermined) {
            step_ = permission_.requestAccess([this](bool granted) {
                DebugLog::write(std::string("[mic permission] user responded: granted=") +
                                (granted ? "true" : "false"));
                finish(granted);
            });
            return;
        }
        const bool granted = status == AuthorizationStatus::authorized;
        if (!granted) {
            DebugLog::write("[mic permission] denied or restricted");
        }
        finish(granted);
    }

    void finish(bool granted) { std::exchange(completion_, nullptr)(granted); }

    MicrophonePermission& permission_;
    std::function<void(bool granted)> completion_;
    Handle step_;
};

} // namespace

Handle requestMicrophonePermission(MicrophonePermission& permission,
                                   std::function<void(bool granted)> completion) {
    return std::make_unique<AccessRequest>(permission, std::move(completion));
}

} // namespace tandrel
