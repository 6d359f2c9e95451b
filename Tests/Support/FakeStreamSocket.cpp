#include "Support/FakeStreamSocket.h"

#include <utility>

namespace tandrel::test {

namespace {

/// Takes the oldest of `waiting` and calls it with `result`.
template <typename Completions, typename Value>
bool completeOldest(Completions& waiting, Value result) {
    if (waiting.empty()) {
        return false;
    }
    const auto completion = std::move(waiting.front());
    waiting.pop_front();
    completion(std::move(result));
    return true;
}

} // namespace

/// The client's end of a `FakeConnection`.
class FakeStreamSocketTask : public StreamSocketTask {
public:
    explicit FakeStreamSocketTask(std::shared_ptr<FakeConnection> connection)
        : connection_(std::move(connection)) {}
    ~FakeStreamSocketTask() override { connection_->released_ = true; }

    void resume() override { connection_->resumed_ = true; }

    void sendPing(PingCompletion completion) override {
        ++connection_->pingCount_;
        connection_->pings_.push_back(std::move(completion));
    }

    void receive(ReceiveCompletion completion) override {
        connection_->receives_.push_back(std::move(completion));
    }

    void send(Bytes message, SendCompletion completion) override {
        std::optional<SocketError> error;
        {
            const std::lock_guard lock(connection_->mutex_);
            error = connection_->sendError_;
            if (!error) {
                connection_->sent_.push_back(std::move(message));
            }
        }
        completion(std::move(error));
    }

    void cancel(std::uint16_t closeCode) override {
        connection_->closedWith_ = closeCode;
        connection_->pings_.clear();
        connection_->receives_.clear();
    }

    [[nodiscard]] int closeCode() const override {
        if (connection_->onCloseCodeAsked) {
            connection_->onCloseCodeAsked();
        }
        return connection_->closeCode_;
    }

private:
    std::shared_ptr<FakeConnection> connection_;
};

FakeConnection::FakeConnection(std::string url)
    : url_(std::move(url)) {}

std::vector<Bytes> FakeConnection::sent() const {
    const std::lock_guard lock(mutex_);
    return sent_;
}

bool FakeConnection::answerPing() {
    return completeOldest(pings_, std::optional<SocketError>());
}

bool FakeConnection::failPing(const SocketError& error) {
    return completeOldest(pings_, std::optional<SocketError>(error));
}

bool FakeConnection::deliver(const SocketMessage& message) {
    return completeOldest(receives_, Result<SocketMessage, SocketError>(message));
}

bool FakeConnection::failReceive(const SocketError& error) {
    return completeOldest(receives_, Result<SocketMessage, SocketError>(error));
}

void FakeConnection::lose(const SocketError& error) {
    while (failPing(error)) {
    }
    while (failReceive(error)) {
    }
}

void FakeConnection::setSendError(std::optional<SocketError> error) {
    const std::lock_guard lock(mutex_);
    sendError_ = std::move(error);
}

std::shared_ptr<StreamSocketTask> FakeStreamSocket::webSocketTask(const std::string& url) {
    connections_.push_back(std::make_shared<FakeConnection>(url));
    return std::make_shared<FakeStreamSocketTask>(connections_.back());
}

} // namespace tandrel::test
