#include "Platform/Qt/QtHttpTransport.h"
#include "Support/BlackHole.h"
#include "Support/EnvironmentVariable.h"
#include "Support/Names/NamedHosts.h"
#include "Support/Qt/HttpCall.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/TestCertificates.h"
#include "Support/WebSocket/ProxyServer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::authenticatedGet;
using test::EnvironmentVariable;
using test::get;
using test::NamedHost;
using test::ProxyServer;
using test::runUntil;
using test::ScriptedHttpServer;
using test::TestCertificates;
using test::withBlackHole;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using Call = test::HttpCall;
using Kind = TransportError::Kind;

constexpr std::chrono::milliseconds shortLimit = 250ms;
/// A name that no proxy setting leaves out; the tests' certificate of that name is good for it.
constexpr const char* far = "elsewhere.example";
constexpr const char* proxyWantsSignIn = "The proxy server asks for a user name and a password.";

/// The way to the server: through the environment's proxies, and by either family of addresses.
class QtHttpTransportRoute : public testing::Test {
protected:
    static void SetUpTestSuite() { certificates = std::make_unique<TestCertificates>(); }
    static void TearDownTestSuite() { certificates.reset(); }

    static QtHttpTransport::Options trusting() { return {15s, {certificates->authority()}}; }
    static std::string answer(const std::string& body) {
        return ScriptedHttpServer::response("200 OK", body);
    }

    static inline std::unique_ptr<TestCertificates> certificates;

    ScriptedHttpServer server;
    QtHttpTransport transport;
};

TEST_F(QtHttpTransportRoute, PlainRequestsGoToTheProxyOfEitherSpellingButNotForLoopback) {
    server.answerWith(answer("by proxy"));
    for (const char* variable : {"http_proxy", "HTTP_PROXY"}) {
        const ProxyServer proxy;
        const EnvironmentVariable setting(variable, proxy.url());
        Call call(transport, get(server.url("/path", far)));
        EXPECT_EQ(call.body(), "by proxy") << variable;
        EXPECT_THAT(proxy.requests(),
                    ElementsAre(StartsWith("GET " + server.url("/path", far) + " HTTP/1.1\r\n")));
        for (const char* host : {"127.0.0.1", "localhost"}) {
            Call near(transport, get(server.url("/", host)));
            EXPECT_EQ(near.status(), 200) << host;
        }
        EXPECT_EQ(proxy.connectionCount(), 1);
    }
}

TEST_F(QtHttpTransportRoute, SecureRequestsGoThroughATunnelThatSeesNothingOfThem) {
    ScriptedHttpServer secure(certificates->wrongHost());
    secure.answerWith(answer("safe"));
    for (const char* variable : {"https_proxy", "HTTPS_PROXY"}) {
        const ProxyServer proxy;
        const EnvironmentVariable setting(variable, proxy.url());
        QtHttpTransport client(trusting());
        Call call(client, authenticatedGet(secure.url("/secret-path", far)));
        EXPECT_EQ(call.body(), "safe") << variable;
        EXPECT_THAT(proxy.requests(),
                    ElementsAre(AllOf(StartsWith("CONNECT elsewhere.example:"),
                                      Not(HasSubstr("t0ken")), Not(HasSubstr("secret-path")))));
    }
}

TEST_F(QtHttpTransportRoute, BehindAProxyTheCertificateMustBeTheServers) {
    // Good for "localhost" and 127.0.0.1, where the proxy is.
    ScriptedHttpServer secure(certificates->good());
    secure.answerWith(answer("trap"));
    const ProxyServer proxy;
    const EnvironmentVariable setting("https_proxy", proxy.url());
    QtHttpTransport client(trusting());
    Call call(client, authenticatedGet(secure.url("/", far)));
    EXPECT_THAT(call.error().description,
                AllOf(StartsWith("The server's certificate was refused"), HasSubstr("host name")));
    EXPECT_THAT(secure.requests(), IsEmpty());
}

