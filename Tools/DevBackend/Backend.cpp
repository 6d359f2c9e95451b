#include "DevBackend/Backend.h"

#include "DevBackend/Pages.h"

#include <QUrl>

#include <cstdio>

namespace devbackend {

namespace {

bool isLoopback(const QString& host) {
    return host == QLatin1String("127.0.0.1") || host == QLatin1String("localhost") ||
           host == QLatin1String("::1");
}

/// Any web site that the developer's browser shows can send requests to this port, and can make a
/// name of its own point here. Neither may start sessions or listen to a microphone.
bool isFromThisMachine(const HttpRequest& request) {
    const QUrl host(QStringLiteral("http://") + QString::fromLatin1(request.header("host")));
    const QByteArray origin = request.header("origin");
    return isLoopback(host.host()) &&
           (origin.isEmpty() || isLoopback(QUrl(QString::fromLatin1(origin)).host()));
}

StreamEndpoint::Say speaker(bool isQuiet) {
    return [isQuiet](const std::string& line) {
        if (!isQuiet) {
            std::printf("%s\n", line.c_str());
            std::fflush(stdout);
        }
    };
}

} // namespace

Backend::Backend(const Options& options)
    : accounts_(options.accounts)
    , faults_(options.faults)
    , streams_(sessions_, options.output, speaker(options.isQuiet))
    , api_(accounts_, sessions_, streams_, faults_)
    , control_(accounts_, sessions_, streams_, faults_, api_) {
    QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] {
        while (QTcpSocket* socket = server_.nextPendingConnection()) {
            new HttpConnection(socket, *this, &server_); // deletes itself
        }
    });
}

bool Backend::listen(quint16 port) {
    return server_.listen(QHostAddress::LocalHost, port);
}

void Backend::shutDown() {
    server_.close();
    streams_.closeAll();
}

HttpAnswer Backend::answer(const HttpRequest& request) {
    if (std::optional<HttpAnswer> answer = api_.answer(request)) {
        return *answer;
    }
    HttpAnswer answer;
    if (!isFromThisMachine(request)) {
        answer.response =
            HttpResponse::error(403, QStringLiteral("forbidden"),
                                QStringLiteral("Only pages of this server may ask this."));
        return answer;
    }
    const std::optional<HttpResponse> control = control_.answer(request);
    answer.response = control ? *control : pageFor(request);
    return answer;
}

} // namespace devbackend
