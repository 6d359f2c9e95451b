#include "Platform/WebSocket/Connection.h"

#include <QNetworkProxy>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace tandrel {

namespace {

using namespace std::chrono_literals;

/// One round of reading. Small, because what one round makes of it (a pong for each ping, a
/// message for each two bytes) is unbounded until the next look at the bounds.
constexpr std::size_t readChunkBytes = 4096;

constexpr std::chrono::milliseconds ageCheckInterval = 250ms;

constexpr const char* lostWhileSending = "The connection was lost.";

/// The payload of ping number `number`: the pong must repeat it.
std::string pingPayload(std::uint32_t number) {
    std::string payload;
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        payload += static_cast<char>((number >> (shift - 8)) & 0xffU);
    }
    return payload;
}

} // namespace

Connection::Connection(ConnectionRequest request, std::shared_ptr<StreamChannel> channel,
                       ProxyLookup& proxyLookup)
    : request_(std::move(request))
    , channel_(std::move(channel))
    , proxyLookup_(proxyLookup)
    , codec_(request_.limits.messageBytes) {
    for (QTimer* timer : {&answerTimer_, &closingTimer_}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
    }
    answerTimer_.setInterval(request_.limits.openToPong);
    closingTimer_.setInterval(request_.limits.closingHandshake);
    ageTimer_.setInterval(std::min(ageCheckInterval, request_.limits.oldestWaiting));
    connect(&answerTimer_, &QTimer::timeout, this, &Connection::onTimeout);
    connect(&closingTimer_, &QTimer::timeout, this, &Connection::finish);
    connect(&ageTimer_, &QTimer::timeout, this, &Connection::checkOldest);
}

void Connection::open() {
    if (!request_.url) {
        lose(tr("The stream's address is not valid."));
        return;
    }
    stage_ = Stage::dialing;
    answerTimer_.start();
    dialer_.reset(
        new Dialer(*request_.url, request_.limits, request_.extraAuthorities, proxyLookup_));
    connect(dialer_.get(), &Dialer::opened, this, &Connection::onDialed);
    connect(dialer_.get(), &Dialer::failed, this, &Connection::lose);
    dialer_->start();
}

void Connection::onDialed() {
    socket_ = dialer_->takeSocket();
    dialer_.reset();
    connect(socket_.get(), &QTcpSocket::readyRead, this, &Connection::readIncoming);
    connect(socket_.get(), &QTcpSocket::bytesWritten, this, &Connection::onSocketWritten);
    connect(socket_.get(), &QTcpSocket::disconnected, this, &Connection::onSocketEnded);
    connect(socket_.get(), &QTcpSocket::errorOccurred, this, &Connection::onSocketError);
    isProxied_ = socket_->proxy().type() != QNetworkProxy::NoProxy;
    for (QTcpSocket* const inner : socket_->findChildren<QTcpSocket*>()) {
        innerSockets_.emplace_back(inner);
        connect(inner, &QTcpSocket::bytesWritten, this, &Connection::onSocketWritten);
    }
    stage_ = Stage::upgrading;
    const std::string key = makeHandshakeKey();
    reply_.emplace(acceptFor(key), request_.limits.upgradeReplyBytes);
    socket_->write(QByteArray::fromStdString(makeUpgradeRequest(*request_.url, key)));
    // The server may have gone while TLS was set up, before anyone listened.
    if (socket_->state() != QAbstractSocket::ConnectedState) {
        onSocketEnded();
    }
}

void Connection::readReply() {
    const QByteArray bytes = socket_->readAll();
    switch (reply_->feed({bytes.constData(), static_cast<std::size_t>(bytes.size())})) {
    case UpgradeReply::Verdict::incomplete:
        return;
    case UpgradeReply::Verdict::refused:
        lose(QString::fromStdString(reply_->reason()));
        return;
    case UpgradeReply::Verdict::accepted:
        break;
    }
    stage_ = Stage::open;
    const std::string rest = reply_->rest();
    reply_.reset();
    while (pingsSent_ < pingsAsked_) {
        sendPing();
    }
    if (pingsAsked_ == 0) {
        answerTimer_.stop();
    }
    consume(rest);
    pump();
}

void Connection::ping() {
    ++pingsAsked_;
    if (stage_ == Stage::open) {
        if (!answerTimer_.isActive()) {
            answerTimer_.start();
        }
        sendPing();
    }
}

