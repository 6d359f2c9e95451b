#include "DevBackend/HttpConnection.h"

#include <QTimer>

#include <sys/socket.h>
#include <utility>

namespace devbackend {

namespace {

constexpr qsizetype maxHeadBytes = 16'384;
constexpr qsizetype maxBodyBytes = 1'048'576;

} // namespace

void resetConnection(QTcpSocket& socket) {
    // A close with zero linger time discards what is queued and sends RST.
    const linger immediate{1, 0};
    setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &immediate,
               sizeof immediate);
    socket.abort();
}

HttpConnection::HttpConnection(QTcpSocket* socket, HttpHandler& handler, QObject* parent)
    : QObject(parent)
    , socket_(socket)
    , handler_(handler) {
    socket_->setParent(this);
    connect(socket_, &QTcpSocket::readyRead, this, &HttpConnection::readRequest);
    connect(socket_, &QTcpSocket::disconnected, this, &QObject::deleteLater);
}

void HttpConnection::readRequest() {
    if (isBusy_) {
        return;
    }
    const QByteArray waiting = socket_->peek(maxHeadBytes);
    const qsizetype headEnd = waiting.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        if (waiting.size() >= maxHeadBytes) {
            refuse(431, QStringLiteral("The request's head is too long."));
        }
        return;
    }
    std::optional<HttpRequest> request = parseRequestHead(waiting.left(headEnd));
    if (!request) {
        refuse(400, QStringLiteral("This is no HTTP request."));
        return;
    }
    if (request->wantsWebSocket()) {
        handle(*request);
        return;
    }
    const std::optional<qsizetype> length = request->contentLength();
    if (!length) {
        refuse(411, QStringLiteral("The body needs a Content-Length."));
        return;
    }
    if (*length > maxBodyBytes) {
        refuse(413, QStringLiteral("The body is too long."));
        return;
    }
    const qsizetype headLength = headEnd + 4;
    if (socket_->bytesAvailable() < headLength + *length) {
        return;
    }
    socket_->skip(headLength);
    request->body = socket_->read(*length);
    handle(*request);
}

void HttpConnection::refuse(int status, const QString& text) {
    isBusy_ = true;
    socket_->write(HttpResponse::error(status, QStringLiteral("bad_request"), text).toBytes(false));
    socket_->disconnectFromHost();
}

void HttpConnection::handle(const HttpRequest& request) {
    isBusy_ = true;
    const HttpAnswer answer = handler_.answer(request);
    if (answer.delay.count() == 0) {
        give(request, answer);
        return;
    }
    // The timer dies with this object, and this object with the connection.
    QTimer::singleShot(answer.delay, this, [this, request, answer] { give(request, answer); });
}

void HttpConnection::give(const HttpRequest& request, const HttpAnswer& answer) {
    switch (answer.manner) {
    case HttpAnswer::Manner::Silence:
        return;
    case HttpAnswer::Manner::Reset:
        resetConnection(*socket_);
        return;
    case HttpAnswer::Manner::Upgrade:
        handOver(answer);
        return;
    case HttpAnswer::Manner::Respond:
        break;
    }
    const bool keep = request.keepsConnection() && !request.wantsWebSocket();
    socket_->write(answer.response.toBytes(keep));
    if (!keep) {
        socket_->disconnectFromHost();
        return;
    }
    isBusy_ = false;
    if (socket_->bytesAvailable() > 0) {
        QTimer::singleShot(0, this, &HttpConnection::readRequest);
    }
}

void HttpConnection::handOver(const HttpAnswer& answer) {
    socket_->disconnect(this);
    socket_->setParent(nullptr);
    answer.takeOver(std::exchange(socket_, nullptr));
    deleteLater();
}

} // namespace devbackend
