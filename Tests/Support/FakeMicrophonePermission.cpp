#include "Support/FakeMicrophonePermission.h"

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

Handle FakeMicrophonePermission::requestAccess(std::function<void(bool granted)> completion) {
    ++requestCount_;
    auto shared = std::make_shared<const Completion>(std::move(completion));
    open_.push_back(shared);
    return std::make_unique<Question>(std::move(shared));
}

int FakeMicrophonePermission::answer(bool granted) {
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
