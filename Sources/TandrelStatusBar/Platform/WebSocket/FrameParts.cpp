#include "Platform/WebSocket/FrameParts.h"

#include <algorithm>
#include <cstddef>

namespace tandrel {

namespace {

constexpr unsigned closeOpcode = 8;
constexpr std::size_t shortestHead = 2;
constexpr std::size_t maskLength = 4;

/// Bytes of the length that follow the head's second byte.
std::size_t longLengthBytes(unsigned length) {
    return length == 127 ? 8 : length == 126 ? 2 : 0;
}

} // namespace

std::string_view FrameParts::takeFrom(std::string_view& bytes) {
    const bool isHead = payloadLeft_ == 0;
    const auto count =
        isHead ? 1 : static_cast<std::size_t>(std::min<std::uint64_t>(payloadLeft_, bytes.size()));
    std::string_view part = bytes.substr(0, count);
    bytes.remove_prefix(count);
    if (isHead) {
        closePayload_.clear();
        head_ += part;
        payloadLeft_ = isHeadWhole() ? payloadLength() : 0;
    } else {
        payloadLeft_ -= count;
        if (isClose()) {
            closePayload_ += part;
            part = payloadLeft_ == 0 ? std::string_view(closePayload_) : std::string_view();
        }
    }
    if (payloadLeft_ == 0 && isHeadWhole()) {
        head_.clear();
    }
    return part;
}

bool FrameParts::isClose() const {
    return (static_cast<unsigned char>(head_[0]) & 0xfU) == closeOpcode;
}

bool FrameParts::isHeadWhole() const {
    if (head_.size() < shortestHead) {
        return false;
    }
    const auto second = static_cast<unsigned char>(head_[1]);
    return head_.size() ==
           shortestHead + longLengthBytes(second & 0x7fU) + (second >= 0x80 ? maskLength : 0);
}

std::uint64_t FrameParts::payloadLength() const {
    std::uint64_t length = static_cast<unsigned char>(head_[1]) & 0x7fU;
    const std::size_t count = longLengthBytes(static_cast<unsigned>(length));
    length = count == 0 ? length : 0;
    for (const char byte : std::string_view(head_).substr(shortestHead, count)) {
        length = length * 256 + static_cast<unsigned char>(byte);
    }
    return length;
}

} // namespace tandrel
