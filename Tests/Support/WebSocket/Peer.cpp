#include "Support/WebSocket/Peer.h"

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tandrel::test {

namespace {

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) {
        value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
}

void appendBigEndian(std::string& out, std::uint64_t value, unsigned bytes) {
    for (unsigned shift = bytes * 8; shift > 0; shift -= 8) {
        out += static_cast<char>(value >> (shift - 8) & 0xffU);
    }
}

/// Computed with another library than the client's own.
std::string acceptValue(const std::string& key) {
    const std::string text = key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
    SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
    std::array<unsigned char, 64> encoded{};
    const int length = EVP_EncodeBlock(encoded.data(), digest.data(), SHA_DIGEST_LENGTH);
    return {encoded.data(), encoded.data() + length};
}

std::string headerValue(const std::string& request, const std::string& name) {
    const std::string start = "\r\n" + name + ": ";
    const std::size_t found = request.find(start);
    if (found == std::string::npos) {
        return {};
    }
    const std::size_t begin = found + start.size();
    return request.substr(begin, request.find("\r\n", begin) - begin);
}

} // namespace

int WireFrame::closeCode() const {
    return payload.size() < 2 ? 0 : static_cast<int>(bigEndian(payload.substr(0, 2)));
}

std::string serverFrame(std::uint8_t opcode, std::string_view payload, bool fin) {
    std::string frame;
    frame += static_cast<char>((fin ? 0x80U : 0U) | opcode);
    if (payload.size() < 126) {
        frame += static_cast<char>(payload.size());
    } else if (payload.size() < 65536) {
        frame += '\x7e';
        appendBigEndian(frame, payload.size(), 2);
    } else {
        frame += '\x7f';
        appendBigEndian(frame, payload.size(), 8);
    }
    return frame.append(payload);
}

std::string closeFrame(std::uint16_t code) {
    std::string payload;
    appendBigEndian(payload, code, 2);
    return serverFrame(opcode::close, payload);
}

Peer::Peer(int descriptor, ssl_ctx_st* tls)
    : descriptor_(descriptor) {
    if (tls != nullptr) {
        tls_ = SSL_new(tls);
        SSL_set_fd(tls_, descriptor);
    }
}

Peer::~Peer() {
    if (tls_ != nullptr) {
        SSL_free(tls_);
    }
    close();
}

bool Peer::accept() {
    return tls_ == nullptr || SSL_accept(tls_) == 1;
}

std::string Peer::readSome(std::size_t limit) {
    if (!buffer_.empty()) {
        std::string bytes = buffer_.substr(0, limit);
        buffer_.erase(0, bytes.size());
        return bytes;
    }
    std::string bytes(limit, '\0');
    const auto count = tls_ != nullptr ? SSL_read(tls_, bytes.data(), static_cast<int>(limit))
                                       : ::recv(descriptor_, bytes.data(), limit, 0);
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

bool Peer::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = tls_ != nullptr
                               ? SSL_write(tls_, bytes.data(), static_cast<int>(bytes.size()))
                               : ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool Peer::fill() {
    std::string bytes(64 * 1024, '\0');
    const auto count = tls_ != nullptr
                           ? SSL_read(tls_, bytes.data(), static_cast<int>(bytes.size()))
                           : ::recv(descriptor_, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        return false;
    }
    buffer_.append(bytes, 0, static_cast<std::size_t>(count));
    return true;
}

std::string Peer::readRequest() {
    std::size_t end = buffer_.find("\r\n\r\n");
    while (end == std::string::npos) {
        if (!fill()) {
            return {};
        }
        end = buffer_.find("\r\n\r\n");
    }
    std::string head = buffer_.substr(0, end + 4);
    buffer_.erase(0, end + 4);
    return head;
}

std::string Peer::acceptance(const std::string& request, const std::string& connection) {
    return "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: " + connection +
           "\r\nSec-WebSocket-Accept: " + acceptValue(headerValue(request, "Sec-WebSocket-Key")) +
           "\r\n\r\n";
}

bool Peer::upgrade() {
    const std::string request = readRequest();
    return !request.empty() && write(acceptance(request));
}

std::optional<WireFrame> Peer::readFrame() {
    const auto need = [this](std::size_t size) {
        while (buffer_.size() < size) {
            if (!fill()) {
                return false;
            }
        }
        return true;
    };
    if (!need(2)) {
        return std::nullopt;
    }
    const auto first = static_cast<unsigned char>(buffer_[0]);
    const auto second = static_cast<unsigned char>(buffer_[1]);
    const bool masked = (second & 0x80U) != 0;
    std::uint64_t length = second & 0x7fU;
    std::size_t header = 2;
    if (length >= 126) {
        const std::size_t extra = length == 126 ? 2 : 8;
        if (!need(header + extra)) {
            return std::nullopt;
        }
        length = bigEndian(std::string_view(buffer_).substr(header, extra));
        header += extra;
    }
    const std::size_t maskAt = header;
    header += masked ? 4 : 0;
    if (!need(header + length)) {
        return std::nullopt;
    }
    WireFrame frame{(first & 0x80U) != 0, static_cast<std::uint8_t>(first & 0x0fU),
                    buffer_.substr(header, length)};
    for (std::size_t index = 0; masked && index < frame.payload.size(); ++index) {
        frame.payload[index] =
            static_cast<char>(frame.payload[index] ^ buffer_[maskAt + index % 4]);
    }
    buffer_.erase(0, header + length);
    return frame;
}

std::vector<WireFrame> Peer::serveUntilEnd() {
    std::vector<WireFrame> frames;
    while (auto frame = readFrame()) {
        if (frame->opcode == opcode::ping) {
            write(serverFrame(opcode::pong, frame->payload));
            continue;
        }
        const bool isClose = frame->opcode == opcode::close;
        if (isClose) {
            write(serverFrame(opcode::close, frame->payload));
        }
        frames.push_back(std::move(*frame));
        if (isClose) {
            finish();
            break;
        }
    }
    return frames;
}

bool Peer::openWithPong() {
    if (!upgrade()) {
        return false;
    }
    const auto ping = readFrame();
    return ping && ping->opcode == opcode::ping && write(serverFrame(opcode::pong, ping->payload));
}

void Peer::finish() {
    if (tls_ != nullptr) {
        SSL_shutdown(tls_);
    }
    ::shutdown(descriptor_, SHUT_WR);
    std::array<char, 4096> discarded{};
    while (::recv(descriptor_, discarded.data(), discarded.size(), 0) > 0) {
    }
}

void Peer::reset() {
    const std::lock_guard lock(mutex_);
    const linger now{1, 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    ::close(descriptor_);
    descriptor_ = -1;
}

void Peer::close() {
    const std::lock_guard lock(mutex_);
    if (descriptor_ >= 0) {
        ::close(std::exchange(descriptor_, -1));
    }
}

void Peer::stall() {
    stopped_.wait(false);
}

void Peer::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    stopped_.notify_all();
    if (descriptor_ >= 0) {
        ::shutdown(descriptor_, SHUT_RDWR);
    }
}

} // namespace tandrel::test
