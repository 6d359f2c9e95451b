#include "Services/UpdateAddress.h"

#include "Foundation/UrlSyntax.h"
#include "Models/Appcast.h"

namespace tandrel {

namespace {

/// What stands between "//" and the path, of a valid URL.
std::string_view authorityOf(std::string_view url) {
    url.remove_prefix(url.find("://") + 3);
    return url.substr(0, url.find_first_of("/?#"));
}

} // namespace

bool isPlainLoopback(std::string_view url) {
    if (!isValidUrl(url) || !url.starts_with("http://")) {
        return false;
    }
    const std::string_view authority = authorityOf(url);
    if (authority.find('@') != std::string_view::npos) {
        return false;
    }
    const std::string_view host = authority.starts_with('[')
                                      ? authority.substr(0, authority.find(']') + 1)
                                      : authority.substr(0, authority.find(':'));
    // A whole address, so that no name that begins like one counts.
    const bool isIPv4Loopback = host.starts_with("127.") && isIPv4Address(host);
    return isIPv4Loopback || host == "localhost" || host == "[::1]";
}

bool mayFollow(std::string_view url, std::string_view feedURL) {
    if (url.size() > appcast::maxAddressLength || !isValidUrl(url) ||
        authorityOf(url).find('@') != std::string_view::npos) {
        return false;
    }
    return url.starts_with("https://") || (isPlainLoopback(feedURL) && isPlainLoopback(url));
}

} // namespace tandrel
