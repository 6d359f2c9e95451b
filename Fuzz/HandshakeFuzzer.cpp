// A server's reply to the upgrade request, whole and in pieces.
#include "Foundation/Base64.h"
#include "Harness/Chance.h"
#include "Harness/Check.h"
#include "Harness/References.h"
#include "Platform/WebSocket/Handshake.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tandrel::fuzz {
namespace {

using Verdict = UpgradeReply::Verdict;

/// RFC 6455's own example, so that inputs can be written by hand.
constexpr const char* key = "dGhlIHNhbXBsZSBub25jZQ==";
constexpr const char* accept = "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=";

struct Outcome {
    Verdict verdict = Verdict::incomplete;
    /// With what was not fed any more.
    std::string rest;
    std::string reason;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

Outcome outcomeOf(const std::vector<std::string_view>& pieces, std::size_t limit) {
    UpgradeReply reply(accept, limit);
    Outcome outcome;
    for (const std::string_view piece : pieces) {
        if (outcome.verdict == Verdict::accepted) {
            outcome.rest += piece;
        } else if (outcome.verdict == Verdict::incomplete) {
            outcome.verdict = reply.feed(piece);
            outcome.rest = reply.rest();
        }
    }
    // Once there is a verdict, nothing changes it.
    FUZZ_EXPECT(outcome.verdict == Verdict::incomplete || reply.feed("more") == outcome.verdict);
    outcome.reason = reply.reason();
    return outcome;
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return result;
}

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t end = 0; end != std::string::npos; start = end + separator.size()) {
        end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::string::npos ? end : end - start));
    }
    return parts;
}

std::string withoutBlanks(std::string text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.pop_back();
    }
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.erase(0, 1);
    }
    return text;
}

/// Whether RFC 6455, section 4.1, has a client take `reply` for the upgrade that it asked for.
bool isUpgrade(const std::string& reply, std::size_t limit) {
    const std::size_t end = reply.find("\r\n\r\n");
    if (end == std::string::npos || end > limit) {
        return false;
    }
    std::vector<std::string> lines = split(reply.substr(0, end), "\r\n");
    if (lines.front() != "HTTP/1.1 101" && !lines.front().starts_with("HTTP/1.1 101 ")) {
        return false;
    }
    std::vector<std::string> upgrades;
    std::vector<std::string> connections;
    std::vector<std::string> accepts;
    bool offersMore = false;
    lines.erase(lines.begin());
    for (const std::string& line : lines) {
        const std::size_t colon = std::min(line.find(':'), line.size());
        const std::string name = lowered(line.substr(0, colon));
        const std::string value = withoutBlanks(line.substr(std::min(colon + 1, line.size())));
        const bool isList = name == "upgrade" || name == "connection";
        for (const std::string& part : isList ? split(value, ",") : std::vector<std::string>()) {
            (name == "upgrade" ? upgrades : connections).push_back(lowered(withoutBlanks(part)));
        }
        if (name == "sec-websocket-accept") {
            accepts.push_back(value);
        }
        offersMore = offersMore ||
                     ((name == "sec-websocket-extensions" || name == "sec-websocket-protocol") &&
                      !value.empty());
    }
    return std::count(upgrades.begin(), upgrades.end(), "websocket") > 0 &&
           std::count(connections.begin(), connections.end(), "upgrade") > 0 &&
           accepts == std::vector<std::string>{accept} && !offersMore;
}

void check(std::string_view reply, std::size_t limit, Chance& chance) {
    const Outcome whole = outcomeOf({reply}, limit);
    FUZZ_EXPECT((whole.verdict == Verdict::accepted) == isUpgrade(std::string(reply), limit));
    FUZZ_EXPECT((whole.verdict == Verdict::refused) == !whole.reason.empty());
    FUZZ_EXPECT(isHarmlessLine(whole.reason) && whole.reason.size() <= 100);
    if (whole.verdict == Verdict::accepted) {
        const std::size_t end = reply.find("\r\n\r\n");
        FUZZ_EXPECT(whole.rest == reply.substr(end + 4));
    } else {
        FUZZ_EXPECT(whole.rest.empty());
    }
    // Waiting for more has an end.
    FUZZ_EXPECT(whole.verdict != Verdict::incomplete || reply.size() < limit + 4);
    FUZZ_EXPECT(outcomeOf(inPieces(reply, chance), limit) == whole);
    FUZZ_EXPECT(outcomeOf(byteByByte(reply), limit) == whole);
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    using namespace tandrel;
    FUZZ_EXPECT(acceptFor(fuzz::key) == fuzz::accept);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel;
    using namespace tandrel::fuzz;
    const std::string_view reply(reinterpret_cast<const char*>(data), size);
    Chance chance(reply);
    check(reply, 16'384, chance);
    // The first nine bytes are judged before any limit.
    check(reply, 9 + chance.below(300), chance);
    // Another key wants another answer.
    const std::string other = acceptFor(std::string(reply));
    const auto hash = decodeBase64(other);
    FUZZ_EXPECT(hash && hash->size() == 20 && (other == accept) == (reply == key));
    return 0;
}
