#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>

#include <optional>
#include <utility>

namespace devbackend {

using HttpHeaders = QList<std::pair<QByteArray, QByteArray>>;

/// One request as it came over the wire.
struct HttpRequest {
    QByteArray method;
    /// Path and query, undecoded.
    QByteArray target;
    /// Names in lower case, values trimmed.
    HttpHeaders headers;
    QByteArray body;

    [[nodiscard]] QByteArray path() const;
    /// The undecoded value of a query parameter; empty when it is missing.
    [[nodiscard]] QByteArray queryValue(const QByteArray& name) const;
    /// The value of the first header of that (lower-case) name; empty when it is missing.
    [[nodiscard]] QByteArray header(const QByteArray& name) const;
    [[nodiscard]] bool wantsWebSocket() const;
    [[nodiscard]] bool keepsConnection() const;
    /// The length announced for the body; nothing when it cannot be understood.
    [[nodiscard]] std::optional<qsizetype> contentLength() const;
};

/// Reads a request line and headers (RFC 9112), up to and without the empty line. Nothing when it
/// is no HTTP/1.1 or HTTP/1.0 request.
[[nodiscard]] std::optional<HttpRequest> parseRequestHead(const QByteArray& head);

struct HttpResponse {
    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray body;
    HttpHeaders headers;

    [[nodiscard]] static HttpResponse json(const QJsonObject& object, int status = 200);
    /// `{"error": code, "message": text}`.
    [[nodiscard]] static HttpResponse error(int status, const QString& code, const QString& text);
    /// Status line, headers and body as they go over the wire.
    [[nodiscard]] QByteArray toBytes(bool keepConnection) const;
};

} // namespace devbackend