void Connection::sendPing() {
    codec_.queuePing(pingPayload(++pingsSent_));
    writeOutput();
}

void Connection::handlePong(const std::string& payload) {
    // A pong may answer earlier pings as well (RFC 6455, section 5.5.3); any other was not asked
    // for.
    for (std::uint32_t number = pingsAnswered_ + 1; number <= pingsSent_; ++number) {
        if (payload == pingPayload(number)) {
            for (; pingsAnswered_ < number; ++pingsAnswered_) {
                if (channel_->incoming.addPong()) {
                    channel_->wakeMainThread();
                }
            }
        }
    }
    if (pingsAnswered_ == pingsAsked_) {
        answerTimer_.stop();
    }
}

void Connection::pump() {
    if (channel_->outgoing.hasOverflowed()) {
        lose(tr("The server does not take the stream fast enough."));
        return;
    }
    if (stage_ != Stage::open || ended_ || std::exchange(pumping_, true)) {
        return;
    }
    channel_->outgoing.beginRound();
    while (stage_ == Stage::open && !isOutputBlocked()) {
        std::optional<SendQueue::Message> message = channel_->outgoing.pop();
        if (!message) {
            break;
        }
        codec_.queueBinary(message->payload);
        writeOutput();
        // Looks for the server's last word before the bytes really go out: a write that meets a
        // closed connection would throw away the close frame that came before the reset.
        lookForInput();
        // Out in this turn of the loop: to wait for the socket's own notice costs another.
        if (stage_ == Stage::open && !ended_) {
            socket_->flush();
        }
        if (message->completion) {
            message->completion(stage_ == Stage::open ? std::nullopt
                                                      : std::optional(SocketError{
                                                            codec_.closeCode(), lostWhileSending}));
        }
    }
    pumping_ = false;
    if (stage_ == Stage::open && channel_->outgoing.oldest()) {
        if (!ageTimer_.isActive()) {
            ageTimer_.start();
        }
    } else {
        ageTimer_.stop();
    }
}

void Connection::lookForInput() {
    // Behind a proxy, a look in vain while an inner socket still writes closes the connection
    // (Qt 6.4.2). What we write then does not go out before that, so there is time to look later.
    const bool isHarmful = isProxied_ && innerBacklog() > 0;
    if (socket_ && !isHarmful && socket_->state() == QAbstractSocket::ConnectedState) {
        // Not by a poll of our own, although that is cheaper: Qt looks after it has encrypted what
        // is to go out, so that next to nothing comes between that and the write. With a poll
        // before it 22 of 576 close codes that a reset followed were lost with TLS, without it
        // none.
        socket_->waitForReadyRead(0);
    }
}

void Connection::checkOldest() {
    const auto oldest = channel_->outgoing.oldest();
    if (oldest && std::chrono::steady_clock::now() - *oldest > request_.limits.oldestWaiting) {
        lose(tr("The server has stopped taking the stream."));
    }
}

qint64 Connection::innerBacklog() const {
    qint64 backlog = 0;
    for (const auto& inner : innerSockets_) {
        backlog += inner ? inner->bytesToWrite() : 0;
    }
    return backlog;
}

bool Connection::isOutputBlocked() const {
    const qint64 backlog = socket_->bytesToWrite() + innerBacklog();
    return backlog >= static_cast<qint64>(request_.limits.socketBacklogBytes);
}

bool Connection::mustPauseReading() const {
    // While closing, everything is read and nothing answered or kept.
    return stage_ == Stage::open && (isOutputBlocked() || channel_->incoming.mustWaitForRoom());
}

void Connection::readIncoming() {
    // Not from within itself: what is written below may look for input again.
    if (!socket_ || std::exchange(reading_, true)) {
        return;
    }
    std::array<char, readChunkBytes> chunk{};
    while (socket_ && socket_->bytesAvailable() > 0 && !mustPauseReading()) {
        if (stage_ == Stage::upgrading) {
            readReply();
            continue;
        }
        const qint64 count = socket_->read(chunk.data(), chunk.size());
        if (count <= 0) {
            break;
        }
        consume({chunk.data(), static_cast<std::size_t>(count)});
    }
    reading_ = false;
}

void Connection::consume(std::string_view bytes) {
    for (FrameCodec::Event& event : codec_.receive(bytes)) {
        if (stage_ != Stage::open) {
            break;
        }
        if (const auto* pong = std::get_if<FrameCodec::Pong>(&event)) {
            handlePong(pong->payload);
        } else if (channel_->incoming.addMessage(std::move(std::get<SocketMessage>(event)))) {
            channel_->wakeMainThread();
        }
    }
    writeOutput();
    checkForEnd();
}

