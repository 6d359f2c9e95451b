#pragma once

#include <string_view>

namespace tandrel {

/// Whether `text` is an absolute URL with a host, byte for byte valid by RFC 3986: a scheme, "//",
/// an authority with a non-empty host and a port of at most 65535, then path, query and fragment
/// made of permitted characters and well-formed percent sequences only. Stricter than the usual
/// parsers, which repair what they can: a token must go out exactly as it was received, or not at
/// all. Any thread.
[[nodiscard]] bool isValidUrl(std::string_view text);

/// Whether `text` is four decimal numbers of at most 255 with dots between them, and no leading
/// zeros, which some take for octal. Any thread.
[[nodiscard]] bool isIPv4Address(std::string_view text);

} // namespace tandrel
