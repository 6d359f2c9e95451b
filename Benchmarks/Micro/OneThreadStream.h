#pragma once

#include "Platform/Qt/QtMainQueue.h"
#include "Platform/StreamSocket.h"
#include "Platform/WebSocket/ClosingCount.h"
#include "Platform/WebSocket/NetworkThread.h"
#include "Services/APIClient.h"
#include "Services/KeychainService.h"
#include "Services/WebSocketService.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeHttpTransport.h"
#include "Support/ManualClock.h"
#include "Support/WebSocket/ScriptedServer.h"

#include <atomic>
#include <memory>
#include <string>

namespace tandrel::bench {

/// The program's socket, whose network thread is the calling one: all of it but the thread, so that
/// what a message costs can be counted. Work is done when the posted events are sent.
class OneThreadSocket : public StreamSocket {
public:
    explicit OneThreadSocket(MainQueue& mainQueue)
        : mainQueue_(mainQueue) {}

    [[nodiscard]] std::shared_ptr<StreamSocketTask> webSocketTask(const std::string& url) override;

private:
    MainQueue& mainQueue_;
    std::shared_ptr<ClosingCount> closings_ = std::make_shared<ClosingCount>();
    ConnectionTable table_;
    std::shared_ptr<NetworkMailbox> mailbox_ = std::make_shared<NetworkMailbox>(table_);
};

/// The program's stream, connected over the loopback interface to a server that reads nothing until
/// it is asked to. Needs an application object.
class OneThreadStream {
public:
    /// Returns once the stream is connected.
    OneThreadStream();
    OneThreadStream(const OneThreadStream&) = delete;
    OneThreadStream& operator=(const OneThreadStream&) = delete;
    ~OneThreadStream();

    QtMainQueue mainQueue;

    void sendAudioData(Bytes data) { service_.sendAudioData(std::move(data)); }
    /// Does what has been asked of the main and of the network thread, and takes from the server's
    /// system what has arrived there.
    void finishRound();

private:
    std::atomic<int> serverEnd_{-1};
    test::ScriptedServer server_;
    test::FakeCredentialStore credentials_;
    KeychainService keychain_{credentials_};
    test::FakeHttpTransport transport_;
    test::ManualClock clock_;
    APIClient apiClient_;
    OneThreadSocket socket_{mainQueue};
    WebSocketService service_{apiClient_, socket_, clock_};
};

} // namespace tandrel::bench
