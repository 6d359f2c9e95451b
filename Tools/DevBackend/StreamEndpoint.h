#pragma once

#include "DevBackend/Faults.h"
#include "DevBackend/SessionRecording.h"
#include "DevBackend/SessionStore.h"
#include "DevBackend/StreamConnection.h"

#include <QHash>
#include <QObject>
#include <QTimer>
#include <QWebSocketServer>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace devbackend {

/// What a session's streams brought so far.
struct ReceivedStream {
    std::unique_ptr<SessionRecording> recording;
    /// The open connection, if there is one.
    std::unique_ptr<StreamConnection> connection;
    std::uint32_t connections = 0;
    std::optional<StreamEnd> lastEnd;
};

/// The server's end of all streams: accepts the upgrade, checks the token, records what comes, and
/// keeps the sessions' phases in step.
class StreamEndpoint : public QObject {
    Q_OBJECT

public:
    /// Close codes of the stream protocol.
    static constexpr int invalidToken = 4001;
    static constexpr int notPending = 4002;

    /// Prints one line for people.
    using Say = std::function<void(const std::string&)>;

    /// Recordings go to `folder`.
    StreamEndpoint(SessionStore& sessions, std::filesystem::path folder, Say say);
    ~StreamEndpoint() override;
    StreamEndpoint(const StreamEndpoint&) = delete;
    StreamEndpoint& operator=(const StreamEndpoint&) = delete;

    /// Takes over a connection whose upgrade request is still unread.
    void accept(QTcpSocket* socket, const QByteArray& token, const StreamFault& fault);
    /// What the session received, if a stream was ever open.
    [[nodiscard]] ReceivedStream* find(const QString& sessionId);
    /// Makes the session completed and closes its stream with `closeCode`.
    void complete(Session& session, int closeCode = notPending);
    /// Says good-bye to every client.
    void closeAll();

private:
    /// An upgrade that is under way.
    struct Upgrade {
        QPointer<QTcpSocket> socket;
        QByteArray token;
        StreamFault fault;
    };

    void takeUpgraded();
    void refuse(std::unique_ptr<QWebSocket> webSocket, int closeCode);
    void open(Session& session, std::unique_ptr<QWebSocket> webSocket, const Upgrade& upgrade);
    void dismiss(std::unique_ptr<StreamConnection> connection, int closeCode);
    void finish(const QString& sessionId, const StreamEnd& end);
    void report();

    SessionStore& sessions_;
    std::filesystem::path folder_;
    Say say_;
    QWebSocketServer webSocketServer_;
    /// By the client's port.
    QHash<quint16, Upgrade> upgrades_;
    std::map<QString, ReceivedStream> streams_;
    QTimer reportTimer_;
};

} // namespace devbackend
