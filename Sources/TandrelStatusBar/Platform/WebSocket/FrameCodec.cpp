#include "Platform/WebSocket/FrameCodec.h"

#include "Foundation/Utf8.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace tandrel {

namespace {

FrameCodec& self(void* codec) {
    return *static_cast<FrameCodec*>(codec);
}

/// To be appended: as a range of another type than characters, bytes would go by way of a string of
/// their own.
std::string_view text(const std::uint8_t* bytes, std::size_t size) {
    return {reinterpret_cast<const char*>(bytes), size};
}

/// 1012 to 1014 have been registered since RFC 6455; the library takes them for errors, although a
/// server that restarts sends 1012.
bool isLateRegisteredCode(int code) {
    return code >= 1012 && code <= 1014;
}

} // namespace

FrameCodec::FrameCodec(std::size_t messageLimit)
    : messageLimit_(messageLimit) {
    wslay_event_callbacks callbacks{};
    callbacks.recv_callback = readInput;
    callbacks.send_callback = writeOutput;
    callbacks.genmask_callback = [](wslay_event_context* /*context*/, std::uint8_t* buffer,
                                    std::size_t size,
                                    void* codec) { return makeMask(buffer, size, codec); };
    callbacks.on_frame_recv_start_callback = onFrameStart;
    callbacks.on_frame_recv_chunk_callback = onFrameBytes;
    callbacks.on_msg_recv_callback = onMessageEnd;
    wslay_event_context* context = nullptr;
    if (wslay_event_context_client_init(&context, &callbacks, this) != 0) {
        throw std::bad_alloc();
    }
    context_.reset(context);
    wslay_event_config_set_max_recv_msg_length(context, messageLimit);
    // The library's own buffering costs some hundred bytes for each fragment, so that a message of
    // one-byte fragments would take a hundred times its size.
    wslay_event_config_set_no_buffering(context, 1);

    const wslay_frame_callbacks messageCallbacks{writeFrame, nullptr, makeMask};
    wslay_frame_context* messageContext = nullptr;
    if (wslay_frame_context_init(&messageContext, &messageCallbacks, this) != 0) {
        throw std::bad_alloc();
    }
    messageContext_.reset(messageContext);
}

FrameCodec::~FrameCodec() = default;

std::vector<FrameCodec::Event> FrameCodec::receive(std::string_view bytes) {
    // A failure leaves reading disabled, which `isViolated()` shows.
    while (!bytes.empty() && wslay_event_get_read_enabled(context_.get()) != 0) {
        // wslay 1.1.1 takes the first two bytes of each piece of a close frame for the code: if the
        // network had cut the reason within a character, the close would be a violation to it, and
        // the code lost. So it gets the payload in one piece.
        input_ = parts_.takeFrom(bytes);
        (void)wslay_event_recv(context_.get());
    }
    input_ = {};
    return std::exchange(events_, {});
}

void FrameCodec::queueBinary(std::span<const std::uint8_t> payload) {
    // First what the library holds back, which may be a close frame, behind which nothing may
    // follow.
    writeQueued();
    if (wslay_event_get_write_enabled(context_.get()) == 0) {
        return;
    }
    wslay_frame_iocb frame{};
    frame.fin = 1;
    frame.opcode = WSLAY_BINARY_FRAME;
    frame.mask = 1;
    frame.payload_length = payload.size();
    frame.data = payload.data();
    frame.data_length = payload.size();
    // Goes out whole: nothing ever refuses what is appended to the output.
    (void)wslay_frame_send(messageContext_.get(), &frame);
}

void FrameCodec::queuePing(std::string_view payload) {
    std::vector<std::uint8_t> bytes(payload.begin(), payload.end());
    queue(WSLAY_PING, bytes.data(), bytes.size());
}

void FrameCodec::queue(std::uint8_t opcode, const std::uint8_t* bytes, std::size_t size) {
    const wslay_event_msg message{opcode, bytes, size};
    // Refused only behind a close frame, where nothing may follow.
    (void)wslay_event_queue_msg(context_.get(), &message);
    writeQueued();
}

void FrameCodec::queueClose(std::uint16_t code) {
    (void)wslay_event_queue_close(context_.get(), code, nullptr, 0);
    writeQueued();
}

void FrameCodec::writeQueued() {
    // At once, for in the library's queues a close frame overtakes what was queued before it.
    (void)wslay_event_send(context_.get());
}

