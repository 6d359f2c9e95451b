#pragma once

#include "Foundation/SerialWorker.h"
#include "Platform/MicrophonePermission.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace tandrel {

class Clock;
class MainQueue;
class MainQueuePort;

/// The desktop's permission to record. A program that may talk to the sound server may record from
/// it, unless the desktop's privacy switch says no. A sandbox's refusal shows only when recording
/// begins, as the capture's own error. Main thread.
class SystemMicrophonePermission : public MicrophonePermission {
public:
    /// Whether the desktop switches microphones off; called on a thread of its own, may block.
    using PrivacySwitch = std::function<bool()>;

    /// How long the switch may take; one that does not answer has not been used.
    static constexpr std::chrono::seconds limit{2};

    /// Queue and clock must outlive this object.
    SystemMicrophonePermission(MainQueue& mainQueue, Clock& clock,
                               PrivacySwitch isMicrophoneSwitchedOff);
    ~SystemMicrophonePermission() override;

    [[nodiscard]] Handle
    authorizationStatus(std::function<void(AuthorizationStatus status)> completion) override;
    /// There is nobody to ask: the answer is what the status says.
    [[nodiscard]] Handle requestAccess(std::function<void(bool granted)> completion) override;

private:
    Clock& clock_;
    /// Shared with jobs that may outlive this object.
    std::shared_ptr<MainQueuePort> mainQueue_;
    PrivacySwitch isMicrophoneSwitchedOff_;
    /// Made when first needed.
    std::optional<SerialWorker> worker_;
};

} // namespace tandrel
