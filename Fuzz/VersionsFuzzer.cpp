// Three versions, a line each: whether their comparison is an order, and the one that is meant.
#include "Harness/Check.h"
#include "Harness/Input.h"
#include "Services/VersionComparison.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {
namespace {

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// A version as a list of words in small letters and of numbers without leading zeros; nothing
/// stands for 0.
std::vector<std::string> piecesOf(std::string_view version) {
    std::vector<std::string> pieces;
    char kind = ' ';
    for (const char c : version) {
        const char now = isLetter(c) ? 'a' : isDigit(c) ? '1' : ' ';
        if (now != ' ') {
            if (now != kind) {
                pieces.emplace_back();
            }
            if (c != '0' || !pieces.back().empty()) {
                pieces.back() += static_cast<char>(now == 'a' ? std::tolower(c) : c);
            }
        }
        kind = now;
    }
    return pieces;
}

/// Sorts as the pieces do: words, by the alphabet, before numbers, by length and digits.
std::string rankOf(const std::string& piece) {
    const bool isWord = !piece.empty() && isLetter(piece.front());
    return isWord ? "a" + piece
                  : "b" + std::string(8 - std::to_string(piece.size()).size(), '0') +
                        std::to_string(piece.size()) + piece;
}

std::weak_ordering expectedOrder(std::string_view left, std::string_view right) {
    std::vector<std::string> leftPieces = piecesOf(left);
    std::vector<std::string> rightPieces = piecesOf(right);
    const std::size_t size = std::max(leftPieces.size(), rightPieces.size());
    leftPieces.resize(size);
    rightPieces.resize(size);
    for (std::size_t index = 0; index < size; ++index) {
        const int order = rankOf(leftPieces[index]).compare(rankOf(rightPieces[index]));
        if (order != 0) {
            return order < 0 ? std::weak_ordering::less : std::weak_ordering::greater;
        }
    }
    return std::weak_ordering::equivalent;
}

void checkPair(std::string_view left, std::string_view right) {
    const auto order = compareVersions(left, right);
    const auto back = compareVersions(right, left);
    FUZZ_EXPECT(order == expectedOrder(left, right));
    FUZZ_EXPECT(std::is_lt(order) == std::is_gt(back) && std::is_gt(order) == std::is_lt(back));
}

/// Of any three, in any arrangement.
void checkTriple(std::string_view first, std::string_view second, std::string_view third) {
    const auto left = compareVersions(first, second);
    const auto right = compareVersions(second, third);
    const auto whole = compareVersions(first, third);
    if (std::is_lteq(left) && std::is_lteq(right)) {
        FUZZ_EXPECT(std::is_lteq(whole));
        FUZZ_EXPECT(std::is_eq(whole) == (std::is_eq(left) && std::is_eq(right)));
    }
}

/// What everybody expects of versions that come from one another.
void checkRelatives(std::string_view text) {
    const std::string version(text);
    std::string capitals = version;
    std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    for (const std::string& same : {version, version + ".0", version + ".", capitals}) {
        FUZZ_EXPECT(std::is_eq(compareVersions(version, same)));
    }
    FUZZ_EXPECT(std::is_lt(compareVersions(version + "-rc", version)));
    FUZZ_EXPECT(std::is_lt(compareVersions(version + "-rc.1", version + "-rc.2")));
    FUZZ_EXPECT(std::is_lt(compareVersions(version, version + ".0.1")));
    FUZZ_EXPECT(std::is_lt(compareVersions(version + ".9", version + ".10")));
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    Input input(data, size);
    std::array<std::string_view, 3> versions;
    for (std::string_view& version : versions) {
        version = input.line();
        checkRelatives(version);
    }
    for (const std::string_view left : versions) {
        for (const std::string_view right : versions) {
            checkPair(left, right);
            for (const std::string_view third : versions) {
                checkTriple(left, right, third);
            }
        }
    }
    return 0;
}
