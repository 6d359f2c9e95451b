#pragma once

#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <memory>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tandrel::test {

/// An address of this machine that swallows connections, as broken IPv6 does: a listener whose
/// queue is full.
class BlackHole {
public:
    /// `address` is a literal of either family. Throws std::runtime_error when it cannot be had.
    BlackHole(const std::string& address, std::uint16_t port)
        : family_(address.find(':') == std::string::npos ? AF_INET : AF_INET6)
        , listener_(::socket(family_, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_storage storage{};
        const socklen_t size = fill(storage, address, port);
        const auto* const name = reinterpret_cast<const sockaddr*>(&storage);
        const int one = 1;
        if (family_ == AF_INET6) {
            ::setsockopt(listener_, IPPROTO_IPV6, IPV6_V6ONLY, &one, sizeof one);
        }
        if (::bind(listener_, name, size) != 0 || ::listen(listener_, 0) != 0) {
            ::close(listener_);
            throw std::runtime_error("no listener at " + address);
        }
        for (int& filler : fillers_) {
            filler = ::socket(family_, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            (void)::connect(filler, name, size);
        }
    }
    ~BlackHole() {
        for (const int filler : fillers_) {
            ::close(filler);
        }
        ::close(listener_);
    }
    BlackHole(const BlackHole&) = delete;
    BlackHole& operator=(const BlackHole&) = delete;

private:
    socklen_t fill(sockaddr_storage& storage, const std::string& address,
                   std::uint16_t port) const {
        storage.ss_family = static_cast<sa_family_t>(family_);
        if (family_ == AF_INET6) {
            auto* const name = reinterpret_cast<sockaddr_in6*>(&storage);
            name->sin6_port = htons(port);
            ::inet_pton(family_, address.c_str(), &name->sin6_addr);
            return sizeof *name;
        }
        auto* const name = reinterpret_cast<sockaddr_in*>(&storage);
        name->sin_port = htons(port);
        ::inet_pton(family_, address.c_str(), &name->sin_addr);
        return sizeof *name;
    }

    int family_;
    int listener_;
    std::array<int, 4> fillers_{};
};

/// A server and a black hole at the same port of `address`, which is not the server's own. The port
/// that a server has got may be taken there: then `makeServer`, which returns a unique pointer, is
/// asked for another one. `portOf` takes the server.
template <typename MakeServer, typename PortOf>
auto withBlackHole(const std::string& address, MakeServer makeServer, PortOf portOf) {
    for (int attempts = 10;; --attempts) {
        auto server = makeServer();
        try {
            auto hole = std::make_unique<BlackHole>(address, portOf(*server));
            return std::pair(std::move(server), std::move(hole));
        } catch (const std::runtime_error&) {
            if (attempts == 1) {
                throw;
            }
        }
    }
}

} // namespace tandrel::test
