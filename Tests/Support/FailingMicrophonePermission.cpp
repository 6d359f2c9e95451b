#include "Support/FailingMicrophonePermission.h"

#include <memory>
#include <utility>

namespace tandrel::test {

Handle FailingMicrophonePermission::authorizationStatus(
    std::function<void(AuthorizationStatus status)> completion) {
    if (failure_.status && nth_.fails()) {
        return std::make_unique<BadlyAnsweredCall<AuthorizationStatus>>(
            clock_, *failure_.status, std::move(completion),
            [this](auto right) { return inner_.authorizationStatus(std::move(right)); });
    }
    return inner_.authorizationStatus(std::move(completion));
}

Handle FailingMicrophonePermission::requestAccess(std::function<void(bool granted)> completion) {
    if (failure_.access && nth_.fails()) {
        return std::make_unique<BadlyAnsweredCall<bool>>(
            clock_, *failure_.access, std::move(completion),
            [this](auto right) { return inner_.requestAccess(std::move(right)); });
    }
    return inner_.requestAccess(std::move(completion));
}

} // namespace tandrel::test
