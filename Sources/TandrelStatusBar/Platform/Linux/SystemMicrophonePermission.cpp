#include "Platform/Linux/SystemMicrophonePermission.h"

#include "Platform/MainQueue.h"

#include <memory>
#include <utility>

namespace tandrel {

namespace {

/// Holds the completion until the answer has been given or is no longer wanted.
class AccessRequest : public Operation {
public:
    using Completion = std::function<void(bool granted)>;

    explicit AccessRequest(Completion completion)
        : completion_(std::make_shared<Completion>(std::move(completion))) {}

    [[nodiscard]] std::weak_ptr<Completion> completion() const { return completion_; }

private:
    std::shared_ptr<Completion> completion_;
};

} // namespace

SystemMicrophonePermission::SystemMicrophonePermission(MainQueue& mainQueue)
    : mainQueue_(mainQueue) {}

AuthorizationStatus SystemMicrophonePermission::authorizationStatus() const {
    return AuthorizationStatus::authorized;
}

Handle SystemMicrophonePermission::requestAccess(std::function<void(bool granted)> completion) {
    auto request = std::make_unique<AccessRequest>(std::move(completion));
    mainQueue_.post([pending = request->completion()] {
        if (const auto answer = pending.lock()) {
            (*answer)(true);
        }
    });
    return request;
}

} // namespace tandrel
