#include "Platform/Qt/QtHttpTransport.h"

#include "Platform/Qt/QtClock.h"
#include "Services/APIClient.h"
#include "Services/KeychainService.h"
#include "Support/ChildProcess.h"
#include "Support/FakeCredentialStore.h"
#include "Support/Qt/EventLoop.h"
#include "Support/Qt/HttpCall.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/TestCertificates.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::authenticatedGet;
using test::get;
using test::post;
using test::runUntil;
using test::ScriptedHttpServer;
using test::TestCertificates;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Call = test::HttpCall;
using Outcome = Result<HttpResponse, TransportError>;
using Kind = TransportError::Kind;
using Connection = ScriptedHttpServer::Connection;
using Request = ScriptedHttpServer::Request;

constexpr std::chrono::milliseconds shortLimit = 250ms;

std::string redirect(const std::string& status, const std::string& location) {
    return ScriptedHttpServer::response(status, "gone", "Location: " + location + "\r\n");
}

/// Lets whatever is under way arrive: an exchange of its own, there and back.
void settle(HttpTransport& transport) {
    ScriptedHttpServer server;
    server.answerWith(ScriptedHttpServer::response("200 OK", ""));
    Call call(transport, get(server.url("/")));
    call.outcome();
}

class QtHttpTransportTest : public testing::Test {
protected:
    static void SetUpTestSuite() { certificates = std::make_unique<TestCertificates>(); }
    static void TearDownTestSuite() { certificates.reset(); }

    static QtHttpTransport::Options withLimit(std::chrono::milliseconds limit) {
        return {limit, {}};
    }
    static QtHttpTransport::Options trusting() { return {15s, {certificates->authority()}}; }

    // Made once for all cases.
    static inline std::unique_ptr<TestCertificates> certificates;

    ScriptedHttpServer server;
    QtHttpTransport transport;
};

TEST_F(QtHttpTransportTest, SendsAGetWithItsHeadersAndNoBody) {
    server.answerWith(ScriptedHttpServer::response("200 OK", "hello"));
    Call call(transport, authenticatedGet(server.url("/a//b;c?x=%2F&y=a'b")));
    EXPECT_EQ(call.status(), 200);
    EXPECT_EQ(call.body(), "hello");
    ASSERT_EQ(server.requests().size(), 1U);
    const Request& sent = server.requests().front();
    EXPECT_EQ(sent.line, "GET /a//b;c?x=%2F&y=a'b HTTP/1.1");
    EXPECT_THAT(sent.header("Authorization"), ElementsAre("Bearer t0ken"));
    EXPECT_THAT(sent.header("User-Agent"), ElementsAre(StartsWith("TandrelStatusBar/")));
    for (const char* absent : {"Accept", "Content-Type", "Content-Length", "Cookie",
                               "Cache-Control", "Pragma", "Upgrade"}) {
        EXPECT_THAT(sent.header(absent), IsEmpty()) << absent;
    }
}

TEST_F(QtHttpTransportTest, SendsAPostWithItsBody) {
    server.answerWith(ScriptedHttpServer::response("200 OK", "{}"));
    Call call(transport, post(server.url("/login"), R"({"a":"b"})"));
    EXPECT_EQ(call.body(), "{}");
    const Request& sent = server.requests().front();
    EXPECT_EQ(sent.line, "POST /login HTTP/1.1");
    EXPECT_THAT(sent.header("Content-Type"), ElementsAre("application/json"));
    EXPECT_EQ(sent.body, R"({"a":"b"})");
    EXPECT_THAT(sent.header("Authorization"), IsEmpty());
}

