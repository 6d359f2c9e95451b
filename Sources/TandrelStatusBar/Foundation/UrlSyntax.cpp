#include "Foundation/UrlSyntax.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace tandrel {

namespace {

// The names of the rules are those of RFC 3986, appendix A. Locale-free on purpose.
constexpr bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

constexpr bool isUnreserved(char c) {
    return isAlpha(c) || isDigit(c) || std::string_view("-._~").find(c) != std::string_view::npos;
}

constexpr bool isSubDelim(char c) {
    return std::string_view("!$&'()*+,;=").find(c) != std::string_view::npos;
}

/// Whether `text` holds only unreserved characters, sub-delims, those of `extra`, and percent
/// sequences.
bool isMadeOf(std::string_view text, std::string_view extra) {
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char c = text[index];
        if (c == '%') {
            if (index + 2 >= text.size() || !isHexDigit(text[index + 1]) ||
                !isHexDigit(text[index + 2])) {
                return false;
            }
            index += 2;
        } else if (!isUnreserved(c) && !isSubDelim(c) && extra.find(c) == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

bool isScheme(std::string_view text) {
    return !text.empty() && isAlpha(text.front()) &&
           std::all_of(text.begin(), text.end(), [](char c) {
               return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
           });
}

/// Without the leading zeros that some parsers read as octal.
bool isDecimalOctet(std::string_view text) {
    if (text.empty() || text.size() > 3 || !std::all_of(text.begin(), text.end(), isDigit) ||
        (text.size() > 1 && text.front() == '0')) {
        return false;
    }
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value <= 255;
}

} // namespace

bool isIPv4Address(std::string_view text) {
    for (int octet = 0; octet < 3; ++octet) {
        const std::size_t dot = text.find('.');
        if (dot == std::string_view::npos || !isDecimalOctet(text.substr(0, dot))) {
            return false;
        }
        text.remove_prefix(dot + 1);
    }
    return isDecimalOctet(text);
}

namespace {

/// The number of 16-bit pieces in one side of an IPv6 address around its "::", or -1. Only the last
/// piece of the whole address may be an IPv4 address, which counts as two.
int countIPv6Pieces(std::string_view text, bool mayEndInIPv4) {
    if (text.empty()) {
        return 0;
    }
    for (int count = 0;;) {
        const std::size_t colon = text.find(':');
        const std::string_view piece = text.substr(0, colon);
        if (colon == std::string_view::npos && mayEndInIPv4 && isIPv4Address(piece)) {
            return count + 2;
        }
        if (piece.empty() || piece.size() > 4 ||
            !std::all_of(piece.begin(), piece.end(), isHexDigit)) {
            return -1;
        }
        ++count;
        if (colon == std::string_view::npos) {
            return count;
        }
        text.remove_prefix(colon + 1);
    }
}

bool isIPv6Address(std::string_view text) {
    const std::size_t gap = text.find("::");
    if (gap == std::string_view::npos) {
        return countIPv6Pieces(text, true) == 8;
    }
    const int before = countIPv6Pieces(text.substr(0, gap), false);
    const int after = countIPv6Pieces(text.substr(gap + 2), true);
    return before >= 0 && after >= 0 && before + after <= 7;
}

/// "v" HEXDIG+ "." and at least one further character.
bool isFutureAddress(std::string_view text) {
    if (text.empty() || (text.front() != 'v' && text.front() != 'V')) {
        return false;
    }
    text.remove_prefix(1);
    const std::size_t dot = text.find('.');
    if (dot == 0 || dot == std::string_view::npos || dot + 1 == text.size()) {
        return false;
    }
    const std::string_view version = text.substr(0, dot);
    const std::string_view rest = text.substr(dot + 1);
    return std::all_of(version.begin(), version.end(), isHexDigit) &&
           std::all_of(rest.begin(), rest.end(),
                       [](char c) { return isUnreserved(c) || isSubDelim(c) || c == ':'; });
}

/// The port may be empty after its colon, which means the scheme's own.
bool isPort(std::string_view text) {
    if (!std::all_of(text.begin(), text.end(), isDigit)) {
        return false;
    }
    std::uint32_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    return text.empty() || (parsed.ec == std::errc() && value <= 65535);
}

bool isHostAndPort(std::string_view text) {
    std::string_view afterHost;
    if (text.starts_with('[')) {
        const std::size_t end = text.find(']');
        if (end == std::string_view::npos) {
            return false;
        }
        const std::string_view literal = text.substr(1, end - 1);
        if (!isIPv6Address(literal) && !isFutureAddress(literal)) {
            return false;
        }
        afterHost = text.substr(end + 1);
    } else {
        const std::size_t end = std::min(text.find(':'), text.size());
        if (end == 0 || !isMadeOf(text.substr(0, end), "")) {
            return false;
        }
        afterHost = text.substr(end);
    }
    return afterHost.empty() || (afterHost.front() == ':' && isPort(afterHost.substr(1)));
}

bool isAuthority(std::string_view text) {
    const std::size_t at = text.find('@');
    if (at == std::string_view::npos) {
        return isHostAndPort(text);
    }
    return isMadeOf(text.substr(0, at), ":") && isHostAndPort(text.substr(at + 1));
}

/// Cuts `text` at the first of `delimiters` and returns what stood before it.
std::string_view cutBefore(std::string_view& text, std::string_view delimiters) {
    const std::size_t end = std::min(text.find_first_of(delimiters), text.size());
    const std::string_view head = text.substr(0, end);
    text.remove_prefix(end);
    return head;
}

} // namespace

bool isValidUrl(std::string_view text) {
    const std::string_view scheme = cutBefore(text, ":");
    if (!isScheme(scheme) || !text.starts_with("://")) {
        return false;
    }
    text.remove_prefix(3);
    const std::string_view authority = cutBefore(text, "/?#");
    const std::string_view path = cutBefore(text, "?#");
    const std::string_view query = cutBefore(text, "#");
    const std::string_view fragment = text;
    return isAuthority(authority) && isMadeOf(path, ":@/") &&
           (query.empty() || isMadeOf(query.substr(1), ":@/?")) &&
           (fragment.empty() || isMadeOf(fragment.substr(1), ":@/?"));
}

} // namespace tandrel
