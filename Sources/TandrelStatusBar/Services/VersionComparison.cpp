#include "Services/VersionComparison.h"

#include <algorithm>
#include <compare>
#include <cstddef>

namespace tandrel {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// A number or a word. An empty one, behind the end of a version, is the number 0.
struct Piece {
    std::string_view text;
    bool isWord = false;
};

/// Takes the next piece off `version`.
Piece takePiece(std::string_view& version) {
    const auto* const start = std::find_if(version.begin(), version.end(),
                                           [](char c) { return isDigit(c) || isLetter(c); });
    version.remove_prefix(static_cast<std::size_t>(start - version.begin()));
    if (version.empty()) {
        return {};
    }
    const bool isWord = isLetter(version.front());
    const auto* const end = std::find_if_not(version.begin(), version.end(), [isWord](char c) {
        return isWord ? isLetter(c) : isDigit(c);
    });
    const auto length = static_cast<std::size_t>(end - version.begin());
    const Piece piece{version.substr(0, length), isWord};
    version.remove_prefix(length);
    return piece;
}

std::weak_ordering compareNumbers(std::string_view left, std::string_view right) {
    const auto significant = [](std::string_view digits) {
        digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
        return digits;
    };
    left = significant(left);
    right = significant(right);
    if (left.size() != right.size()) {
        return left.size() <=> right.size();
    }
    return left <=> right;
}

std::weak_ordering compareWords(std::string_view left, std::string_view right) {
    return std::lexicographical_compare_three_way(
        left.begin(), left.end(), right.begin(), right.end(),
        [](char one, char other) { return lower(one) <=> lower(other); });
}

std::weak_ordering comparePieces(const Piece& left, const Piece& right) {
    if (left.isWord != right.isWord) {
        return left.isWord ? std::weak_ordering::less : std::weak_ordering::greater;
    }
    return left.isWord ? compareWords(left.text, right.text)
                       : compareNumbers(left.text, right.text);
}

} // namespace

std::weak_ordering compareVersions(std::string_view left, std::string_view right) {
    while (!left.empty() || !right.empty()) {
        const Piece leftPiece = takePiece(left);
        const Piece rightPiece = takePiece(right);
        if (const auto order = comparePieces(leftPiece, rightPiece); std::is_neq(order)) {
            return order;
        }
    }
    return std::weak_ordering::equivalent;
}

} // namespace tandrel
