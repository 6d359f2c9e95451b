#include "Doctor/NetworkLook.h"

#include "Support/Qt/EventLoop.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/TestCertificates.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>

namespace tandrel::doctor {
namespace {

using namespace std::chrono_literals;
using test::runUntil;
using test::ScriptedHttpServer;
using test::TestCertificates;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr auto limit = 10s;

/// What `look` returns on a thread of its own, while the test's thread runs the server.
template <typename Look>
auto away(Look look) {
    auto coming = std::async(std::launch::async, std::move(look));
    EXPECT_TRUE(runUntil([&] { return coming.wait_for(0s) == std::future_status::ready; }));
    return coming.get();
}

const TestCertificates& certificates() {
    static const TestCertificates made;
    return made;
}

BackendAddress trusting(const std::string& url) {
    return {url, {certificates().authority()}};
}

CertificateLook lookAt(const ScriptedHttpServer& server) {
    return away([address = trusting(server.url(""))] { return lookAtCertificate(address, limit); });
}

TEST(DoctorNetworkLook, AsksTheBackendAboutTheSignInOnce) {
    ScriptedHttpServer server;
    server.answerWith(ScriptedHttpServer::response("200 OK", "{}"));
    const auto outcome = away([url = server.url("")] {
        return askWhoIsSignedIn({url, {}}, "the-token", limit);
    });
    ASSERT_TRUE(outcome.ok());
    EXPECT_EQ(outcome.value().statusCode, 200);
    ASSERT_THAT(server.requests(), SizeIs(1));
    EXPECT_EQ(server.requests().front().line, "GET /api/auth/me HTTP/1.1");
    EXPECT_THAT(server.requests().front().header("authorization"), ElementsAre("Bearer the-token"));
}

TEST(DoctorNetworkLook, AsksWithoutASignInWhenThereIsNone) {
    ScriptedHttpServer server;
    server.answerWith(ScriptedHttpServer::response("401 Unauthorized", "{}"));
    const auto outcome = away([url = server.url("")] {
        return askWhoIsSignedIn({url, {}}, {}, limit);
    });
    ASSERT_TRUE(outcome.ok());
    EXPECT_EQ(outcome.value().statusCode, 401);
    EXPECT_THAT(server.requests().front().header("authorization"), IsEmpty());
}

TEST(DoctorNetworkLook, ABackendThatNeverAnswersIsGivenUpInTime) {
    ScriptedHttpServer server;
    const auto start = std::chrono::steady_clock::now();
    const auto outcome = away([url = server.url("")] {
        return askWhoIsSignedIn({url, {}}, {}, 300ms);
    });
    ASSERT_FALSE(outcome.ok());
    EXPECT_EQ(outcome.error().kind, TransportError::Kind::timedOut);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(DoctorNetworkLook, SeesWhoIssuedTheCertificateAndUntilWhen) {
    const ScriptedHttpServer server(certificates().good());
    const CertificateLook look = lookAt(server);
    EXPECT_TRUE(look.isUsed);
    EXPECT_EQ(look.error, "");
    EXPECT_THAT(look.issuer, Not(IsEmpty()));
    EXPECT_THAT(look.validUntil, testing::MatchesRegex("20[0-9][0-9]-[0-9][0-9]-[0-9][0-9]"));
    EXPECT_EQ(look.proxy, "");
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST(DoctorNetworkLook, SaysWhyACertificateIsRefusedAndWhoIssuedIt) {
    const ScriptedHttpServer expired(certificates().expired());
    EXPECT_THAT(lookAt(expired).error, HasSubstr("expired"));
    EXPECT_THAT(lookAt(expired).validUntil, HasSubstr("2020-"));
    const ScriptedHttpServer selfSigned(certificates().selfSigned());
    EXPECT_THAT(lookAt(selfSigned).error, HasSubstr("self-signed"));
    EXPECT_THAT(lookAt(selfSigned).issuer, Not(IsEmpty()));
    const ScriptedHttpServer wrongHost(certificates().wrongHost());
    EXPECT_THAT(lookAt(wrongHost).error, HasSubstr("host name"));
}

TEST(DoctorNetworkLook, AnAuthorityThatNobodyTrustsIsRefused) {
    const ScriptedHttpServer server(certificates().good());
    const CertificateLook look = away([url = server.url("")] {
        return lookAtCertificate({url, {}}, limit);
    });
    EXPECT_THAT(look.error, Not(IsEmpty()));
    EXPECT_THAT(look.issuer, Not(IsEmpty()));
}

TEST(DoctorNetworkLook, PlainHttpHasNoCertificate) {
    const CertificateLook look = lookAtCertificate({"http://127.0.0.1:9", {}}, limit);
    EXPECT_FALSE(look.isUsed);
    EXPECT_EQ(look.error, "");
}

TEST(DoctorNetworkLook, AServerThatIsNotThereOrSpeaksNoTlsIsAReadableError) {
    EXPECT_THAT(lookAtCertificate({"https://127.0.0.1:9", {}}, limit).error, HasSubstr("refused"));
    const ScriptedHttpServer plain;
    std::string url = plain.url("");
    url.replace(0, 4, "https");
    const CertificateLook look = away([url] {
        return lookAtCertificate({url, {}}, std::chrono::milliseconds(500));
    });
    EXPECT_THAT(look.error, Not(IsEmpty()));
    EXPECT_EQ(look.issuer, "");
}

} // namespace
} // namespace tandrel::doctor
