#include "StreamSocketFixture.h"
#include "Support/BlackHole.h"
#include "Support/EnvironmentVariable.h"
#include "Support/Names/NamedHosts.h"
#include "Support/WebSocket/ProxyServer.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

/// A name that no proxy setting leaves out; the tests' certificate of that name is good for it.
constexpr const char* far = "elsewhere.example";

/// The way to the server, over ws and wss: through the environment's proxies, and by either family
/// of addresses.
class StreamSocketRoute : public StreamSocketOverBoth {
protected:
    StreamSocketRoute() { limits.closingHandshake = 60ms; }

    /// A server under the name "elsewhere.example" where TLS is on.
    [[nodiscard]] static ScriptedServer::Options farServer(bool isIpv6 = false) {
        ScriptedServer::Options options;
        if (GetParam()) {
            options.identity = certificates().wrongHost();
        }
        options.isIpv6 = isIpv6;
        return options;
    }
    /// The variable that counts for the scheme.
    [[nodiscard]] static std::string proxyVariable() {
        return GetParam() ? "https_proxy" : "http_proxy";
    }
    [[nodiscard]] StreamClient connectToFar(std::uint16_t port, const std::string& host = far) {
        return {socket(), mainQueue,
                std::string(scheme()) + "://" + host + ':' + std::to_string(port) +
                    "/tandrel-stream?token=secret"};
    }
    /// Why a connection through `proxy` is not made.
    [[nodiscard]] std::string refusal(const ProxyServer& proxy, const std::string& credentials,
                                      std::uint16_t port = 1) {
        const EnvironmentVariable setting(proxyVariable(), proxy.url(credentials));
        StreamClient client = connectToFar(port);
        if (!client.waitForLoss()) {
            return "no loss";
        }
        EXPECT_EQ(client.loss().code, 0);
        EXPECT_THAT(client.loss().description, Not(HasSubstr("secret")));
        return client.loss().description;
    }
    /// Streams a hundred messages through `proxy` and closes.
    void streamThrough(const ProxyServer& proxy, const std::string& credentials = {}) {
        const EnvironmentVariable setting(proxyVariable(), proxy.url(credentials));
        ServedFrames served;
        const ScriptedServer server(
            [&](Peer& peer) {
                ASSERT_TRUE(peer.upgrade());
                served.serve(peer);
            },
            farServer());
        {
            StreamClient client = connectToFar(server.port());
            ASSERT_TRUE(client.waitForPong());
            for (int count = 0; count < 100; ++count) {
                client.send("audio");
            }
            EXPECT_TRUE(client.waitFor([&] { return client.sends().ok == 100; }));
            client.task->cancel(1000);
        }
        EXPECT_TRUE(socket().drain());
        ASSERT_TRUE(served.wait(mainQueue));
        ASSERT_THAT(served.frames, SizeIs(101));
        EXPECT_EQ(served.frames.back().closeCode(), 1000);
    }
};

INSTANTIATE_TEST_SUITE_P(Schemes, StreamSocketRoute, testing::Bool(), schemeName);

TEST_P(StreamSocketRoute, GoesThroughATunnelThatDoesNotSeeTheToken) {
    const ProxyServer proxy;
    streamThrough(proxy);
    EXPECT_THAT(proxy.requests(), ElementsAre(AllOf(StartsWith("CONNECT elsewhere.example:"),
                                                    Not(HasSubstr("secret")))));
}

TEST_P(StreamSocketRoute, GoesThroughASocksProxyThatFindsTheName) {
    const ProxyServer proxy(ProxyServer::socks5());
    streamThrough(proxy);
    EXPECT_THAT(proxy.requests(), ElementsAre(StartsWith("elsewhere.example:")));
}

TEST_P(StreamSocketRoute, SignsInToAProxyWithWhatTheSettingsSay) {
    const ProxyServer proxy(ProxyServer::asking("ann:right"));
    streamThrough(proxy, "ann:right");
}

TEST_P(StreamSocketRoute, AProxyThatWantsMoreIsAReadableErrorAndNobodyIsAsked) {
    const ProxyServer proxy(ProxyServer::asking("ann:right"));
    for (const char* credentials : {"", "ann:wrong"}) {
        EXPECT_EQ(refusal(proxy, credentials),
                  "Could not connect: The proxy server asks for a user name and a password.");
    }
}

TEST_P(StreamSocketRoute, AProxyThatIsDownIsAReadableError) {
    std::string gone;
    {
        const ProxyServer proxy;
        gone = proxy.url();
    }
    const EnvironmentVariable setting(proxyVariable(), gone);
    StreamClient client = connectToFar(1);
    ASSERT_TRUE(client.waitForLoss());
    EXPECT_EQ(client.loss().description, "Could not connect: Proxy connection refused");
}

TEST_P(StreamSocketRoute, AProxyThatFindsNoServerIsAReadableError) {
    const ProxyServer proxy;
    EXPECT_THAT(refusal(proxy, {}), StartsWith("Could not connect: "));
}

