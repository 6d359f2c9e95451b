#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {

/// One frame as it stands in a stream of bytes (RFC 6455, section 5.2).
struct Frame {
    bool isFinal = false;
    unsigned reserved = 0;
    unsigned opcode = 0;
    bool isMasked = false;
    /// Whether its length is written as shortly as it can be.
    bool hasShortestLength = true;
    std::uint64_t length = 0;
    /// What has come of its payload, without the mask.
    std::string payload;

    [[nodiscard]] bool isControl() const { return opcode >= 8; }
    [[nodiscard]] bool isWhole() const { return payload.size() == length; }
};

/// Takes a frame off `bytes`, cut short where they end; nothing when not even its head is whole.
std::optional<Frame> takeFrame(std::string_view& bytes);

/// What a client is to make of a server's bytes, frame by frame, for messages of at most `limit`.
struct ServerBytes {
    ServerBytes(std::string_view bytes, std::size_t limit);

    /// "text …", "binary …" and "pong …" in their order.
    std::vector<std::string> events;
    /// The payloads of the pings to be answered.
    std::vector<std::string> pings;
    bool isViolated = false;
    bool isClosed = false;
    int closeCode = 0;
    /// Whether the last frame is cut short, so that what is wrong with it may show later.
    bool endsWithinFrame = false;

private:
    void take(const Frame& frame, std::size_t limit);
    [[nodiscard]] bool isAllowed(const Frame& frame, std::size_t limit) const;
    void takeMessage(const Frame& frame);
    void takeClose(const std::string& payload);

    /// The message that is under way; its kind is its first frame's opcode, 0 for none.
    unsigned kind_ = 0;
    std::string message_;
};

} // namespace tandrel::fuzz
