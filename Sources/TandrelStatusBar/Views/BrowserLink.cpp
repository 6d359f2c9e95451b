#include "Views/BrowserLink.h"

#include <cstddef>

namespace tandrel {

namespace {

constexpr std::size_t maxIdBytes = 1024;

/// RFC 3986's unreserved characters: the ones that mean nothing anywhere in an address.
bool isUnreserved(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

} // namespace

std::optional<std::string> browserLink(std::string_view webAppBaseURL,
                                       std::string_view interviewId) {
    if (interviewId == "." || interviewId == ".." || interviewId.size() > maxIdBytes) {
        return std::nullopt;
    }
    std::string link(webAppBaseURL);
    link += "/interviews/";
    for (const char byte : interviewId) {
        if (isUnreserved(byte)) {
            link += byte;
            continue;
        }
        constexpr std::string_view hexDigits = "0123456789ABCDEF";
        const auto value = static_cast<unsigned char>(byte);
        link += '%';
        link += hexDigits[value >> 4U];
        link += hexDigits[value & 0xFU];
    }
    return link;
}

} // namespace tandrel