TEST_F(QtHttpTransportTest, SendsTheBytesOfTheURLOrNothing) {
    server.answerWith(ScriptedHttpServer::response("200 OK", ""));
    for (const char* target : {"/", "/?", "/a?b=%00%20%C3%A9", "/~a-b._c/d!$&'()*+,;=:@e",
                               "/x?y=/?:@!$'()*,;[", "//double"}) {
        const std::size_t before = server.requests().size();
        Call call(transport, get(server.url(target)));
        if (call.outcome().ok()) {
            EXPECT_EQ(server.requests().back().line, "GET " + std::string(target) + " HTTP/1.1");
        } else {
            EXPECT_EQ(server.requests().size(), before);
        }
    }
    Call bare(transport, get(server.url("")));
    EXPECT_EQ(bare.status(), 200);
    EXPECT_EQ(server.requests().back().line, "GET / HTTP/1.1");
    const std::size_t before = server.requests().size();
    for (const char* target : {"/%41", "/%2f", "/a/../b", "/a/./b"}) {
        Call call(transport, get(server.url(target)));
        EXPECT_EQ(call.error().description, "The request's address cannot be sent as it is.")
            << target;
    }
    for (const char* url : {"ftp://127.0.0.1/", "https://", "nonsense", "", "http://a b/"}) {
        Call call(transport, get(url));
        EXPECT_EQ(call.error().description, "The server's address is not valid.") << url;
    }
    EXPECT_EQ(server.requests().size(), before);
}

TEST_F(QtHttpTransportTest, RefusesAHeaderThatWouldSmuggleAnother) {
    for (const char* token : {"a\r\nX-Evil: 1", "a\nX-Evil: 1", "a\r"}) {
        Call call(transport, {"GET", server.url("/"), {{"Authorization", token}}, std::nullopt});
        EXPECT_EQ(call.error().description, "The request holds characters that cannot be sent.");
    }
    EXPECT_EQ(server.connectionCount(), 0U);
}

TEST_F(QtHttpTransportTest, HandsOverEveryFinalStatus) {
    for (int status = 200; status <= 599; ++status) {
        server.answerWith(ScriptedHttpServer::response(std::to_string(status) + " X",
                                                       status == 204 || status == 304 ? "" : "b"));
        Call call(transport, get(server.url("/")));
        EXPECT_EQ(call.status(), status);
    }
}

TEST_F(QtHttpTransportTest, SkipsInterimAnswers) {
    server.answerWith("HTTP/1.1 100 Continue\r\n\r\n" +
                      ScriptedHttpServer::response("200 OK", "real"));
    Call call(transport, get(server.url("/")));
    EXPECT_EQ(call.body(), "real");
}

TEST_F(QtHttpTransportTest, TakesABodyInEachFraming) {
    const struct {
        const char* answer;
        const char* body;
    } cases[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody", "body"},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nbo\r\n2\r\ndy\r\n0\r\n\r\n",
         "body"},
        {"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nbody", "body"},
        {"HTTP/1.0 200 OK\r\n\r\nbody", "body"},
        {"HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nbody", "body"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", ""},
        {"HTTP/1.1 204 No Content\r\n\r\n", ""},
        {"HTTP/1.1 304 Not Modified\r\n\r\n", ""},
        {"HTTP/1.1 200\r\nContent-Length: 4\r\n\r\nbody", "body"},
    };
    for (const auto& [answer, body] : cases) {
        server.onRequest([answer = answer](const Request&, Connection connection) {
            connection.send(answer);
            connection.close();
        });
        Call call(transport, get(server.url("/")));
        EXPECT_EQ(call.body(), body) << answer;
    }
}

TEST_F(QtHttpTransportTest, ARefusedConnectionIsAnErrorWithReadableText) {
    std::string url;
    {
        const ScriptedHttpServer gone;
        url = gone.url("/");
    }
    Call call(transport, get(url));
    EXPECT_EQ(call.error(), (TransportError{Kind::other, "The server refused the connection."}));
}

TEST_F(QtHttpTransportTest, AConnectionThatBreaksIsAnErrorWhereverItBreaks) {
    const auto breaksAfter = [this](const char* bytes, bool reset) {
        server.onRequest([=](const Request&, Connection connection) {
            connection.send(bytes);
            if (reset) {
                connection.reset();
            } else {
                connection.close();
            }
        });
        Call call(transport, authenticatedGet(server.url("/secret-path")));
        const TransportError error = call.error();
        EXPECT_EQ(error.kind, Kind::other) << bytes;
        EXPECT_THAT(error.description, AllOf(Not(HasSubstr("secret-path")), Not(IsEmpty())));
    };
    for (const bool reset : {false, true}) {
        breaksAfter("", reset);
        breaksAfter("HTTP/1.1 2", reset);
        breaksAfter("HTTP/1.1 200 OK\r\nContent-Le", reset);
        breaksAfter("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n", reset);
        breaksAfter("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"a\":1}", reset);
        breaksAfter("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab", reset);
        breaksAfter("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nab\r\n", reset);
    }
}

