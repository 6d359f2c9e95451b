#include "Micro/OneThreadStream.h"

#include "Platform/WebSocket/QtStreamSocketTask.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/socket.h>

namespace tandrel::bench {

namespace {

constexpr std::chrono::seconds connectLimit(20);

} // namespace

std::shared_ptr<StreamSocketTask> OneThreadSocket::webSocketTask(const std::string& url) {
    return QtStreamSocketTask::create(1, {WebSocketUrl::parse(url), {}, {}}, mainQueue_, mailbox_,
                                      closings_);
}

OneThreadStream::OneThreadStream()
    : server_([this](test::Peer& peer) {
        if (peer.openWithPong()) {
            serverEnd_ = peer.descriptor();
            peer.stall();
        }
    })
    , apiClient_("http://127.0.0.1:" + std::to_string(server_.port()), transport_, keychain_,
                 clock_) {
    service_.connect("secret");
    const auto deadline = std::chrono::steady_clock::now() + connectLimit;
    while (service_.state.value() != ConnectionState::connected() || serverEnd_ < 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            std::fputs("no connection over the loopback interface\n", stderr);
            std::abort();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

OneThreadStream::~OneThreadStream() = default;

void OneThreadStream::finishRound() {
    QCoreApplication::sendPostedEvents();
    std::array<char, 65536> arrived;
    (void)::recv(serverEnd_, arrived.data(), arrived.size(), MSG_DONTWAIT);
}

} // namespace tandrel::bench
