#include "DevBackend/StreamEndpoint.h"

#include <span>
#include <utility>

namespace devbackend {

namespace {

std::span<const std::uint8_t> bytesOf(const QByteArray& message) {
    const auto* data = reinterpret_cast<const std::uint8_t*>(message.constData());
    return {data, static_cast<std::size_t>(message.size())};
}

std::string describe(const StreamEnd& end) {
    switch (end.by) {
    case StreamEnd::By::Client:
        return "closed by the client with code " + std::to_string(end.code);
    case StreamEnd::By::Server:
        return "closed by the backend with code " + std::to_string(end.code);
    case StreamEnd::By::Loss:
        break;
    }
    return "connection lost";
}

SessionPhase phaseAfter(const StreamEnd& end) {
    const bool isFinal =
        end.code == QWebSocketProtocol::CloseCodeNormal && end.by == StreamEnd::By::Client;
    const bool isRefused =
        end.code == StreamEndpoint::invalidToken || end.code == StreamEndpoint::notPending;
    return isFinal || isRefused ? SessionPhase::Completed : SessionPhase::Pending;
}

} // namespace

StreamEndpoint::StreamEndpoint(SessionStore& sessions, std::filesystem::path folder, Say say)
    : sessions_(sessions)
    , folder_(std::move(folder))
    , say_(std::move(say))
    , webSocketServer_(QStringLiteral("quorvane-tandrel-dev-backend"),
                       QWebSocketServer::NonSecureMode) {
    connect(&webSocketServer_, &QWebSocketServer::newConnection, this,
            &StreamEndpoint::takeUpgraded);
    connect(&reportTimer_, &QTimer::timeout, this, &StreamEndpoint::report);
    reportTimer_.setInterval(std::chrono::seconds(1));
}

StreamEndpoint::~StreamEndpoint() {
    for (auto& [id, stream] : streams_) {
        if (stream.connection) {
            stream.connection->disconnect(this);
        }
    }
}

void StreamEndpoint::accept(QTcpSocket* socket, const QByteArray& token, const StreamFault& fault) {
    const quint16 port = socket->peerPort();
    socket->setParent(this);
    connect(socket, &QTcpSocket::disconnected, this, [this, port] { upgrades_.remove(port); });
    upgrades_.insert(port, {.socket = socket, .token = token, .fault = fault});
    webSocketServer_.handleConnection(socket);
    // The request came in before the WebSocket server listened for it.
    Q_EMIT socket->readyRead();
}

void StreamEndpoint::takeUpgraded() {
    while (webSocketServer_.hasPendingConnections()) {
        std::unique_ptr<QWebSocket> webSocket(webSocketServer_.nextPendingConnection());
        webSocket->setParent(nullptr);
        const Upgrade upgrade = upgrades_.take(webSocket->peerPort());
        Session* session = sessions_.findByToken(upgrade.token);
        if (session == nullptr) {
            refuse(std::move(webSocket), invalidToken);
        } else if (session->phase == SessionPhase::Completed) {
            refuse(std::move(webSocket), notPending);
        } else {
            // cppcheck-suppress leakReturnValNotUsed ; not the system's open()
            open(*session, std::move(webSocket), upgrade);
        }
    }
}

void StreamEndpoint::refuse(std::unique_ptr<QWebSocket> webSocket, int closeCode) {
    say_("stream refused with code " + std::to_string(closeCode));
    QWebSocket* leaving = webSocket.release();
    leaving->setParent(this);
    connect(leaving, &QWebSocket::disconnected, leaving, &QObject::deleteLater);
    // A new QWebSocket (Qt 6.4) has queued a first look at what came with the request, and warns
    // when that finds the connection closed.
    QMetaObject::invokeMethod(
        leaving,
        [leaving, closeCode] {
            leaving->close(static_cast<QWebSocketProtocol::CloseCode>(closeCode));
        },
        Qt::QueuedConnection);
}

void StreamEndpoint::open(Session& session, std::unique_ptr<QWebSocket> webSocket,
                          const Upgrade& upgrade) {
    ReceivedStream& stream = streams_[session.id];
    if (stream.connection) {
        // The newest connection wins: the older may be half dead. A code that ends retries, so
        // that two clients do not push each other out for ever.
        dismiss(std::move(stream.connection), notPending);
    }
    if (!stream.recording) {
        stream.recording = std::make_unique<SessionRecording>(folder_, session.id.toStdString());
    }
    const std::uint32_t number = ++stream.connections;
    stream.connection =
        std::make_unique<StreamConnection>(std::move(webSocket), upgrade.socket, upgrade.fault);
    session.phase = SessionPhase::Streaming;
    connect(
        stream.connection.get(), &StreamConnection::messageReceived, this,
        [recording = stream.recording.get(), number](const QByteArray& message, qint64 arrival) {
            recording->add(number, bytesOf(message), arrival);
        });
    connect(stream.connection.get(), &StreamConnection::ended, this,
            [this, id = session.id](const StreamEnd& end) { finish(id, end); });
    reportTimer_.start();
    say_("[" + session.id.toStdString() + "] stream open, connection " + std::to_string(number));
}

void StreamEndpoint::dismiss(std::unique_ptr<StreamConnection> connection, int closeCode) {
    connection->disconnect(this);
    StreamConnection* leaving = connection.release();
    leaving->setParent(this);
    connect(leaving, &StreamConnection::ended, leaving, &QObject::deleteLater);
    leaving->close(closeCode);
}

void StreamEndpoint::finish(const QString& sessionId, const StreamEnd& end) {
    ReceivedStream& stream = streams_.at(sessionId);
    stream.connection.release()->deleteLater();
    stream.lastEnd = end;
    stream.recording->sync();
    Session* session = sessions_.findById(sessionId);
    if (session != nullptr && session->phase == SessionPhase::Streaming) {
        session->phase = phaseAfter(end);
    }
    say_("[" + sessionId.toStdString() + "] " + describe(end) + "; " +
         stream.recording->wavPath().string());
}

ReceivedStream* StreamEndpoint::find(const QString& sessionId) {
    const auto found = streams_.find(sessionId);
    return found == streams_.end() ? nullptr : &found->second;
}

void StreamEndpoint::complete(Session& session, int closeCode) {
    session.phase = SessionPhase::Completed;
    ReceivedStream* stream = find(session.id);
    if (stream != nullptr && stream->connection) {
        stream->connection->close(closeCode);
    }
}

void StreamEndpoint::closeAll() {
    for (auto& [id, stream] : streams_) {
        if (stream.connection) {
            stream.connection->close(QWebSocketProtocol::CloseCodeGoingAway);
        }
    }
}

void StreamEndpoint::report() {
    bool isAnyOpen = false;
    for (auto& [id, stream] : streams_) {
        if (stream.connection) {
            isAnyOpen = true;
            stream.recording->sync();
            say_("[" + id.toStdString() + "] " +
                 stream.recording->statistics().report(monotonicNanoseconds()));
        }
    }
    if (!isAnyOpen) {
        reportTimer_.stop();
    }
}

} // namespace devbackend