TEST_F(QtHttpTransportTest, GarbageNeverBecomesAnAcceptedAnswer) {
    for (const char* garbage :
         {"garbage\r\n\r\n", "\r\n\r\n\r\n", "HTTP/9.9 abc\r\n\r\n", "HTTP/1.1 99999 X\r\n\r\n",
          "SSH-2.0-x\r\n", "HTTP/1.1 -20 OK\r\n\r\n", "\x16\x03\x01\x02\x03",
          "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nab\r\n0\r\n\r\n"}) {
        server.onRequest([garbage](const Request&, Connection connection) {
            connection.send(garbage);
            connection.close();
        });
        Call call(transport, get(server.url("/")));
        const Outcome& outcome = call.outcome();
        // Qt takes a chunk without a length for the last one, and any number for a status.
        EXPECT_FALSE(outcome.ok() && outcome.value().statusCode < 300 &&
                     !outcome.value().body.empty())
            << garbage;
    }
}

TEST_F(QtHttpTransportTest, SilenceEndsARequestAfterTheIdleLimitWhereverItBegins) {
    QtHttpTransport impatient(withLimit(shortLimit));
    for (const char* start :
         {"", "HTTP/1.1 200 OK\r\nContent-", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n",
          "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"}) {
        server.answerWith(start);
        QElapsedTimer elapsed;
        elapsed.start();
        Call call(impatient, get(server.url("/")));
        EXPECT_EQ(call.error(), (TransportError{Kind::timedOut, "The request timed out."}));
        EXPECT_GE(elapsed.elapsed(), shortLimit.count());
    }
}

TEST_F(QtHttpTransportTest, SilenceInTheTlsHandshakeEndsARequestToo) {
    QtHttpTransport impatient(withLimit(shortLimit));
    // A server without TLS, which waits for the end of a request that is none.
    std::string url = server.url("/");
    url.replace(0, 4, "https");
    Call call(impatient, get(url));
    EXPECT_EQ(call.error().kind, Kind::timedOut);
    EXPECT_EQ(server.connectionCount(), 1U);
}

TEST_F(QtHttpTransportTest, ASlowAnswerThatNeverPausesTooLongSucceeds) {
    QtHttpTransport impatient(withLimit(600ms));
    server.onRequest([](const Request&, Connection connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\n");
        connection.every(80, [connection, left = 12]() mutable {
            connection.send("x");
            return --left > 0;
        });
    });
    QElapsedTimer elapsed;
    elapsed.start();
    Call call(impatient, get(server.url("/")));
    EXPECT_EQ(call.body(), std::string(12, 'x'));
    EXPECT_GT(elapsed.elapsed(), 600);
}

TEST_F(QtHttpTransportTest, ABodyOfOneMebibyteIsTakenAndOneByteMoreIsRefused) {
    const std::string largest(QtHttpTransport::maxBodySize, 'x');
    server.answerWith(ScriptedHttpServer::response("200 OK", largest));
    Call taken(transport, get(server.url("/")));
    EXPECT_TRUE(taken.body() == largest);
    server.answerWith(ScriptedHttpServer::response("200 OK", largest + 'x'));
    Call refused(transport, get(server.url("/")));
    EXPECT_EQ(refused.error(),
              (TransportError{Kind::tooLarge, "The server's answer is too large."}));
    server.answerWith(ScriptedHttpServer::response("500 X", largest + 'x'));
    Call refusedError(transport, get(server.url("/")));
    EXPECT_EQ(refusedError.error().kind, Kind::tooLarge);
}

TEST_F(QtHttpTransportTest, AnEndlessBodyIsCutOff) {
    server.onRequest([](const Request&, Connection connection) {
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        connection.every(0, [connection]() mutable {
            connection.send(std::string(65536, 'x'));
            return true;
        });
    });
    Call call(transport, get(server.url("/")));
    EXPECT_EQ(call.error().kind, Kind::tooLarge);
    EXPECT_TRUE(runUntil([this] { return server.openConnectionCount() == 0; }));
}

