#include "Platform/Qt/QtHttpTransport.h"
#include "Support/Qt/EventLoop.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/TestCertificates.h"

#include <QTimer>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::runUntil;
using test::ScriptedHttpServer;
using test::TestCertificates;
using testing::IsEmpty;
using Outcome = Result<HttpResponse, TransportError>;
using Kind = TransportError::Kind;
using Connection = ScriptedHttpServer::Connection;
using Request = ScriptedHttpServer::Request;

constexpr std::chrono::milliseconds shortLimit = 250ms;

/// What a sink got, and how it takes it.
class Download {
public:
    /// A sink that has taken each part `delay` later.
    explicit Download(std::chrono::milliseconds delay = 0ms)
        : delay_(delay) {}

    const Outcome& run(HttpTransport& transport, HttpRequest request) {
        start(transport, std::move(request));
        EXPECT_TRUE(runUntil([this] { return outcome_.has_value(); }));
        return *outcome_;
    }
    void start(HttpTransport& transport, HttpRequest request) {
        request.sink = [this](std::string part, std::function<void()> taken) {
            EXPECT_FALSE(isBusy_) << "a part before the last one was taken";
            isBusy_ = true;
            bytes += part;
            largest = std::max(largest, part.size());
            if (delay_ < 0ms) {
                return;
            }
            QTimer::singleShot(delay_, &context_, [this, taken = std::move(taken)]() mutable {
                isBusy_ = false;
                taken();
            });
        };
        exchange = transport.send(request, [this](Outcome reached) {
            EXPECT_FALSE(isBusy_ && reached.ok()) << "the end before the last part was taken";
            outcome_ = std::move(reached);
        });
    }
    [[nodiscard]] bool hasEnded() const { return outcome_.has_value(); }

    std::string bytes;
    std::size_t largest = 0;
    std::unique_ptr<HttpExchange> exchange;

private:
    std::chrono::milliseconds delay_;
    bool isBusy_ = false;
    std::optional<Outcome> outcome_;
    QObject context_;
};

HttpRequest get(const std::string& url, std::uint64_t maxBodySize = HttpRequest::usualMaxBodySize) {
    HttpRequest request{"GET", url, {}, std::nullopt};
    request.redirects = HttpRedirects::secure;
    request.maxBodySize = maxBodySize;
    return request;
}

std::string redirect(const std::string& location) {
    return ScriptedHttpServer::response("302 Found", "gone", "Location: " + location + "\r\n");
}

