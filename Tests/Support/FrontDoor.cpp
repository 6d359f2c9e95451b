#include "Support/FrontDoor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tandrel::test {

namespace {

// Small, so that a door that is held is soon felt.
constexpr int socketBuffer = 8 * 1024;
constexpr std::size_t roomOnTheWay = 8 * std::size_t{1024};

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int newSocket() {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    return descriptor;
}

void reset(int descriptor) {
    const linger atOnce{1, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    ::close(descriptor);
}

/// What has come from one end and not yet gone to the other.
struct Way {
    int from = -1;
    int to = -1;
    std::string bytes;
    bool isEnded = false;
    bool isEndPassedOn = false;

    [[nodiscard]] bool takesMore() const { return !isEnded && bytes.size() < roomOnTheWay; }
    [[nodiscard]] bool hasSomethingToGive() const {
        return !bytes.empty() || (isEnded && !isEndPassedOn);
    }

    /// Both return false when the connection is broken.
    bool take() {
        std::array<char, roomOnTheWay> piece{};
        const ssize_t count = ::recv(from, piece.data(), piece.size(), 0);
        if (count > 0) {
            bytes.append(piece.data(), static_cast<std::size_t>(count));
        } else if (count == 0) {
            isEnded = true;
        }
        return count >= 0 || errno == EAGAIN || errno == EINTR;
    }
    bool give() {
        if (!bytes.empty()) {
            const ssize_t count = ::send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count < 0) {
                return errno == EAGAIN || errno == EINTR || errno == ENOTCONN;
            }
            bytes.erase(0, static_cast<std::size_t>(count));
        }
        if (bytes.empty() && isEnded && !isEndPassedOn) {
            isEndPassedOn = true;
            ::shutdown(to, SHUT_WR);
        }
        return true;
    }
};

} // namespace

struct FrontDoor::Passage {
    Way toServer;
    Way toClient;

    Passage(int client, int server) {
        toServer.from = client;
        toServer.to = server;
        toClient.from = server;
        toClient.to = client;
    }

    [[nodiscard]] int client() const { return toServer.from; }
    [[nodiscard]] int server() const { return toServer.to; }

    [[nodiscard]] short eventsOf(int end, bool isHeld) const {
        const Way& incoming = end == client() ? toServer : toClient;
        const Way& outgoing = end == client() ? toClient : toServer;
        const bool takes = incoming.takesMore() && !(isHeld && end == client());
        return static_cast<short>((takes ? POLLIN : 0) |
                                  (outgoing.hasSomethingToGive() ? POLLOUT : 0));
    }

    /// Passes on what there is; false when the passage is at its end.
    bool pass(short clientEvents, short serverEvents, bool isHeld) {
        bool isWhole = true;
        if ((clientEvents & (POLLIN | POLLHUP | POLLERR)) != 0 && !isHeld && toServer.takesMore()) {
            isWhole = toServer.take();
        }
        if ((serverEvents & (POLLIN | POLLHUP | POLLERR)) != 0 && toClient.takesMore()) {
            isWhole = toClient.take() && isWhole;
        }
        if ((clientEvents & POLLOUT) != 0) {
            isWhole = toClient.give() && isWhole;
        }
        if ((serverEvents & POLLOUT) != 0) {
            isWhole = toServer.give() && isWhole;
        }
        // A client that is gone while the door is held would wake this thread without end.
        const bool isAbandoned = isHeld && (clientEvents & (POLLHUP | POLLERR)) != 0;
        return isWhole && !isAbandoned && !isOver();
    }

    /// Whether both ends have ended it in order.
    [[nodiscard]] bool isOver() const { return toServer.isEndPassedOn && toClient.isEndPassedOn; }

    void end() const {
        for (const int descriptor : {client(), server()}) {
            if (isOver()) {
                ::close(descriptor);
            } else {
                reset(descriptor);
            }
        }
    }
};

FrontDoor::FrontDoor(std::uint16_t serverPort)
    : serverPort_(serverPort)
    , wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    listen();
    thread_ = std::thread([this] { run(); });
}

FrontDoor::~FrontDoor() {
    order([this] { isOver_ = true; });
    thread_.join();
    for (const Passage& passage : passages_) {
        passage.end();
    }
    if (listener_ >= 0) {
        ::close(listener_);
    }
    ::close(wake_);
}

std::string FrontDoor::url() const {
    return "http://127.0.0.1:" + std::to_string(port_);
}

void FrontDoor::shut() {
    order([this] {
        reset(std::exchange(listener_, -1));
        for (const Passage& passage : passages_) {
            passage.end();
        }
        passages_.clear();
    });
}

void FrontDoor::open() {
    order([this] { listen(); });
}

void FrontDoor::hold() {
    order([this] { isHeld_ = true; });
}

void FrontDoor::letGo() {
    order([this] { isHeld_ = false; });
}

void FrontDoor::order(std::function<void()> work) {
    std::packaged_task<void()> task(std::move(work));
    std::future<void> done = task.get_future();
    {
        const std::lock_guard lock(mutex_);
        orders_.push_back(std::move(task));
    }
    const std::uint64_t one = 1;
    (void)!::write(wake_, &one, sizeof one);
    done.get();
}

void FrontDoor::listen() {
    listener_ = newSocket();
    const int yes = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    // Before there is a connection, whose window it decides.
    ::setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &socketBuffer, sizeof socketBuffer);
    sockaddr_in address = loopback(port_);
    socklen_t size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_, name, size) != 0 || ::listen(listener_, SOMAXCONN) != 0 ||
        ::getsockname(listener_, name, &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "no door");
    }
    port_ = ntohs(address.sin_port);
}

void FrontDoor::admit() {
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client < 0) {
        return;
    }
    const int server = newSocket();
    ::setsockopt(server, SOL_SOCKET, SO_SNDBUF, &socketBuffer, sizeof socketBuffer);
    const sockaddr_in address = loopback(serverPort_);
    const auto* const name = reinterpret_cast<const sockaddr*>(&address);
    if (::connect(server, name, sizeof address) != 0 && errno != EINPROGRESS) {
        reset(client);
        ::close(server);
        return;
    }
    passages_.emplace_back(client, server);
}

void FrontDoor::run() {
    while (!isOver_) {
        std::vector<pollfd> waiting{{wake_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const Passage& passage : passages_) {
            for (const int end : {passage.client(), passage.server()}) {
                const short events = passage.eventsOf(end, isHeld_);
                // An end that nothing is wanted of is left out, or its end would wake this thread
                // without end.
                waiting.push_back({events != 0 ? end : -1, events, 0});
            }
        }
        ::poll(waiting.data(), waiting.size(), -1);

        std::vector<Passage> open;
        for (std::size_t index = 0; index < passages_.size(); ++index) {
            const short client = waiting[2 + 2 * index].revents;
            const short server = waiting[3 + 2 * index].revents;
            if (passages_[index].pass(client, server, isHeld_)) {
                open.push_back(std::move(passages_[index]));
            } else {
                passages_[index].end();
            }
        }
        passages_ = std::move(open);
        if ((waiting[1].revents & POLLIN) != 0) {
            admit();
        }
        if ((waiting[0].revents & POLLIN) != 0) {
            std::uint64_t count = 0;
            (void)!::read(wake_, &count, sizeof count);
            std::vector<std::packaged_task<void()>> orders;
            {
                const std::lock_guard lock(mutex_);
                orders.swap(orders_);
            }
            for (auto& order : orders) {
                order();
            }
        }
    }
}

} // namespace tandrel::test