/// The highest memory use of this process so far, in KiB.
long peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long kibibytes = 0;
            status >> kibibytes;
            return kibibytes;
        }
    }
    return 0;
}

TEST_F(QtHttpTransportTest, UnpacksAnAnswerButNotABomb) {
    const auto packed = [](const std::string& command) {
        return test::ChildProcess::run({"sh", "-c", command + " | gzip -1"}, {}).text;
    };
    const std::string headers = "Content-Encoding: gzip\r\n";
    server.answerWith(ScriptedHttpServer::response("200 OK", packed("printf hello"), headers));
    Call call(transport, get(server.url("/")));
    EXPECT_EQ(call.body(), "hello");
    EXPECT_THAT(server.requests().back().header("Accept-Encoding"), ElementsAre(HasSubstr("gzip")));

    constexpr long bombSize = 100'000'000;
    const std::string bomb = packed("head -c " + std::to_string(bombSize) + " /dev/zero");
    ASSERT_LT(bomb.size(), QtHttpTransport::maxBodySize);
    server.answerWith(ScriptedHttpServer::response("200 OK", bomb, headers));
    const long before = peakMemory();
    Call bombed(transport, get(server.url("/")));
    EXPECT_EQ(bombed.error().kind, Kind::tooLarge);
    EXPECT_LT(peakMemory() - before, bombSize / 1024 / 4);
}

TEST_F(QtHttpTransportTest, AnAnswerThatCannotBeUnpackedIsAnErrorDespiteItsStatus) {
    server.answerWith(ScriptedHttpServer::response("200 OK", "this is not gzip at all",
                                                   "Content-Encoding: gzip\r\n"));
    Call call(transport, get(server.url("/")));
    EXPECT_EQ(call.error().kind, Kind::other);
}

TEST_F(QtHttpTransportTest, FollowsARedirectWithinTheOriginWithItsHeaders) {
    for (const char* status : {"301 X", "302 X", "303 X", "307 X", "308 X"}) {
        for (const std::string& location : {std::string("/new"), server.url("/new")}) {
            server.onRequest([=](const Request& request, Connection connection) {
                connection.send(request.line == "GET /new HTTP/1.1"
                                    ? ScriptedHttpServer::response("200 OK", "new")
                                    : redirect(status, location));
            });
            Call call(transport, authenticatedGet(server.url("/old")));
            EXPECT_EQ(call.body(), "new") << status;
            EXPECT_THAT(server.requests().back().header("Authorization"),
                        ElementsAre("Bearer t0ken"));
        }
    }
}

TEST_F(QtHttpTransportTest, ARedirectedPostKeepsItsBodyOnlyOn307And308) {
    for (const auto& [status, repeated] : {std::pair("301 X", false),
                                           {"302 X", false},
                                           {"303 X", false},
                                           {"307 X", true},
                                           {"308 X", true}}) {
        server.onRequest([status = status](const Request& request, Connection connection) {
            connection.send(request.line.find(" /new ") != std::string::npos
                                ? ScriptedHttpServer::response("200 OK", "new")
                                : redirect(status, "/new"));
        });
        Call call(transport, post(server.url("/old"), "payload"));
        EXPECT_EQ(call.body(), "new") << status;
        const Request& last = server.requests().back();
        EXPECT_EQ(last.line, repeated ? "POST /new HTTP/1.1" : "GET /new HTTP/1.1") << status;
        EXPECT_EQ(last.body, repeated ? "payload" : "") << status;
        EXPECT_EQ(last.header("Content-Type").size(), repeated ? 1U : 0U) << status;
    }
}

TEST_F(QtHttpTransportTest, ARedirectToAnotherOriginIsTheAnswerAndNothingGoesThere) {
    ScriptedHttpServer other;
    other.answerWith(ScriptedHttpServer::response("200 OK", "stolen"));
    std::string elsewhere = server.url("/", "localhost");
    std::string secure = server.url("/");
    secure.replace(0, 4, "https");
    for (const std::string& location :
         {other.url("/"), "//127.0.0.1:" + std::to_string(other.serverPort()) + "/", elsewhere,
          secure, std::string("ftp://127.0.0.1/"), std::string("file:///etc/passwd"),
          std::string("data:,x"), std::string("http://user@") + server.url("/").substr(7)}) {
        for (const char* status : {"302 X", "307 X", "308 X"}) {
            server.answerWith(redirect(status, location));
            HttpRequest request = post(server.url("/"), "secret");
            request.headers.emplace_back("Authorization", "Bearer t0ken");
            const std::size_t before = server.requests().size();
            Call call(transport, request);
            EXPECT_EQ(call.status(), std::stoi(status)) << location;
            EXPECT_EQ(server.requests().size(), before + 1) << location;
        }
    }
    EXPECT_EQ(other.connectionCount(), 0U);
}

