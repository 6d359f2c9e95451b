#pragma once

#include "Platform/PulseAudio/PulseConnection.h"

#include <memory>

namespace tandrel::pulse {

/// The user's sound server: keeps one connection open, since the next refresh or capture then
/// costs a fraction of a millisecond, and replaces it when it has gone bad. Any one thread.
class Server {
public:
    /// The connection, opened anew if there is no good one.
    [[nodiscard]] Result<std::shared_ptr<Connection>, Error> connection(Deadline deadline);

    /// Forgets a connection that no longer answers. One that carries a live stream stays: what
    /// becomes of it is for the stream to find out.
    void giveUp(const std::shared_ptr<Connection>& connection);

private:
    std::shared_ptr<Connection> connection_;
};

} // namespace tandrel::pulse
