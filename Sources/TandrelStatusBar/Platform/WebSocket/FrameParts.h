#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tandrel {

/// Follows the frames in a stream of bytes (RFC 6455, section 5.2) to hand them on part by part,
/// the payload of a close frame whole, however the network cut it.
class FrameParts {
public:
    /// Takes something from the front of `bytes`, which are not empty, and returns what can be
    /// handed on, valid until the next call: a byte of a frame's head, what there is of a payload,
    /// or nothing while more of a close frame's is to come. Whether a frame is allowed, its reader
    /// has to say, before more is taken.
    [[nodiscard]] std::string_view takeFrom(std::string_view& bytes);

private:
    [[nodiscard]] bool isHeadWhole() const;
    [[nodiscard]] bool isClose() const;
    [[nodiscard]] std::uint64_t payloadLength() const;

    /// The head of the frame that is under way, as far as it has come.
    std::string head_;
    std::uint64_t payloadLeft_ = 0;
    std::string closePayload_;
};

} // namespace tandrel
