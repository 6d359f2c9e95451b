#include "Support/Qt/ScriptedHttpServer.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTimer>

#include <cstdlib>
#include <sys/socket.h>
#include <utility>

namespace tandrel::test {

namespace {

QSslKey readKey(const std::filesystem::path& path) {
    QFile file(QString::fromStdString(path.string()));
    if (!file.open(QIODevice::ReadOnly)) {
        std::abort();
    }
    return QSslKey(&file, QSsl::Ec);
}

} // namespace

std::vector<std::string> ScriptedHttpServer::Request::header(const std::string& name) const {
    std::vector<std::string> values;
    for (const std::string& header : headerLines) {
        const QByteArray bytes = QByteArray::fromStdString(header);
        const auto colon = bytes.indexOf(':');
        if (bytes.left(colon).compare(QByteArray::fromStdString(name), Qt::CaseInsensitive) == 0) {
            values.push_back(bytes.mid(colon + 1).trimmed().toStdString());
        }
    }
    return values;
}

void ScriptedHttpServer::Connection::send(const std::string& bytes) {
    socket_.write(QByteArray::fromStdString(bytes));
    socket_.flush();
}

void ScriptedHttpServer::Connection::close() {
    socket_.disconnectFromHost();
}

void ScriptedHttpServer::Connection::reset() {
    socket_.flush();
    const linger now{1, 0};
    setsockopt(static_cast<int>(socket_.socketDescriptor()), SOL_SOCKET, SO_LINGER, &now,
               sizeof now);
    socket_.abort();
}

void ScriptedHttpServer::Connection::every(int milliseconds, std::function<bool()> action) {
    auto* const timer = new QTimer(&socket_);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, action = std::move(action)] {
        if (!action()) {
            timer->stop();
        }
    });
    timer->start(milliseconds);
}

ScriptedHttpServer::ScriptedHttpServer()
    : ScriptedHttpServer(QHostAddress(QHostAddress::LocalHost)) {}

ScriptedHttpServer::ScriptedHttpServer(const QHostAddress& address, quint16 port) {
    listenAt(address, port);
}

ScriptedHttpServer::ScriptedHttpServer(const TestCertificates::Identity& identity)
    : identity_(std::make_unique<TestCertificates::Identity>(identity)) {
    listenAt(QHostAddress(QHostAddress::LocalHost));
}

ScriptedHttpServer::~ScriptedHttpServer() {
    // Their signals would reach into a half-destroyed server.
    for (auto* const socket : findChildren<QSslSocket*>()) {
        socket->disconnect();
    }
}

void ScriptedHttpServer::listenAt(const QHostAddress& address, quint16 port) {
    if (!listen(address, port)) {
        std::abort();
    }
}

std::string ScriptedHttpServer::url(const std::string& path, const std::string& host) const {
    return (identity_ ? "https://" : "http://") + host + ':' + std::to_string(serverPort()) + path;
}

void ScriptedHttpServer::answerWith(std::string bytes) {
    onRequest([bytes = std::move(bytes)](const Request&, Connection connection) {
        connection.send(bytes);
    });
}

std::string ScriptedHttpServer::response(const std::string& status, const std::string& body,
                                         const std::string& headers) {
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
           headers + "\r\n" + body;
}

void ScriptedHttpServer::incomingConnection(qintptr descriptor) {
    ++connectionCount_;
    ++openConnectionCount_;
    auto* const socket = new QSslSocket(this);
    socket->setSocketDescriptor(descriptor);
    connect(socket, &QSslSocket::disconnected, socket, [this, socket] {
        --openConnectionCount_;
        socket->deleteLater();
    });
    auto buffer = std::make_shared<QByteArray>();
    connect(socket, &QSslSocket::readyRead, this,
            [this, socket, buffer] { read(*socket, *buffer); });
    if (identity_) {
        auto tls = QSslConfiguration::defaultConfiguration();
        tls.setLocalCertificateChain(
            QSslCertificate::fromPath(QString::fromStdString(identity_->certificate.string())));
        tls.setPrivateKey(readKey(identity_->key));
        socket->setSslConfiguration(tls);
        socket->startServerEncryption();
    }
}

void ScriptedHttpServer::read(QSslSocket& socket, QByteArray& buffer) {
    buffer += socket.readAll();
    for (;;) {
        const auto headEnd = buffer.indexOf("\r\n\r\n");
        if (headEnd < 0) {
            return;
        }
        Request request;
        const QList<QByteArray> lines = buffer.left(headEnd).replace("\r\n", "\n").split('\n');
        request.line = lines.first().toStdString();
        for (qsizetype index = 1; index < lines.size(); ++index) {
            request.headerLines.push_back(lines[index].toStdString());
        }
        const auto lengths = request.header("Content-Length");
        const qsizetype length = lengths.empty() ? 0 : std::stol(lengths.front());
        const qsizetype end = headEnd + 4 + length;
        if (buffer.size() < end) {
            return;
        }
        request.body = buffer.mid(headEnd + 4, length).toStdString();
        buffer.remove(0, end);
        requests_.push_back(request);
        if (script_) {
            // A copy: the script may install another one.
            const Script script = script_;
            script(request, Connection(socket));
        }
        if (socket.state() != QAbstractSocket::ConnectedState) {
            return;
        }
    }
}

} // namespace tandrel::test
