#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct ssl_ctx_st;
struct ssl_st;

namespace tandrel::test {

/// One frame as it stands on the wire, unmasked.
struct WireFrame {
    bool fin = true;
    std::uint8_t opcode = 0;
    std::string payload;

    /// The code of a close frame, 0 without one.
    [[nodiscard]] int closeCode() const;
};

namespace opcode {
inline constexpr std::uint8_t continuation = 0x0;
inline constexpr std::uint8_t text = 0x1;
inline constexpr std::uint8_t binary = 0x2;
inline constexpr std::uint8_t close = 0x8;
inline constexpr std::uint8_t ping = 0x9;
inline constexpr std::uint8_t pong = 0xa;
} // namespace opcode

/// The bytes of a server's frame (unmasked).
[[nodiscard]] std::string serverFrame(std::uint8_t opcode, std::string_view payload,
                                      bool fin = true);
/// The bytes of a server's close frame.
[[nodiscard]] std::string closeFrame(std::uint16_t code);

/// One accepted connection, served by blocking calls on a thread of its own; plain or TLS. All
/// calls return when the server stops.
class Peer {
public:
    Peer(int descriptor, ssl_ctx_st* tls);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// Whether the TLS handshake succeeded; true without TLS.
    [[nodiscard]] bool accept();

    /// What has come in, at most `limit` bytes; empty at the end of the connection.
    [[nodiscard]] std::string readSome(std::size_t limit = 64 * 1024);
    /// What has been read beyond the last head or frame; it does not wait for more.
    [[nodiscard]] std::string takeRead() { return std::exchange(buffer_, {}); }
    /// Whether all of `bytes` went out.
    bool write(std::string_view bytes);

    /// The head of the client's request, up to and with the empty line.
    [[nodiscard]] std::string readRequest();
    /// Reads the request and accepts the upgrade; whether that worked.
    bool upgrade();
    /// The reply that accepts `request`, with `connection` as its Connection header.
    [[nodiscard]] static std::string acceptance(const std::string& request,
                                                const std::string& connection = "Upgrade");
    /// The next frame of the client's; nothing at the end of the connection.
    [[nodiscard]] std::optional<WireFrame> readFrame();
    /// Reads frames, answering pings and a close frame, until the end; returns the other frames,
    /// the client's close frame included.
    std::vector<WireFrame> serveUntilEnd();
    /// Upgrades and answers the client's ping.
    bool openWithPong();

    /// Sends FIN, and waits for the client's.
    void finish();
    /// Cuts the connection with RST; what was written before has been delivered.
    void reset();
    /// Stays, without reading, until the server stops.
    void stall();
    [[nodiscard]] int descriptor() const { return descriptor_; }

    // For the server.
    /// Ends every call, present and to come.
    void stop();
    void close();

private:
    [[nodiscard]] bool fill();

    std::mutex mutex_;
    int descriptor_;
    ssl_st* tls_ = nullptr;
    std::string buffer_;
    std::atomic<bool> stopped_{false};
};

} // namespace tandrel::test
