#include "DevBackend/HttpMessage.h"

#include <QJsonDocument>

#include <algorithm>

namespace devbackend {

namespace {

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 302:
        return "Found";
    case 304:
        return "Not Modified";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 409:
        return "Conflict";
    case 411:
        return "Length Required";
    case 413:
        return "Content Too Large";
    case 415:
        return "Unsupported Media Type";
    case 426:
        return "Upgrade Required";
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

bool hasNoBody(int status) {
    return status < 200 || status == 204 || status == 304;
}

} // namespace

QByteArray HttpRequest::path() const {
    const qsizetype query = target.indexOf('?');
    return query < 0 ? target : target.left(query);
}

QByteArray HttpRequest::queryValue(const QByteArray& name) const {
    const qsizetype query = target.indexOf('?');
    if (query < 0) {
        return {};
    }
    const QList<QByteArray> pairs = target.mid(query + 1).split('&');
    for (const QByteArray& pair : pairs) {
        if (pair.startsWith(name + '=')) {
            return pair.mid(name.size() + 1);
        }
    }
    return {};
}

QByteArray HttpRequest::header(const QByteArray& name) const {
    const auto found = std::find_if(headers.begin(), headers.end(),
                                    [&name](const auto& header) { return header.first == name; });
    return found == headers.end() ? QByteArray() : found->second;
}

bool HttpRequest::wantsWebSocket() const {
    return header("upgrade").toLower() == "websocket" &&
           header("connection").toLower().contains("upgrade");
}

bool HttpRequest::keepsConnection() const {
    return !header("connection").toLower().contains("close");
}

std::optional<qsizetype> HttpRequest::contentLength() const {
    const QByteArray text = header("content-length");
    if (text.isEmpty()) {
        return header("transfer-encoding").isEmpty() ? std::optional<qsizetype>(0) : std::nullopt;
    }
    bool isNumber = false;
    const qlonglong length = text.toLongLong(&isNumber);
    return isNumber && length >= 0 ? std::optional<qsizetype>(length) : std::nullopt;
}

std::optional<HttpRequest> parseRequestHead(const QByteArray& head) {
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> words = lines.first().trimmed().split(' ');
    if (words.size() != 3 || !words[2].startsWith("HTTP/1.") || !words[1].startsWith('/')) {
        return std::nullopt;
    }
    HttpRequest request;
    request.method = words[0];
    request.target = words[1];
    for (const QByteArray& line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0) {
            return std::nullopt;
        }
        request.headers.push_back({line.left(colon).toLower(), line.mid(colon + 1).trimmed()});
    }
    return request;
}

HttpResponse HttpResponse::json(const QJsonObject& object, int status) {
    HttpResponse response;
    response.status = status;
    response.body = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    return response;
}

HttpResponse HttpResponse::error(int status, const QString& code, const QString& text) {
    return json({{QStringLiteral("error"), code}, {QStringLiteral("message"), text}}, status);
}

QByteArray HttpResponse::toBytes(bool keepConnection) const {
    QByteArray bytes =
        "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    for (const auto& [name, value] : headers) {
        bytes += name + ": " + value + "\r\n";
    }
    bytes += keepConnection ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    if (hasNoBody(status)) {
        return bytes + "\r\n";
    }
    bytes += "Content-Type: " + contentType + "\r\n";
    bytes += "Cache-Control: no-store\r\n";
    bytes += "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n";
    return bytes + body;
}

} // namespace devbackend
