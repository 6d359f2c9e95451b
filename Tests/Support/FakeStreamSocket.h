#pragma once

#include "Platform/StreamSocket.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// One connection as the test sees it: it answers for the network and the server, and stays
/// readable when the task itself has gone. Main thread, but for what is said to be otherwise.
class FakeConnection {
public:
    explicit FakeConnection(std::string url);

    [[nodiscard]] const std::string& url() const { return url_; }
    [[nodiscard]] bool isResumed() const { return resumed_; }
    [[nodiscard]] int pingCount() const { return pingCount_; }
    /// Receives that wait for a message.
    [[nodiscard]] std::size_t receiveCount() const { return receives_.size(); }
    /// The code the client closed with; absent while it has not.
    [[nodiscard]] std::optional<std::uint16_t> closedWith() const { return closedWith_; }
    /// Whether the client let go of the task without closing it.
    [[nodiscard]] bool isDropped() const { return released_ && !closedWith_; }
    /// What was sent, in order. Any thread.
    [[nodiscard]] std::vector<Bytes> sent() const;

    /// Each answers the oldest call that waits; false when there was none. They work for a dropped
    /// task too: a completion can already be on its way.
    bool answerPing();
    bool failPing(const SocketError& error);
    bool deliver(const SocketMessage& message);
    bool failReceive(const SocketError& error);
    /// Fails whatever waits with one loss, the ping first.
    void lose(const SocketError& error);
    /// The close code that the server sent.
    void setCloseCode(int code) { closeCode_ = code; }
    /// Called whenever the client asks for the close code.
    std::function<void()> onCloseCodeAsked;
    /// Every later send ends with `error`, or well again without one. Any thread.
    void setSendError(std::optional<SocketError> error);

private:
    friend class FakeStreamSocketTask;

    std::string url_;
    bool resumed_ = false;
    std::atomic<bool> released_ = false; // the last owner may be the tap thread
    int pingCount_ = 0;
    int closeCode_ = 0;
    std::optional<std::uint16_t> closedWith_;
    std::deque<StreamSocketTask::PingCompletion> pings_;
    std::deque<StreamSocketTask::ReceiveCompletion> receives_;

    mutable std::mutex mutex_;
    std::vector<Bytes> sent_;              // guarded by mutex_
    std::optional<SocketError> sendError_; // guarded by mutex_
};

/// Connections that do nothing by themselves: the test scripts them.
class FakeStreamSocket : public StreamSocket {
public:
    [[nodiscard]] std::shared_ptr<StreamSocketTask> webSocketTask(const std::string& url) override;

    /// All connections made so far, oldest first.
    [[nodiscard]] const std::vector<std::shared_ptr<FakeConnection>>& connections() const {
        return connections_;
    }
    /// The newest connection; there must be one.
    [[nodiscard]] FakeConnection& latest() const {
        return *connections_.at(connections_.size() - 1);
    }

private:
    std::vector<std::shared_ptr<FakeConnection>> connections_;
};

} // namespace tandrel::test
