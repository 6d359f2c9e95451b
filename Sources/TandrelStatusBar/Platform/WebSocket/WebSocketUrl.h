#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tandrel {

/// A ws or wss URL, taken apart for a connection.
struct WebSocketUrl {
    bool secure = false;
    /// A name or a literal address, without brackets.
    std::string host;
    std::uint16_t port = 0;
    /// The value of the request's Host header: the port only where it is not the scheme's own.
    std::string hostHeader;
    /// Path and query, byte for byte as in the URL.
    std::string target;

    /// Nothing for another scheme, an authority that cannot be used, a fragment (which RFC 6455,
    /// section 3, forbids), or bytes that cannot stand in a request line.
    [[nodiscard]] static std::optional<WebSocketUrl> parse(const std::string& text);
};

} // namespace tandrel
