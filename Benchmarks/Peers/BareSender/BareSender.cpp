#include "Peers/BareSender/BareSender.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tandrel::bench {

namespace {

/// 682 bytes of sound and 8 of their frame.
constexpr std::size_t messageBytes = 690;

void require(bool condition, const char* what) {
    if (!condition) {
        std::perror(what);
        std::abort();
    }
}

} // namespace

BareSender::BareSender(std::function<void()> onSent)
    : onSent_(std::move(onSent))
    , wakeUps_(::eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC)) {
    require(bool(wakeUps_), "eventfd");
    connectOverLoopback();
    receiver_ = std::thread([this] { discardArrivals(); });
    sender_ = std::thread([this] { run(); });
}

BareSender::~BareSender() {
    wake();
    sender_.join();
    ::shutdown(connection_.get(), SHUT_WR);
    receiver_.join();
}

void BareSender::send() {
    ++asked_;
    wake();
}

void BareSender::connectOverLoopback() {
    const FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    connection_ = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    require(::bind(listener.get(), generic, size) == 0, "bind");
    require(::listen(listener.get(), 1) == 0, "listen");
    require(::getsockname(listener.get(), generic, &size) == 0, "getsockname");
    require(::connect(connection_.get(), generic, size) == 0, "connect");
    const int one = 1;
    ::setsockopt(connection_.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    otherEnd_ = FileDescriptor(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    require(bool(otherEnd_), "accept");
}

void BareSender::wake() {
    const std::uint64_t one = 1;
    require(::write(wakeUps_.get(), &one, sizeof one) == sizeof one, "write to the counter");
}

void BareSender::run() {
    const std::array<char, messageBytes> message{};
    std::uint64_t sent = 0;
    for (;;) {
        std::uint64_t one = 0;
        require(::read(wakeUps_.get(), &one, sizeof one) == sizeof one, "read from the counter");
        if (sent == asked_) {
            return; // woken for the end
        }
        require(::write(connection_.get(), message.data(), message.size()) ==
                    static_cast<ssize_t>(message.size()),
                "write to the connection");
        ++sent;
        onSent_();
    }
}

void BareSender::discardArrivals() {
    std::array<char, 65536> arrived{};
    while (::read(otherEnd_.get(), arrived.data(), arrived.size()) > 0) {
    }
}

} // namespace tandrel::bench
