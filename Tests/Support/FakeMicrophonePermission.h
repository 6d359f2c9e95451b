#pragma once

#include "Platform/MicrophonePermission.h"

#include <functional>
#include <memory>
#include <vector>

namespace tandrel::test {

class ManualMainQueue;

/// A permission that the test grants or refuses. Main thread.
class FakeMicrophonePermission : public MicrophonePermission {
public:
    /// The status comes by `mainQueue`.
    explicit FakeMicrophonePermission(ManualMainQueue& mainQueue)
        : mainQueue_(mainQueue) {}

    [[nodiscard]] Handle
    authorizationStatus(std::function<void(AuthorizationStatus status)> completion) override;
    [[nodiscard]] Handle requestAccess(std::function<void(bool granted)> completion) override;

    AuthorizationStatus status = AuthorizationStatus::authorized;

    /// How often the user was asked.
    [[nodiscard]] int requestCount() const { return requestCount_; }
    /// Lets a status on its way arrive, then gives the user's answer to every question that is
    /// still open; how many there were.
    int answer(bool granted);

private:
    using Completion = std::function<void(bool granted)>;

    ManualMainQueue& mainQueue_;
    std::vector<std::weak_ptr<const Completion>> open_;
    int requestCount_ = 0;
};

} // namespace tandrel::test
