#pragma once

#include "Support/TestCertificates.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QSslSocket>
#include <QTcpServer>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {

/// An HTTP server on loopback (127.0.0.1) whose every byte the test decides. It understands just
/// enough of a request to know where it ends. It runs on the event loop of the test's thread.
class ScriptedHttpServer : public QTcpServer {
    Q_OBJECT

public:
    struct Request {
        /// Such as "GET /path HTTP/1.1".
        std::string line;
        std::vector<std::string> headerLines;
        std::string body;

        /// The values of the header `name`, in any case.
        [[nodiscard]] std::vector<std::string> header(const std::string& name) const;
    };

    /// One connection to the server, as the test's script sees it.
    class Connection {
    public:
        explicit Connection(QSslSocket& socket)
            : socket_(socket) {}
        void send(const std::string& bytes);
        /// Ends the connection after what was sent.
        void close();
        /// Drops the connection with a reset.
        void reset();
        /// Calls `action` every `milliseconds` while the connection lives, until it returns false.
        void every(int milliseconds, std::function<bool()> action);

    private:
        QSslSocket& socket_;
    };

    using Script = std::function<void(const Request&, Connection)>;

    /// Answers plain connections.
    ScriptedHttpServer();
    /// Answers plain connections at another address of this machine.
    explicit ScriptedHttpServer(const QHostAddress& address, quint16 port = 0);
    /// Answers TLS connections.
    explicit ScriptedHttpServer(const TestCertificates::Identity& identity);
    ~ScriptedHttpServer() override;

    /// `path` on this server, by address, or by name when `host` is given.
    [[nodiscard]] std::string url(const std::string& path,
                                  const std::string& host = "127.0.0.1") const;

    /// Calls `script` for every whole request from now on.
    void onRequest(Script script) { script_ = std::move(script); }
    /// Answers every request from now on with `bytes`.
    void answerWith(std::string bytes);
    /// Every whole request so far.
    [[nodiscard]] const std::vector<Request>& requests() const { return requests_; }
    [[nodiscard]] std::size_t connectionCount() const { return connectionCount_; }
    [[nodiscard]] std::size_t openConnectionCount() const { return openConnectionCount_; }

    /// An answer with a Content-Length; `headers` are whole lines with their line ends.
    [[nodiscard]] static std::string response(const std::string& status, const std::string& body,
                                              const std::string& headers = {});

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void listenAt(const QHostAddress& address, quint16 port = 0);
    void read(QSslSocket& socket, QByteArray& buffer);

    std::unique_ptr<TestCertificates::Identity> identity_;
    Script script_;
    std::vector<Request> requests_;
    std::size_t connectionCount_ = 0;
    std::size_t openConnectionCount_ = 0;
};

} // namespace tandrel::test
