#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {

/// Numbers that look random and depend on a text alone: the same input always does the same.
class Chance {
public:
    explicit Chance(std::string_view seed) {
        for (const char byte : seed) {
            state_ = (state_ ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
        }
        state_ |= 1U;
    }

    std::uint64_t next() {
        state_ ^= state_ << 13U;
        state_ ^= state_ >> 7U;
        state_ ^= state_ << 17U;
        return state_;
    }
    /// Less than `bound`, which is not 0.
    std::size_t below(std::size_t bound) { return (next() >> 16U) % bound; }

private:
    std::uint64_t state_ = 0xcbf29ce484222325U;
};

/// `text` in pieces, most of them short, some of them empty.
inline std::vector<std::string_view> inPieces(std::string_view text, Chance& chance) {
    std::vector<std::string_view> pieces;
    for (std::size_t at = 0; at < text.size();) {
        pieces.push_back(text.substr(at, chance.below(chance.below(8) == 0 ? 2000 : 9)));
        at += pieces.back().size();
    }
    return pieces;
}

inline std::vector<std::string_view> byteByByte(std::string_view text) {
    std::vector<std::string_view> pieces;
    for (std::size_t at = 0; at < text.size(); ++at) {
        pieces.push_back(text.substr(at, 1));
    }
    return pieces;
}

} // namespace tandrel::fuzz
