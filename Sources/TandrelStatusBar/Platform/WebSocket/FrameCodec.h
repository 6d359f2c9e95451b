#pragma once

#include "Platform/StreamSocket.h"
#include "Platform/WebSocket/FrameParts.h"

#include <wslay/wslay.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tandrel {

/// The client's side of RFC 6455 after the upgrade: bytes in, messages and pongs out; messages in,
/// bytes out. Answers pings and close frames by itself. Does no input or output.
class FrameCodec {
public:
    struct Pong {
        std::string payload;
    };
    using Event = std::variant<SocketMessage, Pong>;

    /// Incoming messages of more than `messageLimit` bytes end the connection with 1009.
    explicit FrameCodec(std::size_t messageLimit);
    ~FrameCodec();
    FrameCodec(const FrameCodec&) = delete;
    FrameCodec& operator=(const FrameCodec&) = delete;

    /// Takes what came in; yields what it completes, in order. After a close frame or a violation
    /// the rest is ignored.
    [[nodiscard]] std::vector<Event> receive(std::string_view bytes);

    // Each queues one frame for `takeOutput()`; nothing follows a close frame.
    void queueBinary(std::span<const std::uint8_t> payload);
    void queuePing(std::string_view payload);
    void queueClose(std::uint16_t code);

    /// The bytes to be sent, masked; answers to the server's frames included. The memory of `spare`
    /// serves the next ones.
    [[nodiscard]] std::string takeOutput(std::string spare = {});

    /// Whether the server's close frame has come in. Its reason is not looked at: what it says is
    /// the code.
    [[nodiscard]] bool hasReceivedClose() const { return closeReceived_; }
    /// The code of the server's close frame; 0 before it, and when it has none.
    [[nodiscard]] int closeCode() const { return closeReceived_ ? serverCloseCode_ : 0; }
    /// Whether the server broke the protocol, or a bound; the close frame that says so is queued.
    [[nodiscard]] bool isViolated() const;

private:
    struct ContextDeleter {
        void operator()(wslay_event_context* context) const { wslay_event_context_free(context); }
        void operator()(wslay_frame_context* context) const { wslay_frame_context_free(context); }
    };

    static ssize_t readInput(wslay_event_context* context, std::uint8_t* buffer, std::size_t size,
                             int flags, void* codec);
    static ssize_t writeOutput(wslay_event_context* context, const std::uint8_t* bytes,
                               std::size_t size, int flags, void* codec);
    static ssize_t writeFrame(const std::uint8_t* bytes, std::size_t size, int flags, void* codec);
    static int makeMask(std::uint8_t* buffer, std::size_t size, void* codec);
    static void onFrameStart(wslay_event_context* context,
                             const wslay_event_on_frame_recv_start_arg* frame, void* codec);
    static void onFrameBytes(wslay_event_context* context,
                             const wslay_event_on_frame_recv_chunk_arg* chunk, void* codec);
    static void onMessageEnd(wslay_event_context* context, const wslay_event_on_msg_recv_arg* end,
                             void* codec);

    void queue(std::uint8_t opcode, const std::uint8_t* bytes, std::size_t size);
    void writeQueued();
    void refuseOversized();

    std::unique_ptr<wslay_event_context, ContextDeleter> context_;
    /// For our own messages: the other one takes a copy of each.
    std::unique_ptr<wslay_frame_context, ContextDeleter> messageContext_;
    std::size_t messageLimit_;
    FrameParts parts_;
    std::string_view input_;
    std::string output_;
    std::vector<Event> events_;
    std::uint8_t frameOpcode_ = 0;
    std::string message_;
    std::string closePayload_;
    int serverCloseCode_ = 0;
    bool closeReceived_ = false;
};

} // namespace tandrel
