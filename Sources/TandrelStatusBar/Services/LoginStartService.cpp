#include "Services/LoginStartService.h"

#include "Platform/MainQueue.h"

#include <mutex>
#include <utility>

namespace tandrel {

/// Kept alive by the worker's jobs too: one that a stuck disk holds up may outlive the service.
struct LoginStartService::Shared {
    Shared(std::unique_ptr<LoginStart> start, MainQueue& queue)
        : loginStart(std::move(start))
        , mainQueue(&queue) {}

    void postToMain(std::function<void()> action) {
        const std::lock_guard lock(mutex);
        if (mainQueue != nullptr) {
            mainQueue->post(std::move(action));
        }
    }
    void silence() {
        const std::lock_guard lock(mutex);
        mainQueue = nullptr;
    }

    /// On the worker's thread only.
    const std::unique_ptr<LoginStart> loginStart;

private:
    std::mutex mutex;
    MainQueue* mainQueue;
};

LoginStartService::LoginStartService(std::unique_ptr<LoginStart> loginStart, MainQueue& mainQueue)
    : shared_(std::make_shared<Shared>(std::move(loginStart), mainQueue)) {}

LoginStartService::~LoginStartService() {
    shared_->silence();
}

void LoginStartService::refresh() {
    run([](const LoginStart& loginStart) { return loginStart.look(); });
}

void LoginStartService::change(bool toOn) {
    run([toOn](LoginStart& loginStart) { return loginStart.change(toOn); });
}

bool LoginStartService::flush(std::chrono::milliseconds limit) {
    return !worker_ || worker_->flush(limit);
}

void LoginStartService::run(std::function<LoginStartAnswer(LoginStart&)> job) {
    if (!worker_) {
        worker_ = std::make_unique<SerialWorker>();
    }
    ++unanswered_;
    worker_->post([job = std::move(job), shared = shared_,
                   deliver = lifetime_.guard(
                       [this](const LoginStartAnswer& answer) { take(answer); })]() mutable {
        shared->postToMain(
            [deliver, answer = job(*shared->loginStart)]() mutable { deliver(answer); });
    });
}

void LoginStartService::take(const LoginStartAnswer& answer) {
    if (--unanswered_ == 0) {
        // Only now: what comes after an answer knows better how things stand.
        worker_.reset();
        isOn.set(answer.isOn);
    }
    if (!answer.problem.empty()) {
        problem.set(answer.problem);
    }
}

} // namespace tandrel
