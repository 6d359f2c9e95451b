#pragma once

#include <chrono>
#include <cstddef>

namespace tandrel {

/// The bounds in time and memory of one WebSocket connection. Tests shorten them.
struct SocketLimits {
    /// From `resume()` to the pong; later pings get the same time, from the ping on.
    std::chrono::milliseconds openToPong{9000};
    /// From our close frame to the server's echo, then the connection is cut.
    std::chrono::milliseconds closingHandshake{1000};
    /// The oldest message that waits for the socket; an older one means that the server is stuck.
    /// A server that has stopped reading goes on taking 4 to 5 s of audio into its system's
    /// buffers, so with this it is noticed after 10 to 11 s (with 8 s it was 12.4 s).
    std::chrono::milliseconds oldestWaiting{5500};
    /// Messages that wait for the socket, with their bookkeeping.
    std::size_t waitingBytes = 400'000;
    /// A message is handed to the socket only while less than this waits in it, so that what is
    /// under way stays small and the age of the oldest waiting message tells the truth.
    std::size_t socketBacklogBytes = 8'192;
    /// Head start of one address over the next (RFC 8305, section 5).
    std::chrono::milliseconds nextAddress{250};
    /// Sent data without an acknowledgement, where the system has such a limit.
    std::chrono::milliseconds unacknowledged{10'000};
    int kernelSendBufferBytes = 32'768;
    /// One incoming message.
    std::size_t messageBytes = 1'048'576;
    /// Status line and headers of the reply to the upgrade request.
    std::size_t upgradeReplyBytes = 16'384;
    /// Incoming messages that nobody has asked for yet; beyond, reading stops.
    std::size_t undeliveredBytes = 262'144;
};

} // namespace tandrel
