#include "Support/FrontDoor.h"

#include "Support/WaitUntil.h"
#include "Support/WebSocket/ScriptedServer.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace tandrel::test {
namespace {

/// A client that knocks at a door.
class Client {
public:
    /// What its own system keeps for it is not much either.
    static constexpr int sendBuffer = 8 * 1024;

    explicit Client(const std::string& url)
        : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port =
            htons(static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1))));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        isConnected_ = ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address),
                                 sizeof address) == 0;
    }
    ~Client() { ::close(descriptor_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] bool isConnected() const { return isConnected_; }
    void write(const std::string& bytes) const {
        EXPECT_EQ(::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// How much goes out until nothing more is taken; `most` at the most.
    [[nodiscard]] std::size_t writeUntilStuck(std::size_t most) const {
        const timeval limit{0, 300'000};
        ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        const std::string piece(4096, 'x');
        std::size_t total = 0;
        while (total < most) {
            const ssize_t count = ::send(descriptor_, piece.data(), piece.size(), MSG_NOSIGNAL);
            if (count < 0) {
                EXPECT_EQ(errno, EAGAIN);
                break;
            }
            total += static_cast<std::size_t>(count);
        }
        return total;
    }
    void endWriting() const { ::shutdown(descriptor_, SHUT_WR); }
    /// So many bytes, fewer at the end; what ended it is in `error`, 0 for an end in order.
    [[nodiscard]] std::string read(std::size_t size) {
        std::string bytes;
        std::array<char, 4096> piece{};
        while (bytes.size() < size) {
            const ssize_t count = ::recv(descriptor_, piece.data(), piece.size(), 0);
            error = count < 0 ? errno : 0;
            if (count <= 0) {
                break;
            }
            bytes.append(piece.data(), static_cast<std::size_t>(count));
        }
        return bytes;
    }
    int error = 0;

private:
    int descriptor_;
    bool isConnected_ = false;
};

/// Sends back what comes, then ends.
void echo(Peer& peer) {
    for (std::string bytes = peer.readSome(); !bytes.empty(); bytes = peer.readSome()) {
        peer.write(bytes);
    }
    peer.finish();
}

TEST(FrontDoor, LetsEverythingThroughInOrderBothWaysToTheEnd) {
    const ScriptedServer server(echo);
    const FrontDoor door(server.port());
    Client client(door.url());
    ASSERT_TRUE(client.isConnected());
    std::string sent;
    for (int number = 0; number < 20'000; ++number) {
        sent += std::to_string(number);
    }
    std::string received;
    for (std::size_t at = 0; at < sent.size(); at += 5000) {
        const std::string piece = sent.substr(at, 5000);
        client.write(piece);
        received += client.read(piece.size());
    }
    EXPECT_EQ(received, sent);
    client.endWriting();
    EXPECT_EQ(client.read(1), "");
    EXPECT_EQ(client.error, 0);
}

TEST(FrontDoor, ThatIsShutBreaksWhatWasOpenAndRefusesWhatComes) {
    const ScriptedServer server(echo);
    FrontDoor door(server.port());
    Client client(door.url());
    client.write("hello");
    ASSERT_EQ(client.read(5), "hello");
    door.shut();
    EXPECT_EQ(client.read(1), "");
    EXPECT_EQ(client.error, ECONNRESET);
    EXPECT_FALSE(Client(door.url()).isConnected());
    door.open();
    Client next(door.url());
    ASSERT_TRUE(next.isConnected());
    next.write("again");
    EXPECT_EQ(next.read(5), "again");
}

TEST(FrontDoor, ThatIsHeldTakesAFewKilobytesAndPassesThemOnLater) {
    std::atomic<std::size_t> arrived{0};
    const ScriptedServer server([&arrived](Peer& peer) {
        for (std::string bytes = peer.readSome(); !bytes.empty(); bytes = peer.readSome()) {
            arrived += bytes.size();
        }
    });
    FrontDoor door(server.port());
    const Client client(door.url());
    client.write("hello");
    ASSERT_TRUE(waitUntil([&] { return arrived == 5; }));
    door.hold();
    constexpr std::size_t tooMuch = 512 * std::size_t{1024};
    const std::size_t taken = client.writeUntilStuck(tooMuch);
    EXPECT_LT(taken, tooMuch);
    EXPECT_EQ(arrived, 5U);
    door.letGo();
    EXPECT_TRUE(waitUntil([&] { return arrived == 5 + taken; })) << arrived << " of " << taken;
}

} // namespace
} // namespace tandrel::test
