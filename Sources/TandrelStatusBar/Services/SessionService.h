#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Lifetime.h"
#include "Foundation/Published.h"
#include "Foundation/Result.h"
#include "Platform/Clock.h"
#include "Services/APIError.h"
#include "Services/SessionState.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {

class APIClient;

class KeychainService;

/// Finds out when the signed-in user has started a live session. Main thread.
class SessionService {
public:
    /// All three must outlive the service.
    SessionService(APIClient& apiClient, KeychainService& keychain, Clock& clock);
    ~SessionService();
    SessionService(const SessionService&) = delete;
    SessionService& operator=(const SessionService&) = delete;

    /// Also assigned by the owner: `streaming`, when streaming of the found session begins.
    Published<SessionState> state;
    Published<std::optional<std::string>> error;

    /// Asks the backend from the next turn of the main loop on, again 3 s after each answer, until
    /// a session is found, the backend refuses the user, or `stopPolling()`. A loop that already
    /// runs is replaced.
    void startPolling();
    /// Aborts the poll under way. An answer that is in already still counts.
    void stopPolling();
    /// Ends a streaming session: `completed`, and 2 s later polling again, then `done`. In any
    /// other state nothing happens and the handle is null. Destroying the handle within the 2 s
    /// leaves the state as it is, without polling.
    [[nodiscard]] Handle endSession(std::function<void()> done = {});

private:
    struct PollLoop;
    using Answer = Result<TandrelSessionResponse, APIError>;

    void poll(const std::shared_ptr<PollLoop>& loop);
    void finishPoll(const std::shared_ptr<PollLoop>& loop, const std::string& tag,
                    const Answer& answer);
    void handleAnswer(const std::string& tag, const Answer& answer);
    void pollAfter(const std::shared_ptr<PollLoop>& loop, Clock::Duration delay);

    APIClient& apiClient_;
    KeychainService& keychain_;
    Clock& clock_;

    std::int64_t pollCount_ = 0;
    std::shared_ptr<PollLoop> pollTask_;
    /// Stopped loops whose aborted request has yet to say so.
    std::vector<std::shared_ptr<PollLoop>> endingLoops_;
    Lifetime lifetime_;
};

} // namespace tandrel
