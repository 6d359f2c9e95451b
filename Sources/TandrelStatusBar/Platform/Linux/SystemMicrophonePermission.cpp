#include "Platform/Linux/SystemMicrophonePermission.h"

#include "Platform/Clock.h"
#include "Platform/MainQueuePort.h"

#include <utility>

namespace tandrel {

namespace {

using Completion = std::function<void(AuthorizationStatus)>;

/// Waits for the switch or the limit, whichever comes first.
class Query : public Operation {
public:
    struct State {
        Completion completion;
        Handle limit;

        void finish(AuthorizationStatus status) {
            const Handle ended = std::move(limit);
            if (const auto complete = std::exchange(completion, nullptr)) {
                complete(status);
            }
        }
    };

    Query(Clock& clock, Completion completion)
        : state_(std::make_shared<State>(State{std::move(completion), nullptr})) {
        state_->limit = clock.after(SystemMicrophonePermission::limit, [weak = state()] {
            if (const auto held = weak.lock()) {
                held->finish(AuthorizationStatus::authorized);
            }
        });
    }

    [[nodiscard]] std::weak_ptr<State> state() const { return state_; }

private:
    std::shared_ptr<State> state_;
};

} // namespace

SystemMicrophonePermission::SystemMicrophonePermission(MainQueue& mainQueue, Clock& clock,
                                                       PrivacySwitch isMicrophoneSwitchedOff)
    : clock_(clock)
    , mainQueue_(std::make_shared<MainQueuePort>(mainQueue))
    , isMicrophoneSwitchedOff_(std::move(isMicrophoneSwitchedOff)) {}

SystemMicrophonePermission::~SystemMicrophonePermission() {
    mainQueue_->close();
}

Handle SystemMicrophonePermission::authorizationStatus(Completion completion) {
    auto query = std::make_unique<Query>(clock_, std::move(completion));
    if (!worker_) {
        worker_.emplace();
    }
    worker_->post(
        [isSwitchedOff = isMicrophoneSwitchedOff_, queue = mainQueue_, state = query->state()] {
            const auto status =
                isSwitchedOff() ? AuthorizationStatus::denied : AuthorizationStatus::authorized;
            queue->post([state, status] {
                if (const auto held = state.lock()) {
                    held->finish(status);
                }
            });
        });
    return query;
}

Handle SystemMicrophonePermission::requestAccess(std::function<void(bool granted)> completion) {
    return authorizationStatus([completion = std::move(completion)](AuthorizationStatus status) {
        completion(status == AuthorizationStatus::authorized);
    });
}

} // namespace tandrel