TEST_F(QtHttpTransportTest, ARedirectWithoutAUsableTargetIsTheAnswer) {
    for (const char* location : {"", "/with space", "/%zz", "http://", "http://[/"}) {
        server.answerWith(redirect("302 X", location));
        Call call(transport, get(server.url("/")));
        EXPECT_EQ(call.status(), 302) << location;
    }
    server.answerWith(ScriptedHttpServer::response("302 X", ""));
    Call call(transport, get(server.url("/")));
    EXPECT_EQ(call.status(), 302);
}

TEST_F(QtHttpTransportTest, FollowsSixteenRedirectsAndNoMore) {
    server.answerWith(redirect("302 X", "/loop"));
    Call call(transport, get(server.url("/loop")));
    EXPECT_EQ(call.status(), 302);
    EXPECT_EQ(server.requests().size(), 17U);
}

TEST_F(QtHttpTransportTest, KeepsNoCookies) {
    server.answerWith(ScriptedHttpServer::response("200 OK", "", "Set-Cookie: a=b; Path=/\r\n"));
    Call first(transport, get(server.url("/")));
    first.outcome();
    Call second(transport, get(server.url("/")));
    second.outcome();
    EXPECT_THAT(server.requests().back().header("Cookie"), IsEmpty());
}

TEST_F(QtHttpTransportTest, KeepsNoAnswerForLater) {
    server.answerWith(ScriptedHttpServer::response(
        "200 OK", "x", "Cache-Control: max-age=9999\r\nETag: \"1\"\r\n"));
    for (int request = 0; request < 3; ++request) {
        Call call(transport, get(server.url("/")));
        EXPECT_EQ(call.body(), "x");
        EXPECT_THAT(server.requests().back().header("If-None-Match"), IsEmpty());
    }
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(QtHttpTransportTest, RunsRequestsInParallel) {
    constexpr std::size_t count = 6;
    std::vector<Connection> waiting;
    server.onRequest([&](const Request&, Connection connection) {
        waiting.push_back(connection);
        if (waiting.size() == count) {
            for (Connection& each : waiting) {
                each.send(ScriptedHttpServer::response("200 OK", "together"));
            }
        }
    });
    std::vector<std::unique_ptr<Call>> calls;
    for (std::size_t index = 0; index < count; ++index) {
        calls.push_back(std::make_unique<Call>(transport, get(server.url("/"))));
    }
    for (const auto& call : calls) {
        EXPECT_EQ(call->body(), "together");
    }
}

TEST_F(QtHttpTransportTest, TakesATlsServerThatItsAuthorityVouchesFor) {
    ScriptedHttpServer secure(certificates->good());
    secure.answerWith(ScriptedHttpServer::response("200 OK", "safe"));
    QtHttpTransport trustingTransport(trusting());
    for (const char* host : {"localhost", "127.0.0.1"}) {
        Call call(trustingTransport, authenticatedGet(secure.url("/", host)));
        EXPECT_EQ(call.body(), "safe") << host;
    }
}

TEST_F(QtHttpTransportTest, RefusesATlsServerThatCannotProveItsNameAndSendsItNothing) {
    const struct {
        const TestCertificates::Identity& identity;
        bool trusts;
        const char* reason;
    } cases[] = {
        {certificates->good(), false, "certificate"},
        {certificates->selfSigned(), true, "self-signed"},
        {certificates->wrongHost(), true, "host name"},
        {certificates->expired(), true, "expired"},
    };
    for (const auto& [identity, trusts, reason] : cases) {
        ScriptedHttpServer secure(identity);
        secure.answerWith(ScriptedHttpServer::response("200 OK", "trap"));
        QtHttpTransport client(trusts ? trusting() : QtHttpTransport::Options{});
        Call call(client, authenticatedGet(secure.url("/secret-path", "localhost")));
        const TransportError error = call.error();
        EXPECT_EQ(error.kind, Kind::tls) << reason;
        EXPECT_THAT(error.description,
                    AllOf(StartsWith("The server's certificate was refused: "), HasSubstr(reason),
                          Not(HasSubstr("secret-path")), Not(HasSubstr("http"))));
        EXPECT_THAT(secure.requests(), IsEmpty());
    }
}

TEST_F(QtHttpTransportTest, APlainServerOnATlsAddressIsATlsError) {
    ScriptedHttpServer rude;
    QTcpServer plain;
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost));
    QObject::connect(&plain, &QTcpServer::newConnection, &plain, [&plain] {
        plain.nextPendingConnection()->write("HTTP/1.1 400 Bad Request\r\n\r\n");
    });
    Call call(transport, get("https://127.0.0.1:" + std::to_string(plain.serverPort()) + "/"));
    const TransportError error = call.error();
    EXPECT_EQ(error.kind, Kind::tls);
    EXPECT_EQ(error.description, "A secure connection to the server could not be made.");
}

