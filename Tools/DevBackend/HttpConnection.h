#pragma once

#include "DevBackend/HttpMessage.h"

#include <QObject>
#include <QTcpSocket>

#include <chrono>
#include <functional>

namespace devbackend {

/// What becomes of a request, after a delay.
struct HttpAnswer {
    enum class Manner {
        Respond,
        /// Hand the connection over to `takeOver`.
        Upgrade,
        /// Keep the connection and never say anything.
        Silence,
        /// Reset the connection (a TCP RST).
        Reset
    };
    Manner manner = Manner::Respond;
    HttpResponse response;
    std::chrono::milliseconds delay{0};
    /// For `Upgrade`: takes the connection over, with the request still unread in it.
    std::function<void(QTcpSocket*)> takeOver;
};

/// Decides on requests. Main thread.
class HttpHandler {
public:
    HttpHandler() = default;
    HttpHandler(const HttpHandler&) = delete;
    HttpHandler& operator=(const HttpHandler&) = delete;
    virtual ~HttpHandler() = default;

    virtual HttpAnswer answer(const HttpRequest& request) = 0;
};

/// Ends a connection with a TCP RST instead of an orderly FIN.
void resetConnection(QTcpSocket& socket);

/// One connection of an HTTP/1.1 client: reads its requests one after the other and gives each the
/// answer that the handler decided on. Deletes itself when the connection has ended.
class HttpConnection : public QObject {
    Q_OBJECT

public:
    /// Takes `socket` over. `handler` must outlive this object.
    HttpConnection(QTcpSocket* socket, HttpHandler& handler, QObject* parent);

private:
    void readRequest();
    void refuse(int status, const QString& text);
    void handle(const HttpRequest& request);
    void give(const HttpRequest& request, const HttpAnswer& answer);
    void handOver(const HttpAnswer& answer);

    QTcpSocket* socket_;
    HttpHandler& handler_;
    /// A request is being answered; the next waits in the socket.
    bool isBusy_ = false;
};

} // namespace devbackend
