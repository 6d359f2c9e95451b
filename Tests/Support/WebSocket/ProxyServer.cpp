#include "Support/WebSocket/ProxyServer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tandrel::test {

namespace {

/// A connection to `port` of this machine; closed with the object.
class Onward {
public:
    explicit Onward(const std::string& port)
        : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port)));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        isConnected_ = ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address),
                                 sizeof address) == 0;
    }
    ~Onward() { ::close(descriptor_); }
    Onward(const Onward&) = delete;
    Onward& operator=(const Onward&) = delete;

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] bool isConnected() const { return isConnected_; }
    [[nodiscard]] bool write(const std::string& bytes) const {
        return ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }

private:
    int descriptor_;
    bool isConnected_ = false;
};

std::string base64(const std::string& text) {
    std::string encoded(4 * (text.size() + 2) / 3 + 4, '\0');
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                                     reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
    encoded.resize(static_cast<std::size_t>(size));
    return encoded;
}

/// The port in "host:port", or the usual one of http.
std::string portOf(const std::string& authority) {
    const auto colon = authority.rfind(':');
    return colon == std::string::npos ? "80" : authority.substr(colon + 1);
}

std::string wordAt(const std::string& line, std::size_t start) {
    return line.substr(start, line.find(' ', start) - start);
}

/// `head`, whose target is an absolute address, as the server itself takes it: the path alone
/// (RFC 9112, section 3.2.1), and for one answer, since what follows is passed on unread.
std::string forServer(const std::string& head) {
    const std::size_t target = head.find(' ') + 1;
    const std::size_t path = head.find('/', head.find("://") + 3);
    std::string changed = head.substr(0, target) + head.substr(path);
    const std::string name = "\r\nConnection: ";
    const std::size_t line = changed.find(name);
    if (line != std::string::npos) {
        changed.erase(line, changed.find("\r\n", line + 2) - line);
    }
    return changed.insert(changed.size() - 4, name + "close");
}

/// Exactly `size` bytes; fewer at the end of the connection.
std::string readExactly(Peer& peer, std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) {
        const std::string more = peer.readSome(size - bytes.size());
        if (more.empty()) {
            break;
        }
        bytes += more;
    }
    return bytes;
}

ScriptedServer::Options serverOptions(std::size_t takesAtMost) {
    ScriptedServer::Options options;
    if (takesAtMost < SIZE_MAX) {
        // A small window, so that a proxy that stops reading is soon felt.
        options.receiveBuffer = 4096;
    }
    return options;
}

} // namespace

ProxyServer::ProxyServer()
    : ProxyServer(Options()) {}

ProxyServer::ProxyServer(Options options)
    : options_(std::move(options))
    , server_([this](Peer& peer) { serve(peer); }, serverOptions(options_.takesAtMost)) {}

ProxyServer::Options ProxyServer::socks5() {
    Options options;
    options.kind = Kind::socks5;
    return options;
}

ProxyServer::Options ProxyServer::asking(const std::string& credentials) {
    Options options;
    options.credentials = credentials;
    return options;
}

ProxyServer::Options ProxyServer::taking(std::size_t atMost) {
    Options options;
    options.takesAtMost = atMost;
    return options;
}

ProxyServer::Options ProxyServer::silent() {
    Options options;
    options.isSilent = true;
    return options;
}

std::string ProxyServer::url(const std::string& credentials) const {
    const std::string scheme = options_.kind == Kind::http ? "http://" : "socks5://";
    return scheme + (credentials.empty() ? "" : credentials + '@') +
           "127.0.0.1:" + std::to_string(port());
}

std::vector<std::string> ProxyServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void ProxyServer::note(const std::string& request) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
}

void ProxyServer::serve(Peer& peer) {
    ++connections_;
    if (options_.isSilent) {
        peer.stall();
    } else if (options_.kind == Kind::http) {
        serveHttp(peer);
    } else {
        serveSocks(peer);
    }
}

bool ProxyServer::isAllowed(const std::string& head) const {
    return options_.credentials.empty() ||
           head.find("\r\nProxy-Authorization: Basic " + base64(options_.credentials) + "\r\n") !=
               std::string::npos;
}

void ProxyServer::serveHttp(Peer& peer) {
    for (std::string head = peer.readRequest(); !head.empty(); head = peer.readRequest()) {
        note(head);
        if (!isAllowed(head)) {
            peer.write("HTTP/1.1 407 Proxy Authentication Required\r\n"
                       "Proxy-Authenticate: Basic realm=\"proxy\"\r\nContent-Length: 0\r\n\r\n");
            continue;
        }
        const std::string method = wordAt(head, 0);
        std::string target = wordAt(head, method.size() + 1);
        if (method == "CONNECT") {
            relay(peer, portOf(target), {});
        } else {
            const auto authority = target.find("://") + 3;
            target = target.substr(authority, target.find('/', authority) - authority);
            relay(peer, portOf(target), forServer(head));
        }
        return;
    }
}

void ProxyServer::serveSocks(Peer& peer) {
    // RFC 1928: the methods offered, one of them chosen ("none needed"), then the request.
    const std::string greeting = readExactly(peer, 2);
    if (greeting.size() < 2) {
        return;
    }
    (void)readExactly(peer, static_cast<unsigned char>(greeting[1]));
    peer.write(std::string("\x05\x00", 2));
    const std::string request = readExactly(peer, 5);
    constexpr char byName = 3;
    if (request.size() < 5 || request[3] != byName) {
        return;
    }
    const auto length = static_cast<unsigned char>(request[4]);
    const std::string rest = readExactly(peer, length + std::size_t{2});
    if (rest.size() < length + std::size_t{2}) {
        return;
    }
    const int port = static_cast<unsigned char>(rest[length]) * 256 +
                     static_cast<unsigned char>(rest[length + std::size_t{1}]);
    note(rest.substr(0, length) + ':' + std::to_string(port));
    relay(peer, std::to_string(port), {});
}

void ProxyServer::relay(Peer& peer, const std::string& port, const std::string& first) const {
    const Onward onward(port);
    const bool isTunnel = first.empty();
    if (!onward.isConnected()) {
        peer.write(options_.kind == Kind::http
                       ? "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n"
                       : std::string("\x05\x05\x00\x01\x00\x00\x00\x00\x00\x00", 10));
        return;
    }
    if (!isTunnel) {
        // With as much of the content as has come with the head.
        (void)onward.write(first + peer.takeRead());
    } else if (options_.kind == Kind::http) {
        peer.write("HTTP/1.1 200 Connection established\r\n\r\n");
    } else {
        peer.write(std::string("\x05\x00\x00\x01\x00\x00\x00\x00\x00\x00", 10));
    }
    std::size_t taken = 0;
    for (;;) {
        if (taken >= options_.takesAtMost) {
            peer.stall();
            return;
        }
        std::array<pollfd, 2> ends{
            {{peer.descriptor(), POLLIN, 0}, {onward.descriptor(), POLLIN, 0}}};
        ::poll(ends.data(), ends.size(), -1);
        if (ends[0].revents != 0) {
            const std::string bytes = peer.readSome(4096);
            taken += bytes.size();
            if (bytes.empty() || !onward.write(bytes)) {
                return;
            }
        }
        if (ends[1].revents != 0) {
            std::string bytes(4096, '\0');
            const auto count = ::recv(onward.descriptor(), bytes.data(), bytes.size(), 0);
            if (count <= 0 || !peer.write({bytes.data(), static_cast<std::size_t>(count)})) {
                return;
            }
        }
    }
}

} // namespace tandrel::test