std::string FrameCodec::takeOutput(std::string spare) {
    writeQueued();
    spare.clear();
    return std::exchange(output_, std::move(spare));
}

bool FrameCodec::isViolated() const {
    return !closeReceived_ && wslay_event_get_read_enabled(context_.get()) == 0;
}

ssize_t FrameCodec::readInput(wslay_event_context* context, std::uint8_t* buffer, std::size_t size,
                              int /*flags*/, void* codec) {
    std::string_view& input = self(codec).input_;
    if (input.empty()) {
        wslay_event_set_error(context, WSLAY_ERR_WOULDBLOCK);
        return -1;
    }
    const std::size_t count = std::min(size, input.size());
    std::memcpy(buffer, input.data(), count);
    input.remove_prefix(count);
    return static_cast<ssize_t>(count);
}

ssize_t FrameCodec::writeOutput(wslay_event_context* /*context*/, const std::uint8_t* bytes,
                                std::size_t size, int flags, void* codec) {
    return writeFrame(bytes, size, flags, codec);
}

ssize_t FrameCodec::writeFrame(const std::uint8_t* bytes, std::size_t size, int /*flags*/,
                               void* codec) {
    self(codec).output_.append(text(bytes, size));
    return static_cast<ssize_t>(size);
}

int FrameCodec::makeMask(std::uint8_t* buffer, std::size_t size, void* /*codec*/) {
    // Unpredictable, as RFC 6455, section 10.3, wants it; one call to the system for each mask.
    std::uint32_t random = QRandomGenerator::system()->generate();
    for (std::size_t index = 0; index < size; ++index) {
        if (index > 0 && index % sizeof random == 0) {
            random = QRandomGenerator::system()->generate();
        }
        buffer[index] = static_cast<std::uint8_t>(random & 0xffU);
        random >>= 8U;
    }
    return 0;
}

void FrameCodec::onFrameStart(wslay_event_context* /*context*/,
                              const wslay_event_on_frame_recv_start_arg* frame, void* codec) {
    FrameCodec& that = self(codec);
    that.frameOpcode_ = frame->opcode;
    if (!wslay_is_ctrl_frame(frame->opcode) &&
        frame->payload_length > that.messageLimit_ - that.message_.size()) {
        that.refuseOversized();
    }
}

void FrameCodec::onFrameBytes(wslay_event_context* /*context*/,
                              const wslay_event_on_frame_recv_chunk_arg* chunk, void* codec) {
    FrameCodec& that = self(codec);
    if (that.isViolated()) {
        return;
    }
    if (that.frameOpcode_ == WSLAY_CONNECTION_CLOSE) {
        that.closePayload_.append(text(chunk->data, chunk->data_length));
        if (that.closePayload_.size() >= 2) {
            that.serverCloseCode_ = static_cast<unsigned char>(that.closePayload_[0]) * 256 +
                                    static_cast<unsigned char>(that.closePayload_[1]);
            that.closeReceived_ = isLateRegisteredCode(that.serverCloseCode_) &&
                                  isValidUtf8(std::string_view(that.closePayload_).substr(2));
        }
    } else if (!wslay_is_ctrl_frame(that.frameOpcode_)) {
        that.message_.append(text(chunk->data, chunk->data_length));
    }
}

void FrameCodec::onMessageEnd(wslay_event_context* /*context*/,
                              const wslay_event_on_msg_recv_arg* end, void* codec) {
    FrameCodec& that = self(codec);
    if (end->opcode == WSLAY_CONNECTION_CLOSE) {
        that.closeReceived_ = true;
        that.serverCloseCode_ = end->status_code;
        return;
    }
    if (that.isViolated()) {
        return;
    }
    if (end->opcode == WSLAY_PING) {
        that.writeQueued();
    } else if (end->opcode == WSLAY_PONG) {
        that.events_.emplace_back(Pong{std::string(end->msg, end->msg + end->msg_length)});
    } else if (end->opcode == WSLAY_TEXT_FRAME || end->opcode == WSLAY_BINARY_FRAME) {
        const auto kind = end->opcode == WSLAY_TEXT_FRAME ? SocketMessage::Kind::text
                                                          : SocketMessage::Kind::binary;
        that.events_.emplace_back(SocketMessage{kind, std::exchange(that.message_, {})});
    }
}

void FrameCodec::refuseOversized() {
    queueClose(WSLAY_CODE_MESSAGE_TOO_BIG);
    wslay_event_shutdown_read(context_.get());
}

} // namespace tandrel
