#pragma once

#include "Platform/WebSocket/WebSocketUrl.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace tandrel {

/// A fresh Sec-WebSocket-Key: 16 random bytes in base64.
[[nodiscard]] std::string makeHandshakeKey();

/// The Sec-WebSocket-Accept that answers `key` (RFC 6455, section 4.2.2).
[[nodiscard]] std::string acceptFor(const std::string& key);

/// The upgrade request, with no header beyond those that RFC 6455, section 4.1, asks for.
[[nodiscard]] std::string makeUpgradeRequest(const WebSocketUrl& url, const std::string& key);

/// Reads the reply to the upgrade request as it comes in. The verdict depends on the bytes alone,
/// not on how they were cut.
class UpgradeReply {
public:
    enum class Verdict { incomplete, accepted, refused };

    UpgradeReply(std::string expectedAccept, std::size_t limit);

    /// Once there is a verdict, further bytes change nothing.
    Verdict feed(std::string_view bytes);

    /// After `accepted`: the bytes behind the reply, which belong to the first frames.
    [[nodiscard]] const std::string& rest() const { return rest_; }
    /// After `refused`: the reason, for people.
    [[nodiscard]] const std::string& reason() const { return reason_; }

private:
    Verdict judge();
    Verdict judgeStatusLine();
    Verdict judgeHeaders(std::string_view headers);
    [[nodiscard]] bool endsBeyondLimit(std::size_t end, std::string_view terminator) const;
    Verdict refuse(std::string reason);

    std::string expectedAccept_;
    std::size_t limit_;
    Verdict verdict_ = Verdict::incomplete;
    std::string received_;
    std::string rest_;
    std::string reason_;
};

} // namespace tandrel