/// The phases that a request goes through, each held open by the server.
const std::vector<std::string> phases = {"", "HTTP/1.1 200 OK\r\nConte",
                                         "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"};

TEST_F(QtHttpTransportTest, CancellingCompletesOnceLaterInEveryPhase) {
    const TransportError cancelled{Kind::cancelled, "The request was cancelled."};
    // On a server of its own: the connection may be made yet, and kept for another request.
    ScriptedHttpServer unused;
    Call early(transport, get(unused.url("/")));
    early.cancel();
    early.cancel();
    EXPECT_EQ(early.error(), cancelled);
    for (const std::string& phase : phases) {
        server.answerWith(phase);
        const std::size_t before = server.requests().size();
        Call call(transport, get(server.url("/")));
        ASSERT_TRUE(runUntil([&] { return server.requests().size() > before; }));
        settle(transport);
        call.cancel();
        call.cancel();
        EXPECT_EQ(call.error(), cancelled);
        EXPECT_TRUE(runUntil([this] { return server.openConnectionCount() == 0; }));
        call.cancel();
        settle(transport);
        EXPECT_EQ(call.completions(), 1);
    }
    server.answerWith(ScriptedHttpServer::response("200 OK", "x"));
    Call late(transport, get(server.url("/")));
    EXPECT_EQ(late.status(), 200);
    late.cancel();
    settle(transport);
    EXPECT_EQ(late.completions(), 1);
}

TEST_F(QtHttpTransportTest, CancellingAnUnsendableRequestLeavesItsError) {
    Call call(transport, get("nonsense"));
    call.cancel();
    EXPECT_EQ(call.error().kind, Kind::other);
}

TEST_F(QtHttpTransportTest, DestroyingSilencesInEveryPhase) {
    // On a server of its own: the connection may be made yet, and kept for another request.
    ScriptedHttpServer unused;
    Call early(transport, get(unused.url("/")));
    early.destroy();
    for (const std::string& phase : phases) {
        server.answerWith(phase);
        const std::size_t before = server.requests().size();
        Call call(transport, get(server.url("/")));
        ASSERT_TRUE(runUntil([&] { return server.requests().size() > before; }));
        settle(transport);
        call.destroy();
        EXPECT_TRUE(runUntil([this] { return server.openConnectionCount() == 0; }));
        settle(transport);
        EXPECT_EQ(call.completions(), 0);
    }
    Call cancelled(transport, get(server.url("/")));
    cancelled.cancel();
    cancelled.destroy();
    Call unsendable(transport, get("nonsense"));
    unsendable.destroy();
    settle(transport);
    EXPECT_EQ(early.completions() + cancelled.completions() + unsendable.completions(), 0);
}

