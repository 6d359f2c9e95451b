#include "Harness/FrameReference.h"

#include "Harness/References.h"

#include <algorithm>

namespace tandrel::fuzz {

namespace {

constexpr unsigned continuation = 0;
constexpr unsigned text = 1;
constexpr unsigned binary = 2;
constexpr unsigned closing = 8;
constexpr unsigned ping = 9;
constexpr unsigned pong = 10;

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) {
        value = value * 256 + static_cast<unsigned char>(byte);
    }
    return value;
}

/// Whether `bytes` is UTF-8, but for a last character that may still become whole.
bool startsLikeUtf8(const std::string& bytes) {
    if (isUtf8(bytes)) {
        return true;
    }
    for (const char first : {'\x80', '\x90', '\xa0'}) {
        const std::string more{first, '\x80', '\x80'};
        for (std::size_t count = 1; count <= more.size(); ++count) {
            if (isUtf8(bytes + more.substr(0, count))) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

std::optional<Frame> takeFrame(std::string_view& bytes) {
    if (bytes.size() < 2) {
        return std::nullopt;
    }
    Frame frame;
    const auto first = static_cast<unsigned char>(bytes[0]);
    const auto second = static_cast<unsigned char>(bytes[1]);
    frame.isFinal = first >= 0x80;
    frame.reserved = (first >> 4U) & 7U;
    frame.opcode = first & 0xfU;
    frame.isMasked = second >= 0x80;
    frame.length = second & 0x7fU;
    const std::size_t lengthBytes = frame.length == 127 ? 8 : frame.length == 126 ? 2 : 0;
    const std::size_t head = 2 + lengthBytes + (frame.isMasked ? 4 : 0);
    if (bytes.size() < head) {
        return std::nullopt;
    }
    if (lengthBytes > 0) {
        frame.length = bigEndian(bytes.substr(2, lengthBytes));
        frame.hasShortestLength = frame.length >= (lengthBytes == 2 ? 126U : 65536U);
    }
    const std::string_view mask = bytes.substr(2 + lengthBytes, frame.isMasked ? 4 : 0);
    bytes.remove_prefix(head);
    frame.payload = bytes.substr(0, frame.length);
    bytes.remove_prefix(frame.payload.size());
    for (std::size_t index = 0; frame.isMasked && index < frame.payload.size(); ++index) {
        frame.payload[index] = static_cast<char>(frame.payload[index] ^ mask[index % 4]);
    }
    return frame;
}

ServerBytes::ServerBytes(std::string_view bytes, std::size_t limit) {
    while (!bytes.empty() && !isViolated && !isClosed) {
        const auto frame = takeFrame(bytes);
        if (!frame || !frame->isWhole()) {
            endsWithinFrame = true;
            return;
        }
        take(*frame, limit);
    }
}

void ServerBytes::take(const Frame& frame, std::size_t limit) {
    if (!isAllowed(frame, limit)) {
        isViolated = true;
    } else if (frame.opcode == closing) {
        takeClose(frame.payload);
    } else if (frame.opcode == ping) {
        pings.push_back(frame.payload);
    } else if (frame.opcode == pong) {
        events.push_back("pong " + frame.payload);
    } else {
        takeMessage(frame);
    }
}

bool ServerBytes::isAllowed(const Frame& frame, std::size_t limit) const {
    if (frame.reserved != 0 || frame.isMasked || !frame.hasShortestLength) {
        return false;
    }
    if (frame.isControl()) {
        return frame.opcode <= pong && frame.isFinal && frame.length <= 125;
    }
    const bool isFirst = frame.opcode == text || frame.opcode == binary;
    return (isFirst || frame.opcode == continuation) && isFirst == (kind_ == 0) &&
           message_.size() + frame.length <= limit;
}

void ServerBytes::takeMessage(const Frame& frame) {
    kind_ = kind_ == 0 ? frame.opcode : kind_;
    message_ += frame.payload;
    if (kind_ == text && !(frame.isFinal ? isUtf8(message_) : startsLikeUtf8(message_))) {
        isViolated = true;
    } else if (frame.isFinal) {
        events.push_back((kind_ == text ? "text " : "binary ") + message_);
        kind_ = 0;
        message_.clear();
    }
}

void ServerBytes::takeClose(const std::string& payload) {
    const int code = payload.size() < 2 ? 0 : static_cast<int>(bigEndian(payload.substr(0, 2)));
    const bool isRegistered =
        (code >= 1000 && code <= 1014 && code != 1004 && code != 1005 && code != 1006) ||
        (code >= 3000 && code <= 4999);
    // Half a code counts as none.
    const bool isValid = payload.size() < 2 || (isRegistered && isUtf8(payload.substr(2)));
    (isValid ? isClosed : isViolated) = true;
    closeCode = isValid ? code : 0;
}

} // namespace tandrel::fuzz
