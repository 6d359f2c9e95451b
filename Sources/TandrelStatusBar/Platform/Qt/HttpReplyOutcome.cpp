#include "Platform/Qt/HttpReplyOutcome.h"

namespace tandrel {

namespace {

bool isBetween(QNetworkReply::NetworkError error, QNetworkReply::NetworkError first,
               QNetworkReply::NetworkError last) {
    return error >= first && error <= last;
}

/// Whether it was the proxy, or the proxy's own way to the server, that failed. The names are found
/// by the proxy; Qt tells of a refusal at the proxy in three ways.
bool isProxyFailure(QNetworkReply::NetworkError error) {
    return error == QNetworkReply::ConnectionRefusedError ||
           error == QNetworkReply::HostNotFoundError ||
           error == QNetworkReply::UnknownNetworkError ||
           (isBetween(error, QNetworkReply::ProxyConnectionRefusedError,
                      QNetworkReply::UnknownProxyError) &&
            error != QNetworkReply::ProxyAuthenticationRequiredError);
}

} // namespace

bool isAnswer(int status, QNetworkReply::NetworkError error) {
    if (status < 100) {
        return false;
    }
    if (error == QNetworkReply::NoError) {
        return true;
    }
    // Below 300, the content errors stand for a body that could not be unpacked.
    return status >= 300 && (isBetween(error, QNetworkReply::ContentAccessDenied,
                                       QNetworkReply::UnknownContentError) ||
                             isBetween(error, QNetworkReply::InternalServerError,
                                       QNetworkReply::UnknownServerError) ||
                             // 400, and the statuses that Qt has no error for.
                             error == QNetworkReply::ProtocolInvalidOperationError ||
                             error == QNetworkReply::ProtocolUnknownError ||
                             // 407.
                             error == QNetworkReply::ProxyAuthenticationRequiredError);
}

TransportError transportError(QNetworkReply::NetworkError error, const QString& tlsReason,
                              bool isProxied) {
    using Kind = TransportError::Kind;
    if (!tlsReason.isEmpty()) {
        return {Kind::tls,
                "The server's certificate was refused: " + tlsReason.toStdString() + '.'};
    }
    if (isProxied && isProxyFailure(error)) {
        return {Kind::other, "The connection through the proxy server failed."};
    }
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return {Kind::other, "The server refused the connection."};
    case QNetworkReply::RemoteHostClosedError:
        return {Kind::other, "The connection to the server was lost."};
    case QNetworkReply::HostNotFoundError:
        return {Kind::other, "The server could not be found."};
    case QNetworkReply::TimeoutError:
        return {Kind::timedOut, "The request timed out."};
    case QNetworkReply::OperationCanceledError:
        return {Kind::cancelled, "The request was cancelled."};
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return {Kind::other, "The proxy server asks for a user name and a password."};
    case QNetworkReply::SslHandshakeFailedError:
        return {Kind::tls, "A secure connection to the server could not be made."};
    default:
        break;
    }
    if (error > QNetworkReply::UnknownProxyError) {
        return {Kind::other, "The server's answer is not valid."};
    }
    return {Kind::other, "The network connection failed."};
}

} // namespace tandrel
