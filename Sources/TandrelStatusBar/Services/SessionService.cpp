#include "Services/SessionService.h"

#include "DebugLog.h"
#include "Foundation/Precondition.h"
#include "Platform/Clock.h"
#include "Services/APIClient.h"
#include "Services/KeychainService.h"

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

constexpr std::chrono::seconds pollInterval(3);
constexpr std::chrono::seconds completedInterval(2);

} // namespace

/// One run of the polling loop. It owns its wait and its request, whose completions hold it weakly,
/// so that it goes with its owner.
struct SessionService::PollLoop {
    bool isCancelled = false;
    Handle wait;
    std::unique_ptr<APIRequest> request;
};

SessionService::SessionService(APIClient& apiClient, KeychainService& keychain, Clock& clock)
    : apiClient_(apiClient)
    , keychain_(keychain)
    , clock_(clock) {}

SessionService::~SessionService() {
    // For a poll whose own outcome destroys the service.
    if (pollTask_) {
        pollTask_->isCancelled = true;
    }
}

void SessionService::startPolling() {
    stopPolling();
    state.set(SessionState::polling());
    error.set(std::nullopt);
    const bool hasToken = keychain_.retrieve(KeychainService::Key::accessToken).has_value();
    DebugLog::write("[startPolling] baseURL=" + apiClient_.baseURL() +
                    " hasToken=" + (hasToken ? "true" : "false"));
    pollTask_ = std::make_shared<PollLoop>();
    pollAfter(pollTask_, Clock::Duration::zero());
}

void SessionService::stopPolling() {
    if (const auto loop = std::exchange(pollTask_, nullptr)) {
        loop->isCancelled = true;
        loop->wait.reset();
        if (loop->request) {
            endingLoops_.push_back(loop);
            loop->request->cancel();
        }
    }
    if (state.value().kind() == SessionState::Kind::polling) {
        state.set(SessionState::idle());
    }
}

Handle SessionService::endSession(std::function<void()> done) {
    if (state.value().kind() != SessionState::Kind::streaming) {
        return nullptr;
    }
    state.set(SessionState::completed());
    return clock_.after(completedInterval, lifetime_.guard([this, done = std::move(done)] {
        startPolling();
        if (done) {
            done();
        }
    }));
}

void SessionService::pollAfter(const std::shared_ptr<PollLoop>& loop, Clock::Duration delay) {
    loop->wait = clock_.after(delay, [this, weak = std::weak_ptr(loop)] {
        if (const auto current = weak.lock()) {
            poll(current);
        }
    });
}

void SessionService::poll(const std::shared_ptr<PollLoop>& loop) {
    const std::string tag = "[poll] #" + std::to_string(increment(pollCount_));
    if (state.value().kind() != SessionState::Kind::polling) {
        DebugLog::write(tag + " SKIP state=" + state.value().rendering());
        pollAfter(loop, pollInterval);
        return;
    }
    DebugLog::write(tag + " requesting...");
    loop->request = apiClient_.authenticatedGet<TandrelSessionResponse>(
        "/api/tandrel/sessions/pending",
        [this, weak = std::weak_ptr(loop), tag](const Answer& answer) {
            if (const auto current = weak.lock()) {
                finishPoll(current, tag, answer);
            }
        });
}

void SessionService::finishPoll(const std::shared_ptr<PollLoop>& loop, const std::string& tag,
                                const Answer& answer) {
    // Out of the loop first: what is over cannot be aborted by the steps that follow.
    const auto finished = std::exchange(loop->request, nullptr);
    std::erase(endingLoops_, loop);
    handleAnswer(tag, answer);
    if (!loop->isCancelled) {
        pollAfter(loop, pollInterval);
    }
}

void SessionService::handleAnswer(const std::string& tag, const Answer& answer) {
    if (answer.ok()) {
        DebugLog::write(tag + " FOUND session=" + answer.value().sessionId);
        stopPolling();
        state.set(SessionState::sessionFound(answer.value()));
        return;
    }
    DebugLog::write(tag + " APIError: " + answer.error().rendering());
    if (answer.error().isUnauthorized()) {
        stopPolling();
        error.set("Session expired");
    }
}

} // namespace tandrel