TEST_F(QtHttpTransportRoute, NamesThatAreLeftOutAreReachedDirectly) {
    server.answerWith(answer("direct"));
    const ProxyServer proxy;
    const NamedHost host({"127.0.0.1"});
    const EnvironmentVariable setting("http_proxy", proxy.url());
    for (const char* variable : {"no_proxy", "NO_PROXY"}) {
        const EnvironmentVariable exception(variable, "other.example,.example");
        Call call(transport, get(server.url("/", host.name())));
        EXPECT_EQ(call.body(), "direct") << variable;
    }
    EXPECT_EQ(proxy.connectionCount(), 0);
}

TEST_F(QtHttpTransportRoute, GoesThroughASocksProxyThatFindsTheName) {
    ScriptedHttpServer secure(certificates->wrongHost());
    for (ScriptedHttpServer* const each : {&server, &secure}) {
        each->answerWith(answer("by socks"));
        const ProxyServer proxy(ProxyServer::socks5());
        const EnvironmentVariable plain("http_proxy", proxy.url());
        const EnvironmentVariable encrypted("https_proxy", proxy.url());
        QtHttpTransport client(trusting());
        Call call(client, get(each->url("/", far)));
        EXPECT_EQ(call.body(), "by socks");
        EXPECT_THAT(proxy.requests(),
                    ElementsAre(std::string(far) + ':' + std::to_string(each->serverPort())));
    }
}

TEST_F(QtHttpTransportRoute, SignsInToAProxyWithWhatTheSettingsSay) {
    ScriptedHttpServer secure(certificates->wrongHost());
    for (ScriptedHttpServer* const each : {&server, &secure}) {
        each->answerWith(answer("signed in"));
        const ProxyServer proxy(ProxyServer::asking("ann:p@ss"));
        const EnvironmentVariable plain("http_proxy", proxy.url("ann:p%40ss"));
        const EnvironmentVariable encrypted("https_proxy", proxy.url("ann:p%40ss"));
        QtHttpTransport client(trusting());
        Call call(client, authenticatedGet(each->url("/", far)));
        EXPECT_EQ(call.body(), "signed in");
    }
}

TEST_F(QtHttpTransportRoute, AProxyThatWantsMoreIsAReadableErrorAndNobodyIsAsked) {
    ScriptedHttpServer secure(certificates->wrongHost());
    for (ScriptedHttpServer* const each : {&server, &secure}) {
        each->answerWith(answer("never"));
        for (const char* credentials : {"", "ann:wrong"}) {
            const ProxyServer proxy(ProxyServer::asking("ann:right"));
            const EnvironmentVariable plain("http_proxy", proxy.url(credentials));
            const EnvironmentVariable encrypted("https_proxy", proxy.url(credentials));
            QtHttpTransport client(trusting());
            Call call(client, authenticatedGet(each->url("/", far)));
            EXPECT_EQ(call.error(), (TransportError{Kind::other, proxyWantsSignIn}));
            EXPECT_LE(proxy.requests().size(), 3U);
        }
        EXPECT_THAT(each->requests(), IsEmpty());
    }
}

TEST_F(QtHttpTransportRoute, A407OfTheServerItselfIsItsAnswer) {
    server.answerWith(ScriptedHttpServer::response("407 X", ""));
    Call call(transport, get(server.url("/")));
    EXPECT_EQ(call.status(), 407);
}

TEST_F(QtHttpTransportRoute, AProxyThatIsDownIsAReadableError) {
    std::string gone;
    {
        const ProxyServer proxy;
        gone = proxy.url();
    }
    const EnvironmentVariable plain("http_proxy", gone);
    const EnvironmentVariable encrypted("https_proxy", gone);
    for (const char* scheme : {"http", "https"}) {
        Call call(transport, get(std::string(scheme) + "://elsewhere.example/secret-path"));
        EXPECT_EQ(call.error(),
                  (TransportError{Kind::other, "The connection through the proxy server failed."}));
    }
}

