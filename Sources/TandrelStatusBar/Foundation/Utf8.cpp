#include "Foundation/Utf8.h"

#include <cstddef>

namespace tandrel {

namespace {

/// What may follow a lead byte: how many continuation bytes, and the range of the first of them
/// (the narrower ranges keep out overlong forms, surrogates and what lies above U+10FFFF).
struct Sequence {
    std::size_t continuations;
    unsigned char firstLow;
    unsigned char firstHigh;
};

constexpr Sequence invalid{0, 0, 0};

Sequence sequenceOf(unsigned char lead) {
    if (lead >= 0xc2 && lead <= 0xdf) {
        return {1, 0x80, 0xbf};
    }
    switch (lead) {
    case 0xe0:
        return {2, 0xa0, 0xbf};
    case 0xed:
        return {2, 0x80, 0x9f};
    case 0xf0:
        return {3, 0x90, 0xbf};
    case 0xf4:
        return {3, 0x80, 0x8f};
    default:
        break;
    }
    if (lead >= 0xe1 && lead <= 0xef) {
        return {2, 0x80, 0xbf};
    }
    if (lead >= 0xf1 && lead <= 0xf3) {
        return {3, 0x80, 0xbf};
    }
    return invalid;
}

} // namespace

bool isValidUtf8(std::string_view bytes) {
    const auto byteAt = [bytes](std::size_t index) {
        return static_cast<unsigned char>(bytes[index]);
    };
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        if (byteAt(at) < 0x80) {
            continue;
        }
        const Sequence sequence = sequenceOf(byteAt(at));
        if (sequence.continuations == 0 || bytes.size() - at <= sequence.continuations) {
            return false;
        }
        if (byteAt(at + 1) < sequence.firstLow || byteAt(at + 1) > sequence.firstHigh) {
            return false;
        }
        for (std::size_t next = 2; next <= sequence.continuations; ++next) {
            if ((byteAt(at + next) & 0xc0U) != 0x80U) {
                return false;
            }
        }
        at += sequence.continuations;
    }
    return true;
}

} // namespace tandrel
