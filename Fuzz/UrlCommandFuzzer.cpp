// A command URL as the desktop hands it over: any bytes, and URLs put together from any parts.
#include "Foundation/Console.h"
#include "Harness/Check.h"
#include "Harness/Input.h"
#include "Harness/References.h"
#include "UrlCommand.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tandrel::fuzz {
namespace {

bool liesWithin(std::string_view part, std::string_view whole) {
    return part.empty() || (part.data() >= whole.data() &&
                            part.data() + part.size() <= whole.data() + whole.size());
}

bool has(std::string_view text, std::string_view anyOf) {
    return text.find_first_of(anyOf) != std::string_view::npos;
}

void checkParts(std::string_view url) {
    const UrlCommand command = UrlCommand::parse(url);
    FUZZ_EXPECT(liesWithin(command.scheme, url) && liesWithin(command.host, url));
    FUZZ_EXPECT(!has(command.scheme, ":") && !has(command.host, ":/?#@"));
    if (command.scheme.empty() && command.host.empty()) {
        return;
    }
    std::string start(command.scheme);
    start += ':';
    FUZZ_EXPECT(url.starts_with(start));
    if (!command.host.empty()) {
        // Only a user's name may stand between the slashes and the host.
        FUZZ_EXPECT(url.substr(start.size()).starts_with("//"));
        const std::string_view before(url.data(),
                                      static_cast<std::size_t>(command.host.data() - url.data()));
        const std::string_view user = before.substr(start.size() + 2);
        FUZZ_EXPECT(user.empty() || (user.ends_with('@') && !has(user, "/?#")));
    }
}

/// A URL made of parts that hold no delimiters falls into those parts again.
void checkComposed(Input input) {
    const auto part = [&input] {
        const std::string_view line = input.line();
        return std::string(line.substr(0, line.find_first_of(":/?#@")));
    };
    const std::string scheme = part();
    const std::string user = part();
    const std::string host = part();
    const std::string port = part();
    const std::string tail(input.rest());
    for (const bool hasUser : {false, true}) {
        for (const bool hasPort : {false, true}) {
            std::string url = scheme;
            url.append("://").append(hasUser ? user + ":p@" : "").append(host);
            url.append(hasPort ? ":" + port : "").append("/").append(tail);
            const UrlCommand command = UrlCommand::parse(url);
            FUZZ_EXPECT(command.scheme == scheme && command.host == host);
        }
    }
}

void checkBound(std::string_view url) {
    const std::string bounded = UrlCommand::bounded(url);
    FUZZ_EXPECT(url.starts_with(bounded));
    FUZZ_EXPECT(bounded.size() <= UrlCommand::maxURLSize);
    FUZZ_EXPECT(bounded.size() == url.size() || bounded.size() + 4 >= UrlCommand::maxURLSize);
    // Of whole characters, and as many as there is room for.
    if (isUtf8(url)) {
        FUZZ_EXPECT(isUtf8(bounded));
        FUZZ_EXPECT(bounded.size() == url.size() || bounded.size() + 3 >= UrlCommand::maxURLSize);
    }
    FUZZ_EXPECT(UrlCommand::bounded(bounded) == bounded);
}

void checkLogged(std::string_view url) {
    const std::string line = printable(url);
    FUZZ_EXPECT(isHarmlessLine(line));
    FUZZ_EXPECT(line.size() >= url.size() && line.size() <= 4 * url.size());
    FUZZ_EXPECT(!isHarmlessLine(url) || line == url);
    FUZZ_EXPECT(!isUtf8(url) || isUtf8(line));
    FUZZ_EXPECT(printable(line) == line);
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    const std::string_view url(reinterpret_cast<const char*>(data), size);
    checkParts(url);
    checkComposed(Input(data, size));
    // Long ones are what the bound is for.
    std::string longURL(url);
    while (!url.empty() && longURL.size() <= tandrel::UrlCommand::maxURLSize) {
        longURL += url;
    }
    checkLogged(url);
    checkBound(url);
    // The bound falls on each byte of a character.
    for (int count = 0; count < 4; ++count) {
        checkBound(longURL);
        longURL.insert(0, 1, 'a');
    }
    return 0;
}