TEST_F(QtHttpTransportTest, ACompletionMayDestroyItsExchangeInEveryOutcome) {
    QtHttpTransport impatient(withLimit(shortLimit));
    for (const std::string& answer :
         {std::string(), ScriptedHttpServer::response("200 OK", "x"),
          ScriptedHttpServer::response("500 X", ""),
          ScriptedHttpServer::response("200 OK", std::string(2'000'000, 'x'))}) {
        server.answerWith(answer);
        int completions = 0;
        std::unique_ptr<HttpExchange> exchange;
        exchange = impatient.send(get(server.url("/")), [&](const Outcome&) {
            exchange.reset();
            ++completions;
        });
        EXPECT_TRUE(runUntil([&] { return completions == 1; }));
    }
}

TEST_F(QtHttpTransportTest, TheTransportMayGoRightAfterItsExchanges) {
    auto passing = std::make_unique<QtHttpTransport>();
    Call call(*passing, get(server.url("/")));
    Call elsewhere(*passing, get("http://backend.invalid/"));
    ASSERT_TRUE(runUntil([this] { return server.requests().size() == 1; }));
    call.destroy();
    elsewhere.destroy();
    passing.reset();
    EXPECT_TRUE(runUntil([this] { return server.openConnectionCount() == 0; }));
}

/// The client over the real transport, since the two divide the work on an answer between them.
class APIClientOverHttp : public QtHttpTransportTest {
protected:
    APIClientOverHttp() {
        client.onUnauthorized = [this] { events.emplace_back("onUnauthorized"); };
        keychain.save("t0ken", KeychainService::Key::accessToken);
    }

    void getProfile() {
        const auto request =
            client.authenticatedGet<UserProfile>("/api/auth/me", [this](const auto& result) {
                events.push_back(result.ok() ? result.value().email : result.error().rendering());
            });
        const std::size_t before = events.size();
        EXPECT_TRUE(
            runUntil([&] { return events.size() > before && events.back() != "onUnauthorized"; }));
    }

    test::FakeCredentialStore store;
    KeychainService keychain{store};
    QtClock clock;
    APIClient client{server.url(""), transport, keychain, clock};
    std::vector<std::string> events;
};

TEST_F(APIClientOverHttp, GetsARecord) {
    server.answerWith(ScriptedHttpServer::response(
        "200 OK", R"({"id":"u","email":"ann@example.com","account_id":"a"})"));
    getProfile();
    EXPECT_THAT(events, ElementsAre("ann@example.com"));
    EXPECT_THAT(server.requests().back().header("Authorization"), ElementsAre("Bearer t0ken"));
}

TEST_F(APIClientOverHttp, ReportsA401InEachFormOnceAndFirst) {
    for (const char* challenge :
         {"", "WWW-Authenticate: Basic realm=\"x\"\r\n", "WWW-Authenticate: Bearer\r\n",
          "WWW-Authenticate: Digest realm=\"x\", nonce=\"y\"\r\n",
          "WWW-Authenticate: Negotiate\r\n", "WWW-Authenticate: NTLM\r\n",
          "WWW-Authenticate: Unknown a=b\r\n", "WWW-Authenticate:\r\n", "Connection: close\r\n"}) {
        events.clear();
        const std::size_t before = server.requests().size();
        server.answerWith(ScriptedHttpServer::response("401 Unauthorized", "{}", challenge));
        getProfile();
        EXPECT_THAT(events, ElementsAre("onUnauthorized", "unauthorized")) << challenge;
        EXPECT_EQ(server.requests().size(), before + 1) << challenge;
    }
}

TEST_F(APIClientOverHttp, AnEmpty204IsADecodingError) {
    server.answerWith("HTTP/1.1 204 No Content\r\n\r\n");
    getProfile();
    EXPECT_THAT(events, ElementsAre("decodingError(The answer is empty.)"));
}

TEST_F(APIClientOverHttp, AForeignRedirectIsAnHttpErrorAndKeepsTheToken) {
    ScriptedHttpServer other;
    server.answerWith(redirect("302 X", other.url("/")));
    getProfile();
    EXPECT_THAT(events, ElementsAre("httpError(statusCode: 302, message: nil)"));
    EXPECT_EQ(other.connectionCount(), 0U);
}

TEST_F(APIClientOverHttp, A304IsAnHttpError) {
    server.answerWith("HTTP/1.1 304 Not Modified\r\n\r\n");
    getProfile();
    EXPECT_THAT(events, ElementsAre("httpError(statusCode: 304, message: nil)"));
}

} // namespace
} // namespace tandrel