void Connection::checkForEnd() {
    if (codec_.hasReceivedClose()) {
        const int code = codec_.closeCode();
        lose(code == 0 ? tr("The server closed the connection.")
                       : tr("The server closed the connection (code %1).").arg(code));
        // Both sides have said it: what is left is to send ours, and FIN.
        if (socket_) {
            socket_->disconnectFromHost();
        }
    } else if (codec_.isViolated()) {
        lose(tr("The server broke the WebSocket protocol."));
    }
}

void Connection::writeOutput() {
    // Moved out of the way for a write that happens within the one below.
    std::string output = codec_.takeOutput(std::exchange(spareOutput_, {}));
    // Qt does not expect a write while it tells of the end.
    if (!output.empty() && socket_ && !ended_) {
        socket_->write(output.data(), static_cast<qint64>(output.size()));
    }
    spareOutput_ = std::move(output);
}

void Connection::onSocketWritten() {
    if (stage_ == Stage::open && !isOutputBlocked()) {
        pump();
        readIncoming();
    }
}

void Connection::onSocketError(QAbstractSocket::SocketError error) {
    // A look for input that finds none, while output is blocked, counts as an error for Qt. The
    // system's own time-out is followed by `disconnected`.
    if (error != QAbstractSocket::SocketTimeoutError) {
        onSocketEnded();
    }
}

void Connection::onSocketEnded() {
    if (!socket_ || std::exchange(ended_, true)) {
        return;
    }
    const QString reason = socket_->errorString();
    const bool serverEnded = socket_->error() == QAbstractSocket::RemoteHostClosedError;
    // What came before the end still counts: a close frame, above all.
    while (socket_ && (stage_ == Stage::upgrading || stage_ == Stage::open) &&
           socket_->bytesAvailable() > 0) {
        if (stage_ == Stage::upgrading) {
            readReply();
        } else {
            const QByteArray bytes = socket_->read(readChunkBytes);
            consume({bytes.constData(), static_cast<std::size_t>(bytes.size())});
        }
    }
    lose(serverEnded ? tr("The server ended the connection.")
                     : tr("The connection was lost: %1").arg(reason));
    finish();
}

void Connection::onTimeout() {
    lose(tr("The server did not answer in time."));
}

void Connection::lose(const QString& reason) {
    if (stage_ == Stage::closing || stage_ == Stage::finished) {
        return;
    }
    const bool wasOpen = stage_ == Stage::open;
    const SocketError error{codec_.closeCode(), reason.toStdString()};
    stage_ = Stage::closing;
    failWaiting(error);
    if (channel_->incoming.setLoss(error)) {
        channel_->wakeMainThread();
    }
    // With a close frame on its way to a server that may still read, the end takes its course.
    if (wasOpen && !ended_ && (codec_.hasReceivedClose() || codec_.isViolated())) {
        beginClosing();
    } else {
        finish();
    }
}

void Connection::failWaiting(const SocketError& error) {
    for (SendQueue::Message& message : channel_->outgoing.close()) {
        if (message.completion) {
            message.completion(error);
        }
    }
}

void Connection::close(std::uint16_t code, ClosingCount::Token token) {
    closingToken_ = std::move(token);
    pump();
    const bool wasOpen = stage_ == Stage::open;
    failWaiting({0, "The connection was closed."});
    if (wasOpen) {
        stage_ = Stage::closing;
        codec_.queueClose(code);
        writeOutput();
        beginClosing();
        // Reading may have been paused; the server's echo lies behind what it has sent.
        readIncoming();
    } else if (stage_ != Stage::closing) {
        finish();
    }
}

void Connection::beginClosing() {
    answerTimer_.stop();
    ageTimer_.stop();
    closingTimer_.start();
}

void Connection::drop() {
    failWaiting({0, "The connection was dropped."});
    finish();
}

void Connection::finish() {
    if (stage_ == Stage::finished) {
        return;
    }
    stage_ = Stage::finished;
    for (QTimer* timer : {&answerTimer_, &closingTimer_, &ageTimer_}) {
        timer->stop();
    }
    dialer_.reset();
    socket_.reset();
    closingToken_.reset();
    Q_EMIT finished();
}

} // namespace tandrel
