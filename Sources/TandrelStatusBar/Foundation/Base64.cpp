#include "Foundation/Base64.h"

#include <cstddef>
#include <cstdint>

namespace tandrel {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The bits of up to four digits, left-aligned in 24; nothing when one of them is no digit.
std::optional<std::uint32_t> bitsOf(std::string_view digits) {
    std::uint32_t bits = 0;
    for (const char digit : digits) {
        const std::size_t value = alphabet.find(digit);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = (bits << 6U) | static_cast<std::uint32_t>(value);
    }
    return bits << (6U * (4 - digits.size()));
}

} // namespace

std::optional<std::string> decodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    text.remove_suffix(padding);
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    for (; !text.empty(); text.remove_prefix(text.size() < 4 ? text.size() : 4)) {
        const std::string_view group = text.substr(0, 4);
        const auto bits = bitsOf(group);
        const std::size_t count = group.size() - 1;
        const std::uint32_t unused = 0xffffffU >> (8U * count);
        if (!bits || (*bits & unused) != 0) {
            return std::nullopt;
        }
        // The next byte is always on top.
        std::uint32_t rest = *bits << 8U;
        for (std::size_t index = 0; index < count; ++index) {
            bytes.push_back(static_cast<char>(rest >> 24U));
            rest <<= 8U;
        }
    }
    return bytes;
}

} // namespace tandrel
