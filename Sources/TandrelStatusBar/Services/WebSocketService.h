#pragma once

#include "Foundation/Published.h"
#include "Platform/StreamSocket.h"
#include "Services/ConnectionState.h"

#include <string>

namespace tandrel {

class APIClient;
class Clock;

/// Carries the captured audio to the backend. Main thread, but for `sendAudioData`.
class WebSocketService {
public:
    /// All three must outlive the service.
    WebSocketService(const APIClient& apiClient, StreamSocket& streamSocket, Clock& clock);
    ~WebSocketService();
    WebSocketService(const WebSocketService&) = delete;
    WebSocketService& operator=(const WebSocketService&) = delete;

    Published<ConnectionState> state;

    void connect(std::string token);
    void disconnect();

    /// Offers one buffer of 16 kHz mono signed 16-bit little-endian PCM; sent as one binary message
    /// while connected, dropped otherwise. Any one thread at a time; never blocks.
    void sendAudioData(Bytes data);
};

} // namespace tandrel