/// Bytes that betray a piece that is lost, doubled or out of order.
std::string numbered(std::size_t length) {
    std::string bytes;
    for (std::uint32_t number = 0; bytes.size() < length; ++number) {
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
    bytes.resize(length);
    return bytes;
}

class HttpDownloadTest : public testing::Test {
protected:
    static void SetUpTestSuite() { certificates = std::make_unique<TestCertificates>(); }
    static void TearDownTestSuite() { certificates.reset(); }
    static inline std::unique_ptr<TestCertificates> certificates;

    ScriptedHttpServer server;
    QtHttpTransport transport{QtHttpTransport::Options{15s, {certificates->authority()}}};
};

TEST_F(HttpDownloadTest, HandsTheBodyToTheSinkInOrderAndWhole) {
    const std::string body = numbered(3'000'001);
    server.answerWith(ScriptedHttpServer::response("200 OK", body));
    Download download;
    const Outcome& outcome = download.run(transport, get(server.url("/"), body.size()));
    ASSERT_TRUE(outcome.ok());
    EXPECT_EQ(outcome.value().statusCode, 200);
    EXPECT_THAT(outcome.value().body, IsEmpty());
    EXPECT_TRUE(download.bytes == body);
    EXPECT_LE(download.largest, 64U * 1024U);
}

TEST_F(HttpDownloadTest, WaitsForASlowSinkWithoutBlamingTheServer) {
    QtHttpTransport impatient{QtHttpTransport::Options{shortLimit, {}}};
    const std::string body = numbered(200'000);
    server.answerWith(ScriptedHttpServer::response("200 OK", body));
    Download slow(shortLimit * 2);
    ASSERT_TRUE(slow.run(impatient, get(server.url("/"))).ok());
    EXPECT_TRUE(slow.bytes == body);
}

TEST_F(HttpDownloadTest, HoldsTheServerUpWhileTheSinkTakesNothing) {
    std::size_t sent = 0;
    server.onRequest([&](const Request&, Connection connection) {
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        connection.every(1, [&sent, connection]() mutable {
            connection.send(std::string(64 * 1024, 'x'));
            sent += std::size_t{64} * 1024;
            return sent < std::size_t{32} * 1024 * 1024;
        });
    });
    Download stuck(-1ms);
    stuck.start(transport, get(server.url("/"), std::uint64_t{64} * 1024 * 1024));
    ASSERT_TRUE(runUntil([&] { return sent == std::size_t{32} * 1024 * 1024; }));
    EXPECT_LE(stuck.bytes.size(), 64U * 1024U);
    EXPECT_FALSE(stuck.hasEnded());
}

TEST_F(HttpDownloadTest, TakesNotAByteMoreThanAllowed) {
    const std::string body = numbered(200'000);
    server.answerWith(ScriptedHttpServer::response("200 OK", body));
    Download download;
    const Outcome& outcome = download.run(transport, get(server.url("/"), body.size() - 1));
    ASSERT_FALSE(outcome.ok());
    EXPECT_EQ(outcome.error().kind, Kind::tooLarge);
    EXPECT_LT(download.bytes.size(), body.size());
}

TEST_F(HttpDownloadTest, ABodyThatBreaksOffIsAnError) {
    server.onRequest([](const Request&, Connection connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + std::string(500, 'x'));
        connection.close();
    });
    Download download;
    EXPECT_FALSE(download.run(transport, get(server.url("/"))).ok());
}

TEST_F(HttpDownloadTest, OnlyTheBodyOfA200IsForTheSink) {
    for (const char* status : {"206 Partial Content", "404 Not Found", "302 Found", "500 No"}) {
        server.answerWith(ScriptedHttpServer::response(status, "an excuse"));
        Download download;
        EXPECT_TRUE(download.run(transport, get(server.url("/"))).ok());
        EXPECT_THAT(download.bytes, IsEmpty()) << status;
    }
}

TEST_F(HttpDownloadTest, EndsInTheMiddleOfAPart) {
    server.answerWith(ScriptedHttpServer::response("200 OK", numbered(500'000)));
    for (const bool cancels : {false, true}) {
        Download download(20ms);
        download.start(transport, get(server.url("/")));
        ASSERT_TRUE(runUntil([&] { return !download.bytes.empty(); }));
        const std::size_t before = download.bytes.size();
        if (cancels) {
            download.exchange->cancel();
            ASSERT_TRUE(runUntil([&] { return download.hasEnded(); }));
        } else {
            download.exchange.reset();
            // The part that was under way is taken, and nothing follows.
            ASSERT_TRUE(runUntil([&] { return server.openConnectionCount() == 0; }));
            EXPECT_FALSE(download.hasEnded());
        }
        EXPECT_EQ(download.bytes.size(), before);
    }
}

TEST_F(HttpDownloadTest, FollowsRedirectsToOtherServersOverHttps) {
    ScriptedHttpServer first(certificates->good());
    ScriptedHttpServer second(certificates->good());
    first.answerWith(redirect(second.url("/there", "localhost")));
    second.answerWith(ScriptedHttpServer::response("200 OK", "here"));
    Download download;
    ASSERT_TRUE(download.run(transport, get(first.url("/"))).ok());
    EXPECT_EQ(download.bytes, "here");
}

TEST_F(HttpDownloadTest, FollowsNoRedirectFromHttpsToPlainHttp) {
    ScriptedHttpServer secure(certificates->good());
    server.answerWith(ScriptedHttpServer::response("200 OK", "here"));
    for (const std::string& target : {server.url("/"), server.url("/", "localhost")}) {
        secure.answerWith(redirect(target));
        Download download;
        const Outcome& outcome = download.run(transport, get(secure.url("/")));
        ASSERT_TRUE(outcome.ok());
        EXPECT_EQ(outcome.value().statusCode, 302);
    }
    EXPECT_EQ(server.connectionCount(), 0U);
}

TEST_F(HttpDownloadTest, FollowsRedirectsBetweenPlainServersOnThisMachineOnly) {
    ScriptedHttpServer other;
    other.answerWith(ScriptedHttpServer::response("200 OK", "here"));
    server.answerWith(redirect(other.url("/", "localhost")));
    Download local;
    ASSERT_TRUE(local.run(transport, get(server.url("/"))).ok());
    EXPECT_EQ(local.bytes, "here");
    for (const char* target :
         {"http://192.0.2.1/", "ftp://127.0.0.1/", "file:///etc/passwd", "http://a@127.0.0.1/"}) {
        server.answerWith(redirect(target));
        Download away;
        const Outcome& outcome = away.run(transport, get(server.url("/")));
        ASSERT_TRUE(outcome.ok()) << target;
        EXPECT_EQ(outcome.value().statusCode, 302) << target;
    }
}

} // namespace
} // namespace tandrel
