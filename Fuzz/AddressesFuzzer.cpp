// Addresses from outside: a token that goes into the stream's, and addresses that a feed names.
#include "Foundation/Base64.h"
#include "Foundation/UrlSyntax.h"
#include "Harness/Check.h"
#include "Harness/References.h"
#include "Platform/WebSocket/Handshake.h"
#include "Platform/WebSocket/WebSocketUrl.h"
#include "Services/UpdateAddress.h"

#include <QByteArray>
#include <QHostAddress>
#include <QUrl>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace tandrel::fuzz {
namespace {

constexpr std::string_view urlCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?#[]@!$&'()*+,;=%";

/// What stands between the host and the path, without its colon.
std::string portOf(const std::string& url) {
    const std::size_t start = url.find("://") + 3;
    const std::string authority = url.substr(start, url.find_first_of("/?#", start) - start);
    const std::size_t colon = authority.rfind(':');
    // Within brackets or before a user's end, a colon means something else.
    const bool isPort =
        colon != std::string::npos && authority.find_first_of("]@", colon) == std::string::npos;
    return isPort ? authority.substr(colon + 1) : std::string();
}

void checkSyntax(const std::string& text) {
    if (!isValidUrl(text)) {
        return;
    }
    const std::string port = portOf(text);
    FUZZ_EXPECT(port.find_first_not_of("0123456789") == std::string::npos);
    FUZZ_EXPECT(port.empty() || std::strtod(port.c_str(), nullptr) <= 65535);
    FUZZ_EXPECT(text.find_first_not_of(urlCharacters) == std::string::npos);
    FUZZ_EXPECT(text.find("://") != std::string::npos);
    // Another parser, which wants a host to be a name as well, sees the same scheme and port.
    const QUrl url = QUrl::fromEncoded(QByteArray::fromStdString(text), QUrl::StrictMode);
    if (url.isValid()) {
        FUZZ_EXPECT(url.scheme().toStdString().size() == text.find(':'));
        FUZZ_EXPECT(!url.host().isEmpty());
        FUZZ_EXPECT(url.port() == (port.empty() ? -1 : std::atoi(port.c_str())));
    }
    // What follows the host can be anything that may stand in a query.
    FUZZ_EXPECT(isValidUrl(text.substr(0, text.find_first_of("?#")) + "?token=a-._~/?@:!$%20"));
    FUZZ_EXPECT(!isValidUrl(text + " ") && !isValidUrl(text + "%2"));
}

/// The request line and headers are ours alone, whatever the address holds.
void checkRequest(const std::string& text) {
    const auto url = WebSocketUrl::parse(text);
    if (!url) {
        return;
    }
    FUZZ_EXPECT(url->port > 0 && !url->host.empty() && url->target.starts_with('/'));
    const std::string request = makeUpgradeRequest(*url, "key");
    FUZZ_EXPECT(request.starts_with("GET " + url->target + " HTTP/1.1\r\nHost: "));
    FUZZ_EXPECT(std::count(request.begin(), request.end(), '\n') == 7);
    FUZZ_EXPECT(std::count(request.begin(), request.end(), '\r') == 7);
    FUZZ_EXPECT(request.find(' ', 4) == 4 + url->target.size());
    FUZZ_EXPECT(request.ends_with("\r\n\r\n"));
    if (isValidUrl(text)) {
        // Byte for byte what was asked for.
        const std::size_t afterHost = text.find_first_of("/?#", text.find("://") + 3);
        const std::string tail = afterHost == std::string::npos ? "" : text.substr(afterHost);
        FUZZ_EXPECT(url->target == (tail.starts_with('/') ? tail : "/" + tail));
    }
}

/// A token, in the place where it goes.
void checkToken(const std::string& token) {
    const std::string address = "wss://api.test:8443/tandrel-stream?token=" + token;
    if (!isValidUrl(address)) {
        return;
    }
    const auto url = WebSocketUrl::parse(address);
    // A fragment would not reach the server.
    FUZZ_EXPECT(url.has_value() == (token.find('#') == std::string::npos));
    if (url) {
        FUZZ_EXPECT(url->secure && url->host == "api.test" && url->port == 8443);
        FUZZ_EXPECT(url->hostHeader == "api.test:8443");
        FUZZ_EXPECT(url->target == "/tandrel-stream?token=" + token);
    }
}

void checkFeedAddress(const std::string& text) {
    const bool isSecure = text.starts_with("https://");
    const bool fromFeed = mayFollow(text, "https://www.quorvane.example/appcast.xml");
    FUZZ_EXPECT(!fromFeed || (isSecure && isValidUrl(text)));
    const bool fromLocalFeed = mayFollow(text, "http://127.0.0.1:8000/appcast.xml");
    FUZZ_EXPECT(!fromLocalFeed || isSecure || isPlainLoopback(text));
    FUZZ_EXPECT(!fromFeed || fromLocalFeed);
    if (isPlainLoopback(text)) {
        // Of any name that is no address, a resolver decides whose it is.
        const QString host = QUrl(QString::fromStdString(text)).host();
        FUZZ_EXPECT(host == QStringLiteral("localhost") || QHostAddress(host).isLoopback());
    }
}

void checkBase64(const std::string& text) {
    const QByteArray encoded = QByteArray::fromStdString(text).toBase64();
    FUZZ_EXPECT(decodeBase64(encoded.toStdString()) == text);
    if (const auto bytes = decodeBase64(text)) {
        FUZZ_EXPECT(QByteArray::fromStdString(*bytes).toBase64().toStdString() == text);
    }
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkSyntax(text);
    checkRequest(text);
    checkToken(text);
    checkFeedAddress(text);
    checkBase64(text);
    return 0;
}
