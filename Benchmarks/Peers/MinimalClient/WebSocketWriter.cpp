#include "WebSocketWriter.h"

#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr std::uint8_t binaryOpcode = 0x2;
constexpr std::uint8_t closeOpcode = 0x8;
constexpr std::uint8_t pingOpcode = 0x9;
constexpr std::size_t replyLimit = 16384;

[[noreturn]] void failWithErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int connectToLoopback(std::uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        failWithErrno("socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int enabled = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &enabled, sizeof enabled);
    // The sockets interface names every address by its common head.
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        const int reason = errno;
        close(descriptor);
        errno = reason;
        failWithErrno("connect");
    }
    return descriptor;
}

} // namespace

WebSocketWriter::WebSocketWriter(std::uint16_t port, const std::string& token)
    : descriptor_(connectToLoopback(port)) {
    try {
        upgrade(port, token);
        sendFrame(pingOpcode, {});
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

WebSocketWriter::~WebSocketWriter() {
    try {
        constexpr std::array normalClosure{std::byte{1000 >> 8}, std::byte{1000 & 0xFF}};
        sendFrame(closeOpcode, normalClosure);
    } catch (const std::exception&) {
        // The server went first; there is nobody left to tell.
    }
    close(descriptor_);
}

void WebSocketWriter::upgrade(std::uint16_t port, const std::string& token) {
    // The key only proves to the client that it talks to a WebSocket server, so one will do here.
    const std::string request = "GET /tandrel-stream?token=" + token +
                                " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                                "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                "Sec-WebSocket-Key: AAECAwQFBgcICQoLDA0ODw==\r\n"
                                "Sec-WebSocket-Version: 13\r\n\r\n";
    sendAll(std::as_bytes(std::span(request)));
    std::string reply;
    while (!reply.ends_with("\r\n\r\n")) {
        char character = 0;
        const ssize_t count = recv(descriptor_, &character, 1, 0);
        if (count < 0) {
            failWithErrno("recv");
        }
        if (count == 0 || reply.size() == replyLimit) {
            throw std::runtime_error("the server gave no complete reply to the upgrade");
        }
        reply.push_back(character);
    }
    if (!reply.starts_with("HTTP/1.1 101 ")) {
        throw std::runtime_error("the server refused the upgrade: " +
                                 reply.substr(0, reply.find('\r')));
    }
}

void WebSocketWriter::sendBinary(std::span<const std::byte> payload) {
    sendFrame(binaryOpcode, payload);
}

void WebSocketWriter::sendFrame(std::uint8_t opcode, std::span<const std::byte> payload) {
    constexpr std::uint8_t finalFragment = 0x80;
    constexpr std::uint8_t masked = 0x80;
    constexpr std::size_t longestShort = 125;
    constexpr std::size_t longestMedium = 0xFFFF;
    const std::size_t length = payload.size();
    if (length > longestMedium) {
        throw std::length_error("the message does not fit a frame with a 16-bit length");
    }
    frame_.clear();
    frame_.push_back(std::byte(finalFragment | opcode));
    if (length <= longestShort) {
        frame_.push_back(std::byte(masked | length));
    } else {
        frame_.push_back(std::byte(masked | 126U));
        frame_.push_back(std::byte(length >> 8U));
        frame_.push_back(std::byte(length & 0xFFU));
    }
    const auto random = static_cast<std::uint32_t>(masks_());
    std::array<std::byte, 4> mask{};
    for (std::size_t index = 0; index < mask.size(); ++index) {
        mask[index] = std::byte((random >> (8 * index)) & 0xFFU);
        frame_.push_back(mask[index]);
    }
    const std::size_t head = frame_.size();
    frame_.resize(head + length);
    for (std::size_t index = 0; index < length; ++index) {
        frame_[head + index] = payload[index] ^ mask[index % mask.size()];
    }
    sendAll(frame_);
}

void WebSocketWriter::sendAll(std::span<const std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            failWithErrno("send");
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

bool WebSocketWriter::discardInput() {
    std::array<std::byte, 4096> buffer;
    const ssize_t count = recv(descriptor_, buffer.data(), buffer.size(), MSG_DONTWAIT);
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}
