#include "Support/FakeMicrophonePermission.h"

#include "Support/ManualMainQueue.h"

#include <utility>

namespace tandrel::test {

namespace {

/// Keeps a question open; without it nobody hears the answer.
class Question : public Operation {
public:
    explicit Question(std::shared_ptr<const void> completion)
        : completion_(std::move(completion)) {}

private:
    std::shared_ptr<const void> completion_;
};

} // namespace

Handle FakeMicrophonePermission::authorizationStatus(
    std::function<void(AuthorizationStatus status)> completion) {
    auto shared = std::make_shared<const decltype(completion)>(std::move(completion));
    mainQueue_.post([this, pending = std::weak_ptr(shared)] {
        if (const auto answer = pending.lock()) {
            (*answer)(status);
        }
    });
    return std::make_unique<Question>(std::move(shared));
}

Handle FakeMicrophonePermission::requestAccess(std::function<void(bool granted)> completion) {
    ++requestCount_;
    auto shared = std::make_shared<const Completion>(std::move(completion));
    open_.push_back(shared);
    return std::make_unique<Question>(std::move(shared));
}

int FakeMicrophonePermission::answer(bool granted) {
    mainQueue_.drain();
    int answered = 0;
    for (const auto& question : std::exchange(open_, {})) {
        if (const auto completion = question.lock()) {
            (*completion)(granted);
            ++answered;
        }
    }
    return answered;
}

} // namespace tandrel::test
