#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Services/SessionState.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tandrel {

class APIClient;
class Clock;
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

    void startPolling();
    void stopPolling();
    /// Ends a streaming session: `completed`, and 2 s later polling again; nothing in any other
    /// state. Destroying the handle within the 2 s leaves the state as it is, without polling.
    [[nodiscard]] Handle endSession();
};

} // namespace tandrel
