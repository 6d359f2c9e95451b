#pragma once

#include "Platform/StreamSocket.h"
#include "Support/ManualMainQueue.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// Uses a task as the program does: one ping right after opening, one message asked for after the
/// other; keeps what comes back.
class StreamClient {
public:
    StreamClient(StreamSocket& socket, ManualMainQueue& mainQueue, const std::string& url);

    /// Runs the main queue until `condition` holds; whether it did.
    [[nodiscard]] bool waitFor(const std::function<bool()>& condition);
    [[nodiscard]] bool waitForPong();
    /// Until the pending ping or receive has failed.
    [[nodiscard]] bool waitForLoss();

    /// Sends `payload` and counts its completion.
    void send(const std::string& payload);

    [[nodiscard]] bool isConnected() const { return !pings_.empty() && !pings_.front(); }
    [[nodiscard]] const std::vector<std::optional<SocketError>>& pings() const { return pings_; }
    [[nodiscard]] const std::vector<SocketMessage>& messages() const { return messages_; }
    [[nodiscard]] const std::vector<SocketError>& receiveErrors() const { return receiveErrors_; }
    /// The error of the receive loop; only after a loss.
    [[nodiscard]] const SocketError& loss() const { return receiveErrors_.front(); }

    struct SendCounts {
        std::atomic<int> ok{0};
        std::atomic<int> failed{0};
    };
    [[nodiscard]] const SendCounts& sends() const { return *sends_; }

    std::shared_ptr<StreamSocketTask> task;

private:
    void receiveNext();

    ManualMainQueue& mainQueue_;
    std::vector<std::optional<SocketError>> pings_;
    std::vector<SocketMessage> messages_;
    std::vector<SocketError> receiveErrors_;
    std::shared_ptr<SendCounts> sends_ = std::make_shared<SendCounts>();
};

} // namespace tandrel::test
