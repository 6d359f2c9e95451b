#include "DevBackend/StreamConnection.h"

#include "DevBackend/MessageLog.h"

#include <utility>

namespace devbackend {

namespace {

constexpr quint64 maxMessageBytes = 1'048'576;

} // namespace

StreamConnection::StreamConnection(std::unique_ptr<QWebSocket> webSocket, QTcpSocket* tcp,
                                   const StreamFault& fault)
    : webSocket_(std::move(webSocket))
    , tcp_(tcp)
    , fault_(fault) {
    webSocket_->setMaxAllowedIncomingMessageSize(maxMessageBytes);
    connect(webSocket_.get(), &QWebSocket::binaryMessageReceived, this, &StreamConnection::receive);
    // Comes with a close frame only: QWebSocket's close code says 1000 for a lost connection too.
    connect(webSocket_.get(), &QWebSocket::aboutToClose, this,
            [this] { hasClosingHandshake_ = true; });
    connect(webSocket_.get(), &QWebSocket::disconnected, this, &StreamConnection::reportEnd);

    if (fault_.action != StreamFault::Action::None) {
        faultTimer_.setSingleShot(true);
        faultTimer_.setTimerType(Qt::PreciseTimer);
        connect(&faultTimer_, &QTimer::timeout, this, [this] {
            isOldEnough_ = true;
            strikeWhenDue();
        });
        faultTimer_.start(fault_.afterTime);
    }
}

void StreamConnection::receive(const QByteArray& message) {
    const std::int64_t arrival = monotonicNanoseconds();
    ++messages_;
    Q_EMIT messageReceived(message, arrival);
    strikeWhenDue();
}

void StreamConnection::strikeWhenDue() {
    if (fault_.action == StreamFault::Action::None || messages_ < fault_.afterMessages ||
        !isOldEnough_) {
        return;
    }
    switch (std::exchange(fault_.action, StreamFault::Action::None)) {
    case StreamFault::Action::Close:
        close(fault_.closeCode);
        break;
    case StreamFault::Action::Reset:
        reset();
        break;
    case StreamFault::Action::Pause:
        pause();
        break;
    case StreamFault::Action::None:
        break;
    }
}

void StreamConnection::close(int code) {
    resume();
    ownCloseCode_ = code;
    webSocket_->close(static_cast<QWebSocketProtocol::CloseCode>(code));
}

void StreamConnection::reset() {
    if (tcp_ != nullptr) {
        tcp_->blockSignals(false);
        wasReset_ = true;
        resetConnection(*tcp_);
    }
}

void StreamConnection::pause() {
    if (tcp_ != nullptr) {
        // With a full small buffer Qt leaves the rest in the kernel; unsignalled, QWebSocket does
        // not empty it.
        tcp_->setReadBufferSize(1);
        tcp_->blockSignals(true);
    }
}

void StreamConnection::resume() {
    if (tcp_ != nullptr && tcp_->signalsBlocked()) {
        tcp_->setReadBufferSize(0);
        tcp_->blockSignals(false);
        Q_EMIT tcp_->readyRead();
    }
}

void StreamConnection::reportEnd() {
    if (std::exchange(hasEnded_, true)) {
        return;
    }
    Q_EMIT ended(howItEnded());
}

StreamEnd StreamConnection::howItEnded() const {
    if (ownCloseCode_) {
        return {.by = StreamEnd::By::Server, .code = *ownCloseCode_};
    }
    if (hasClosingHandshake_ && !wasReset_) {
        return {.by = StreamEnd::By::Client, .code = webSocket_->closeCode()};
    }
    return {};
}

} // namespace devbackend
