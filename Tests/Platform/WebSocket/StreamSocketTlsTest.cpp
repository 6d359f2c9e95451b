#include "StreamSocketFixture.h"

#include <QNetworkProxy>
#include <QNetworkProxyFactory>
#include <QNetworkProxyQuery>
#include <QUrl>

#include <string>

namespace tandrel::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class StreamSocketTls : public StreamSocketFixture {
protected:
    /// The description of the loss that a server with `identity` causes.
    [[nodiscard]] std::string refusal(const TestCertificates::Identity& identity) {
        std::atomic<bool> reached{false};
        ScriptedServer::Options options;
        options.identity = identity;
        const ScriptedServer server([&](Peer& peer) { reached = !peer.readRequest().empty(); },
                                    options);
        StreamClient client = connectTo(server);
        if (!client.waitForLoss()) {
            return "no loss";
        }
        EXPECT_FALSE(reached) << "the token must not go to a server that is not trusted";
        EXPECT_EQ(client.loss().code, 0);
        EXPECT_THAT(client.loss().description, Not(HasSubstr("secret")));
        return client.loss().description;
    }
};

constexpr const char* refused = "The server's certificate was refused: ";

TEST_F(StreamSocketTls, ConnectsToAServerOfAnAuthorityThatIsTrusted) {
    authorities = testAuthority();
    ServedFrames served;
    ScriptedServer::Options options;
    options.identity = certificates().good();
    const ScriptedServer server(
        [&](Peer& peer) {
            ASSERT_TRUE(peer.upgrade());
            served.serve(peer);
        },
        options);
    {
        StreamClient client = connectTo(server);
        ASSERT_TRUE(client.waitForPong());
        client.send("audio");
        ASSERT_TRUE(client.waitFor([&] { return client.sends().ok == 1; }));
        client.task->cancel(1000);
    }
    EXPECT_TRUE(socket().drain());
    ASSERT_TRUE(served.wait(mainQueue));
    ASSERT_THAT(served.frames, SizeIs(2));
    EXPECT_EQ(served.frames[0].payload, "audio");
    EXPECT_EQ(served.frames[1].closeCode(), 1000);
}

TEST_F(StreamSocketTls, RefusesAServerOfAnAuthorityThatIsNotTrusted) {
    EXPECT_THAT(refusal(certificates().good()), StartsWith(refused));
}

TEST_F(StreamSocketTls, RefusesASelfSignedCertificate) {
    authorities = testAuthority();
    EXPECT_THAT(refusal(certificates().selfSigned()),
                AllOf(StartsWith(refused), HasSubstr("self-signed")));
}

TEST_F(StreamSocketTls, RefusesACertificateForAnotherHost) {
    authorities = testAuthority();
    EXPECT_THAT(refusal(certificates().wrongHost()),
                AllOf(StartsWith(refused), HasSubstr("host name")));
}

TEST_F(StreamSocketTls, RefusesAnExpiredCertificate) {
    authorities = testAuthority();
    EXPECT_THAT(refusal(certificates().expired()),
                AllOf(StartsWith(refused), HasSubstr("expired")));
}

TEST_F(StreamSocketTls, ReportsAServerThatSpeaksNoTls) {
    const ScriptedServer server([](Peer& peer) {
        (void)peer.readSome();
        peer.write("HTTP/1.1 400 Bad Request\r\n\r\n");
        peer.finish();
    });
    StreamClient client(socket(), mainQueue,
                        "wss://127.0.0.1:" + std::to_string(server.port()) + "/?token=secret");
    ASSERT_TRUE(client.waitForLoss());
    EXPECT_EQ(client.loss().code, 0);
    EXPECT_THAT(client.loss().description, StartsWith("Could not connect: "));
}

/// Sends everything through one HTTP proxy, and keeps what it was asked.
class OneProxy : public QNetworkProxyFactory {
public:
    OneProxy(quint16 port, std::vector<std::string>& asked)
        : port_(port)
        , asked_(asked) {}
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override {
        asked_.push_back(query.url().toString().toStdString());
        return {QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), port_)};
    }

private:
    quint16 port_;
    std::vector<std::string>& asked_;
};

TEST_F(StreamSocketTls, GoesThroughTheSystemsProxyWithoutShowingItTheToken) {
    std::string connectRequest;
    ServedFrames served;
    const ScriptedServer proxy([&](Peer& peer) {
        connectRequest = peer.readRequest();
        peer.write("HTTP/1.1 200 Connection established\r\n\r\n");
        ASSERT_TRUE(peer.upgrade());
        served.serve(peer);
    });
    std::vector<std::string> asked;
    QNetworkProxyFactory::setApplicationProxyFactory(new OneProxy(proxy.port(), asked));
    {
        StreamClient client(socket(), mainQueue, "ws://stream.example:8080/?token=secret");
        EXPECT_TRUE(client.waitForPong());
        for (int count = 0; count < 100; ++count) {
            client.send("audio");
        }
        EXPECT_TRUE(client.waitFor([&] { return client.sends().ok == 100; }));
        client.task->cancel(1000);
    }
    EXPECT_TRUE(socket().drain());
    endSocket();
    QNetworkProxyFactory::setApplicationProxyFactory(nullptr);
    EXPECT_THAT(connectRequest, StartsWith("CONNECT stream.example:8080 HTTP/1.1\r\n"));
    EXPECT_THAT(connectRequest, Not(HasSubstr("secret")));
    EXPECT_THAT(asked, testing::ElementsAre("http://stream.example:8080"));
    ASSERT_TRUE(served.wait(mainQueue));
    ASSERT_THAT(served.frames, SizeIs(101));
    EXPECT_EQ(served.frames.back().closeCode(), 1000);
}

} // namespace
} // namespace tandrel::test
