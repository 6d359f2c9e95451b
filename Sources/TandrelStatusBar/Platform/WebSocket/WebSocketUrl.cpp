#include "Platform/WebSocket/WebSocketUrl.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <algorithm>
#include <string_view>

namespace tandrel {

namespace {

bool canStandInRequestLine(std::string_view target) {
    return std::all_of(target.begin(), target.end(),
                       [](char byte) { return byte > ' ' && byte < '\x7f' && byte != '#'; });
}

/// The scheme before "://", in lower case.
std::string schemeOf(std::string_view text, std::size_t separator) {
    std::string scheme(text.substr(0, separator));
    std::transform(scheme.begin(), scheme.end(), scheme.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return scheme;
}

} // namespace

std::optional<WebSocketUrl> WebSocketUrl::parse(const std::string& text) {
    static constexpr std::string_view separator = "://";
    const std::size_t schemeEnd = text.find(separator);
    if (schemeEnd == std::string::npos) {
        return std::nullopt;
    }
    const std::string scheme = schemeOf(text, schemeEnd);
    if (scheme != "ws" && scheme != "wss") {
        return std::nullopt;
    }
    const std::size_t authorityStart = schemeEnd + separator.size();
    const std::size_t authorityEnd =
        std::min(text.find_first_of("/?#", authorityStart), text.size());

    // Only the authority goes through QUrl, which would rewrite parts of the path and the query.
    const QUrl authority = QUrl::fromEncoded(
        "https://" +
            QByteArray::fromStdString(text.substr(authorityStart, authorityEnd - authorityStart)) +
            "/",
        QUrl::StrictMode);
    const QString host = authority.host(QUrl::FullyEncoded);
    if (!authority.isValid() || host.isEmpty()) {
        return std::nullopt;
    }

    WebSocketUrl url;
    url.secure = scheme == "wss";
    const int defaultPort = url.secure ? 443 : 80;
    const int port = authority.port(defaultPort);
    if (port <= 0) {
        return std::nullopt;
    }
    url.port = static_cast<std::uint16_t>(port);
    url.host = host.toStdString();
    url.hostHeader = url.host.find(':') == std::string::npos ? url.host : "[" + url.host + "]";
    if (port != defaultPort) {
        url.hostHeader += ":" + std::to_string(port);
    }
    url.target = text.substr(authorityEnd);
    if (!url.target.starts_with('/')) {
        url.target.insert(0, "/");
    }
    if (!canStandInRequestLine(url.target)) {
        return std::nullopt;
    }
    return url;
}

} // namespace tandrel
