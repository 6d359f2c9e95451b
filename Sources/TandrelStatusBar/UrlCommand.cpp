#include "UrlCommand.h"

namespace tandrel {

UrlCommand UrlCommand::parse(std::string_view url) {
    UrlCommand command;
    const auto colon = url.find(':');
    if (colon == std::string_view::npos) {
        return command;
    }
    command.scheme = url.substr(0, colon);
    const std::string_view rest = url.substr(colon + 1);
    if (!rest.starts_with("//")) {
        return command;
    }
    std::string_view authority = rest.substr(2);
    authority = authority.substr(0, authority.find_first_of("/?#"));
    if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
        authority.remove_prefix(at + 1);
    }
    command.host = authority.substr(0, authority.find(':'));
    return command;
}

std::string UrlCommand::bounded(std::string_view url) {
    if (url.size() <= maxURLSize) {
        return std::string(url);
    }
    static constexpr std::size_t longestCharacter = 4;
    const auto continues = [&](std::size_t index) {
        return (static_cast<unsigned char>(url[index]) & 0xc0U) == 0x80U;
    };
    std::size_t size = maxURLSize;
    while (size > maxURLSize - longestCharacter && continues(size)) {
        --size;
    }
    return std::string(url.substr(0, size));
}

} // namespace tandrel
