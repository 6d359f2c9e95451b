#pragma once

#include "Platform/MicrophonePermission.h"

namespace tandrel {

class MainQueue;

/// The desktop's permission to record. A native program that may talk to the sound server may
/// record from it, so the answer is always yes. Main thread.
class SystemMicrophonePermission : public MicrophonePermission {
public:
    /// `mainQueue` must outlive this object.
    explicit SystemMicrophonePermission(MainQueue& mainQueue);

    [[nodiscard]] AuthorizationStatus authorizationStatus() const override;
    [[nodiscard]] Handle requestAccess(std::function<void(bool granted)> completion) override;

private:
    MainQueue& mainQueue_;
};

} // namespace tandrel