TEST_F(QtHttpTransportRoute, AProxyThatFindsNoServerIsAReadableError) {
    const ProxyServer proxy;
    const EnvironmentVariable encrypted("https_proxy", proxy.url());
    Call call(transport, get("https://elsewhere.example:1/secret-path"));
    const TransportError error = call.error();
    EXPECT_EQ(error.kind, Kind::other);
    EXPECT_THAT(error.description, AllOf(Not(IsEmpty()), Not(HasSubstr("secret-path"))));
}

TEST_F(QtHttpTransportRoute, AProxyThatNeverAnswersEndsARequestAfterTheIdleLimit) {
    const ProxyServer proxy(ProxyServer::silent());
    const EnvironmentVariable plain("http_proxy", proxy.url());
    const EnvironmentVariable encrypted("https_proxy", proxy.url());
    QtHttpTransport impatient({shortLimit, {}});
    for (const char* scheme : {"http", "https"}) {
        Call call(impatient, get(std::string(scheme) + "://elsewhere.example/"));
        EXPECT_EQ(call.error(), (TransportError{Kind::timedOut, "The request timed out."}));
    }
    EXPECT_EQ(proxy.connectionCount(), 2);
}

TEST_F(QtHttpTransportRoute, AStuckProxyLookUpNeitherBlocksTheLoopNorOutlastsTheLimit) {
    // The server takes the request for the proxy configuration and never answers it.
    const EnvironmentVariable variable("http_proxy", "pac+" + server.url("/proxy.pac"));
    QtHttpTransport impatient({shortLimit, {}});
    Call call(impatient, get("http://backend.invalid/"));
    Call second(impatient, get("http://backend.invalid/"));
    ASSERT_TRUE(runUntil([this] { return server.requests().size() == 1; }));
    EXPECT_EQ(server.requests().front().line.substr(0, 14), "GET /proxy.pac");
    EXPECT_EQ(call.error().kind, Kind::timedOut);
    EXPECT_EQ(second.error().kind, Kind::timedOut);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(QtHttpTransportRoute, AServerOfEitherFamilyAloneIsReached) {
    const NamedHost host({"::1", "127.0.0.1"});
    for (const QHostAddress::SpecialAddress address :
         {QHostAddress::LocalHost, QHostAddress::LocalHostIPv6}) {
        ScriptedHttpServer alone{QHostAddress(address)};
        alone.answerWith(answer("here"));
        const std::string literal = address == QHostAddress::LocalHost ? "127.0.0.1" : "[::1]";
        Call byAddress(transport, get(alone.url("/", literal)));
        EXPECT_EQ(byAddress.body(), "here") << literal;
        // The name has an address of the other family too, where nobody listens.
        Call byName(transport, get(alone.url("/", host.name())));
        EXPECT_EQ(byName.body(), "here") << literal;
    }
}

TEST_F(QtHttpTransportRoute, AnAddressThatSwallowsConnectionsYieldsToTheOtherFamily) {
    for (const bool isV4Dead : {false, true}) {
        const std::string dead = isV4Dead ? "127.0.0.1" : "::1";
        const QHostAddress living(isV4Dead ? QHostAddress::LocalHostIPv6 : QHostAddress::LocalHost);
        const auto [alive, hole] = withBlackHole(
            dead, [&] { return std::make_unique<ScriptedHttpServer>(living); },
            [](const ScriptedHttpServer& made) { return made.serverPort(); });
        alive->answerWith(answer("alive"));
        const NamedHost host({dead, isV4Dead ? "::1" : "127.0.0.1"});
        QtHttpTransport impatient({2s, {}});
        Call call(impatient, get(alive->url("/", host.name())));
        EXPECT_EQ(call.body(), "alive") << dead;
    }
}

} // namespace
} // namespace tandrel
