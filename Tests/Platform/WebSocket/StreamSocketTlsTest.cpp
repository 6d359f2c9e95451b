#include "StreamSocketFixture.h"

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

} // namespace
} // namespace tandrel::test
