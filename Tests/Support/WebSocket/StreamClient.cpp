#include "Support/WebSocket/StreamClient.h"

#include <utility>

namespace tandrel::test {

StreamClient::StreamClient(StreamSocket& socket, ManualMainQueue& mainQueue, const std::string& url)
    : task(socket.webSocketTask(url))
    , mainQueue_(mainQueue) {
    task->resume();
    task->sendPing(
        [this](std::optional<SocketError> error) { pings_.push_back(std::move(error)); });
    receiveNext();
}

void StreamClient::receiveNext() {
    task->receive([this](Result<SocketMessage, SocketError> result) {
        if (!result) {
            receiveErrors_.push_back(result.error());
            return;
        }
        messages_.push_back(result.value());
        if (task) {
            receiveNext();
        }
    });
}

bool StreamClient::waitFor(const std::function<bool()>& condition) {
    return mainQueue_.drainUntil(condition);
}

bool StreamClient::waitForPong() {
    return waitFor([this] { return !pings_.empty(); }) && isConnected();
}

bool StreamClient::waitForLoss() {
    return waitFor([this] { return !receiveErrors_.empty(); });
}

void StreamClient::send(const std::string& payload) {
    task->send(Bytes(payload.begin(), payload.end()),
               [sends = sends_](const std::optional<SocketError>& error) {
                   ++(error ? sends->failed : sends->ok);
               });
}

} // namespace tandrel::test