TEST_P(StreamSocketRoute, AProxyThatNeverAnswersEndsWithTheLimit) {
    limits.openToPong = 200ms;
    const ProxyServer proxy(ProxyServer::silent());
    EXPECT_EQ(refusal(proxy, {}), "The server did not answer in time.");
    EXPECT_EQ(proxy.connectionCount(), 1);
}

TEST_P(StreamSocketRoute, AProxyThatStopsReadingIsNoticed) {
    limits.oldestWaiting = 300ms;
    limits.kernelSendBufferBytes = 4096;
    ProxyServer proxy(ProxyServer::taking(10'000));
    const EnvironmentVariable setting(proxyVariable(), proxy.url());
    const ScriptedServer server(
        [](Peer& peer) {
            ASSERT_TRUE(peer.upgrade());
            peer.serveUntilEnd();
        },
        farServer());
    StreamClient client = connectToFar(server.port());
    ASSERT_TRUE(client.waitForPong());
    const Stopwatch watch;
    std::size_t offered = 0;
    ASSERT_TRUE(client.waitFor([&] {
        client.send(std::string(audioMessageBytes, 'a'));
        ++offered;
        return !client.receiveErrors().empty() || watch.seconds() > 10;
    }));
    EXPECT_THAT(client.loss().description,
                testing::AnyOf("The server has stopped taking the stream.",
                               "The server does not take the stream fast enough."));
    ASSERT_TRUE(client.waitFor([&] {
        return static_cast<std::size_t>(client.sends().ok + client.sends().failed) == offered;
    }));
    // What it took into buffers of its own beyond our sight is not unbounded.
    EXPECT_LT(static_cast<std::size_t>(client.sends().ok) * audioMessageBytes, 4'000'000U);
}

TEST_P(StreamSocketRoute, NamesThatAreLeftOutAreReachedDirectly) {
    const ProxyServer proxy;
    const NamedHost host({"127.0.0.1"});
    const EnvironmentVariable setting(proxyVariable(), proxy.url());
    const EnvironmentVariable exception("no_proxy", ".example");
    const ScriptedServer server([](Peer& peer) { peer.openWithPong(); }, farServer());
    StreamClient client = connectToFar(server.port(), host.name());
    EXPECT_TRUE(client.waitForPong());
    EXPECT_EQ(proxy.connectionCount(), 0);
}

TEST_P(StreamSocketRoute, AStuckProxyLookUpEndsWithTheLimitAndHoldsUpNobody) {
    limits.openToPong = 300ms;
    // Takes the request for the proxy configuration and never answers it.
    std::atomic<bool> isAsked{false};
    const ScriptedServer settings([&](Peer& peer) {
        isAsked = !peer.readRequest().empty();
        peer.stall();
    });
    const EnvironmentVariable setting(
        proxyVariable(), "pac+http://127.0.0.1:" + std::to_string(settings.port()) + "/proxy.pac");
    StreamClient stuck = connectToFar(1);
    ASSERT_TRUE(stuck.waitFor([&] { return isAsked.load(); }));
    const ScriptedServer server([](Peer& peer) { peer.openWithPong(); }, serverOptions());
    StreamClient other = connectTo(server);
    EXPECT_TRUE(other.waitForPong());
    ASSERT_TRUE(stuck.waitForLoss());
    EXPECT_EQ(stuck.loss().description, "The server did not answer in time.");
}

TEST_P(StreamSocketRoute, AServerOfEitherFamilyAloneIsReached) {
    const NamedHost host({"::1", "127.0.0.1"});
    for (const bool isIpv6 : {false, true}) {
        auto literal = serverOptions();
        literal.isIpv6 = isIpv6;
        const ScriptedServer byAddress([](Peer& peer) { peer.openWithPong(); }, literal);
        StreamClient first = connectTo(byAddress);
        EXPECT_TRUE(first.waitForPong()) << byAddress.url();
        // The name has an address of the other family too, where nobody listens.
        const ScriptedServer byName([](Peer& peer) { peer.openWithPong(); }, farServer(isIpv6));
        StreamClient second = connectToFar(byName.port(), host.name());
        EXPECT_TRUE(second.waitForPong()) << byName.url();
    }
}

TEST_P(StreamSocketRoute, AnAddressThatSwallowsConnectionsYieldsToTheOtherFamily) {
    for (const bool isV4Dead : {false, true}) {
        const std::string dead = isV4Dead ? "127.0.0.1" : "::1";
        const auto [alive, hole] = withBlackHole(
            dead,
            [&] {
                return std::make_unique<ScriptedServer>([](Peer& peer) { peer.openWithPong(); },
                                                        farServer(isV4Dead));
            },
            [](const ScriptedServer& server) { return server.port(); });
        const NamedHost host({dead, isV4Dead ? "::1" : "127.0.0.1"});
        StreamClient client = connectToFar(alive->port(), host.name());
        EXPECT_TRUE(client.waitForPong()) << dead;
    }
}

} // namespace
} // namespace tandrel::test
