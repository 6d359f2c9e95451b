#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

/// Writes RFC 6455 frames to a server on this machine, over a plain blocking socket. It trusts the
/// server: beyond the status of the upgrade nothing that it says is looked at.
class WebSocketWriter {
public:
    /// Connects, upgrades and sends one ping. Throws `std::system_error` or `std::runtime_error`.
    WebSocketWriter(std::uint16_t port, const std::string& token);
    WebSocketWriter(const WebSocketWriter&) = delete;
    WebSocketWriter& operator=(const WebSocketWriter&) = delete;
    /// Sends a close frame with code 1000.
    ~WebSocketWriter();

    /// Sends one message. Throws `std::system_error`.
    void sendBinary(std::span<const std::byte> payload);

    /// Reads and forgets what the server sent; false when it has closed.
    bool discardInput();

    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    void upgrade(std::uint16_t port, const std::string& token);
    void sendFrame(std::uint8_t opcode, std::span<const std::byte> payload);
    void sendAll(std::span<const std::byte> bytes) const;

    int descriptor_;
    std::minstd_rand masks_{std::random_device{}()};
    std::vector<std::byte> frame_;
};
