#include "RunningBackend.h"

#include "BuildPaths.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tandrel::test {

namespace {

std::filesystem::path newFolder() {
    static int count = 0;
    const std::filesystem::path folder =
        std::filesystem::path(std::getenv("HOME")) / ("b" + std::to_string(++count));
    std::filesystem::create_directories(folder);
    return folder;
}

std::vector<std::string> command(const std::filesystem::path& folder,
                                 const std::vector<std::string>& arguments) {
    std::vector<std::string> command{TANDREL_BUILD_BIN "/quorvane-tandrel-dev-backend", "--port",
                                     "0", "--output", folder.string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

} // namespace

bool waitFor(const std::function<bool()>& condition) {
    const QDeadlineTimer limit(std::chrono::seconds(10));
    QTimer tick; // so that the loop also wakes for what the disk says
    tick.start(std::chrono::milliseconds(5));
    while (!condition()) {
        if (limit.hasExpired()) {
            return false;
        }
        QEventLoop().processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

QJsonObject Reply::json() const {
    return QJsonDocument::fromJson(body).object();
}

Stream::Stream(const QUrl& url) {
    QObject::connect(&socket_, &QWebSocket::connected, &socket_, [this] { wasOpened_ = true; });
    QObject::connect(&socket_, &QWebSocket::disconnected, &socket_, [this] { hasEnded_ = true; });
    QObject::connect(&socket_, &QWebSocket::pong, &socket_, [this] { ++pongs_; });
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    const auto failed = &QWebSocket::errorOccurred;
#else
    const auto failed = qOverload<QAbstractSocket::SocketError>(&QWebSocket::error);
#endif
    QObject::connect(&socket_, failed, &socket_, [this] {
        hasEnded_ = true;
        error_ = socket_.errorString();
    });
    QObject::connect(&socket_, &QWebSocket::textMessageReceived, &socket_,
                     [this](const QString& text) { texts_.push_back(text); });
    QObject::connect(&socket_, &QWebSocket::binaryMessageReceived, &socket_,
                     [this](const QByteArray& bytes) { binaries_.push_back(bytes); });
    socket_.open(url);
}

RunningBackend::RunningBackend(const std::vector<std::string>& arguments)
    : folder_(newFolder())
    , process_(std::make_unique<ChildProcess>(command(folder_, arguments), EnvironmentChanges{},
                                              folder_ / "log")) {
    static const std::string announcement = "listening on http://127.0.0.1:";
    const bool isListening = waitFor([this] {
        const std::string text = log();
        const std::size_t at = text.find(announcement);
        if (at == std::string::npos || text.find('\n', at) == std::string::npos) {
            return false;
        }
        port_ = static_cast<quint16>(std::stoul(text.substr(at + announcement.size())));
        return true;
    });
    if (!isListening) {
        throw std::runtime_error("the backend did not start: " + log());
    }
}

std::string RunningBackend::log() const {
    std::ifstream file(folder_ / "log");
    return {std::istreambuf_iterator<char>(file), {}};
}

Reply RunningBackend::request(const QByteArray& method, const QString& path, const QByteArray& body,
                              const QByteArray& token) {
    QNetworkRequest request(QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(path)));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/json"));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    if (!token.isEmpty()) {
        request.setRawHeader("Authorization", "Bearer " + token);
    }
    const std::unique_ptr<QNetworkReply> reply(network_.sendCustomRequest(request, method, body));
    Reply result;
    if (!waitFor([&reply] { return reply->isFinished(); })) {
        result.error = QNetworkReply::TimeoutError;
        return result;
    }
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.error = reply->error();
    result.body = reply->readAll();
    return result;
}

QByteArray RunningBackend::signIn() {
    const Reply reply = request("POST", QStringLiteral("/api/auth/login"),
                                R"({"email":"demo@quorvane.example","password":"tandrel-demo"})");
    return reply.json().value(QLatin1String("access_token")).toString().toLatin1();
}

QJsonObject RunningBackend::startSession(const QByteArray& body) {
    return request("POST", QStringLiteral("/dev/sessions"), body).json();
}

QJsonObject RunningBackend::describe(const QJsonObject& session) {
    const QString id = session.value(QLatin1String("session_id")).toString();
    return request("GET", QStringLiteral("/dev/sessions/") + id).json();
}

std::unique_ptr<Stream> RunningBackend::openStream(const QByteArray& token) {
    return std::make_unique<Stream>(QUrl(QStringLiteral("ws://127.0.0.1:%1/tandrel-stream?token=%2")
                                             .arg(port_)
                                             .arg(QString::fromLatin1(token))));
}

} // namespace tandrel::test
