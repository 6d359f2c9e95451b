#include "Platform/WebSocket/AddressRace.h"

#include "Platform/WebSocket/SocketLimits.h"
#include "Support/BlackHole.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTcpServer>

#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::BlackHole;
using testing::ElementsAre;

class AddressRaceTest : public testing::Test {
protected:
    /// Runs a race to its end.
    void run(const QStringList& addresses, quint16 port) {
        QList<QHostAddress> hosts;
        for (const QString& address : addresses) {
            hosts.append(QHostAddress(address));
        }
        race_.reset(new AddressRace(hosts, port, headStart_, [this] {
            ++sockets_;
            return SocketPointer(new QTcpSocket);
        }));
        QObject::connect(race_.get(), &AddressRace::won, race_.get(), [this] {
            winner_ = race_->takeWinner();
            ++ends_;
        });
        QObject::connect(race_.get(), &AddressRace::failed, race_.get(),
                         [this](const QString& why) {
                             reason_ = why;
                             ++ends_;
                         });
        timer_.start();
        race_->start();
        while (ends_ == 0 && timer_.elapsed() < 20'000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        }
        seconds_ = static_cast<double>(timer_.elapsed()) / 1000;
        QCoreApplication::processEvents();
        EXPECT_EQ(ends_, 1);
    }

    void TearDown() override {
        winner_.reset();
        race_.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    std::chrono::milliseconds headStart_ = SocketLimits().nextAddress;
    QElapsedTimer timer_;
    double seconds_ = 0;
    int ends_ = 0;
    int sockets_ = 0;
    QString reason_;
    SocketPointer winner_;
    std::unique_ptr<AddressRace, LaterDeleter> race_;
};

TEST_F(AddressRaceTest, ABrokenFirstAddressCostsItsHeadStart) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    const BlackHole hole("127.0.0.2", server.serverPort());
    run({QStringLiteral("127.0.0.2"), QStringLiteral("127.0.0.1")}, server.serverPort());
    std::printf("an address that swallows connections costs %.3f s\n", seconds_);
    ASSERT_NE(winner_, nullptr);
    EXPECT_EQ(winner_->peerAddress(), QHostAddress(QHostAddress::LocalHost));
    EXPECT_GE(seconds_, 0.2) << "the first address had its head start";
    EXPECT_LE(headStart_, 500ms);
}

TEST_F(AddressRaceTest, BrokenIpv6YieldsToTheOtherFamily) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    // Addresses for documentation, which lead nowhere (RFC 3849).
    run({QStringLiteral("2001:db8::1"), QStringLiteral("2001:db8::2"), QStringLiteral("127.0.0.1")},
        server.serverPort());
    std::printf("broken IPv6 costs %.3f s\n", seconds_);
    EXPECT_NE(winner_, nullptr);
}

TEST_F(AddressRaceTest, AWorkingFirstAddressIsTheOnlyOneTried) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    run({QStringLiteral("127.0.0.1"), QStringLiteral("127.0.0.2")}, server.serverPort());
    EXPECT_NE(winner_, nullptr);
    EXPECT_EQ(sockets_, 1);
}

TEST_F(AddressRaceTest, ARefusedAddressYieldsToTheNextAtOnce) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    headStart_ = 1h;
    run({QStringLiteral("127.0.0.3"), QStringLiteral("127.0.0.1")}, server.serverPort());
    EXPECT_NE(winner_, nullptr);
}

TEST_F(AddressRaceTest, FailsWhenEveryAddressHasFailed) {
    quint16 port = 0;
    {
        QTcpServer server;
        ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
        port = server.serverPort();
    }
    run({QStringLiteral("127.0.0.1"), QStringLiteral("127.0.0.2"), QStringLiteral("127.0.0.3")},
        port);
    EXPECT_EQ(winner_, nullptr);
    EXPECT_EQ(reason_, QStringLiteral("Connection refused"));
    EXPECT_EQ(sockets_, 3);
}

TEST_F(AddressRaceTest, FailsWithoutAnyAddress) {
    run({}, 80);
    EXPECT_EQ(reason_, QStringLiteral("Host not found"));
}

TEST(AddressRace, AlternatesTheFamiliesStartingWithTheFirst) {
    const auto address = [](const char* text) { return QHostAddress(QString::fromLatin1(text)); };
    EXPECT_THAT(AddressRace::interleaved({address("::1"), address("::2"), address("::3"),
                                          address("1.0.0.1"), address("1.0.0.2")}),
                ElementsAre(address("::1"), address("1.0.0.1"), address("::2"), address("1.0.0.2"),
                            address("::3")));
    EXPECT_THAT(AddressRace::interleaved({address("1.0.0.1"), address("1.0.0.2")}),
                ElementsAre(address("1.0.0.1"), address("1.0.0.2")));
    EXPECT_TRUE(AddressRace::interleaved({}).isEmpty());
}

} // namespace
} // namespace tandrel
