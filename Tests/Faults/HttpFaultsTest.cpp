#include "Platform/Qt/QtHttpTransport.h"
#include "Services/APIClient.h"
#include "Services/AuthService.h"
#include "Services/KeychainService.h"
#include "Services/SessionService.h"
#include "Support/ChildProcess.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeUserDefaults.h"
#include "Support/LogCapture.h"
#include "Support/ManualClock.h"
#include "Support/Names/NamedHosts.h"
#include "Support/ProcessFootprint.h"
#include "Support/Qt/EventLoop.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/TestCertificates.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::NamedHost;
using test::ProcessFootprint;
using test::runUntil;
using test::ScriptedHttpServer;
using test::TestCertificates;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Connection = ScriptedHttpServer::Connection;
using Request = ScriptedHttpServer::Request;
using Script = ScriptedHttpServer::Script;

constexpr const char* profile = R"({"id":"u1","email":"ada@example.org","accountId":"a1"})";
constexpr const char* loginAnswer = R"({"access_token":"access","refresh_token":"refresh","user":)"
                                    R"({"id":"u1","email":"ada@example.org","account_id":"a1"}})";
constexpr const char* sessionAnswer = R"({"session_id":"s1","token":"t","interview_id":"i1"})";
constexpr const char* expired = "Session expired. Please log in again.";

std::string answerTo(const Request& request) {
    const auto is = [&](const char* path) { return request.line.find(path) != std::string::npos; };
    if (is("/auth/login")) {
        return ScriptedHttpServer::response("200 OK", loginAnswer);
    }
    return ScriptedHttpServer::response("200 OK", is("/auth/me") ? profile : sessionAnswer);
}

/// How long a silence may last: more than a server that answers needs, however busy it is.
constexpr auto idleLimit = 1s;

/// The services of a user who is signed in or about to, over real HTTP; time is the test's.
class World {
public:
    explicit World(std::string baseURL, const QtHttpTransport::Options& options = {idleLimit, {}})
        : transport(options)
        , client(std::move(baseURL), transport, keychain, clock) {}

    void storeSignIn() {
        keychain.save("access", KeychainService::Key::accessToken);
        userDefaults.setData(AuthService::cachedUserKey, profile);
    }
    /// Signs in and waits for the outcome.
    void login() {
        attempt = auth.login("ada@example.org", "password");
        EXPECT_TRUE(runUntil([this] { return !auth.isLoading.value(); }));
    }
    /// Restores the stored sign-in and waits for the end of its validation.
    void restore() {
        bool isDone = false;
        attempt = auth.restoreSession([&isDone] { isDone = true; });
        EXPECT_TRUE(runUntil([&isDone] { return isDone; }));
    }
    /// Starts to poll and waits for the outcome of the first one.
    void poll() {
        session.startPolling();
        awaitPoll();
    }
    void pollAgain() {
        clock.advance(3s);
        awaitPoll();
    }
    /// Polls that have been sent, whatever has become of them.
    [[nodiscard]] std::ptrdiff_t pollCount() const {
        const auto lines = log_.linesStartingWith("[poll] #");
        return std::count_if(lines.begin(), lines.end(), isRequest);
    }

    test::ManualClock clock;
    test::FakeCredentialStore credentials;
    KeychainService keychain{credentials};
    test::FakeUserDefaults userDefaults;
    QtHttpTransport transport;
    APIClient client;
    AuthService auth{client, keychain, userDefaults};
    SessionService session{client, keychain, clock};
    Handle attempt;

private:
    static bool isRequest(const std::string& pollLine) {
        return pollLine.find("requesting") != std::string::npos;
    }
    void awaitPoll() {
        const auto outcomes = [this] {
            const auto lines = log_.linesStartingWith("[poll] #");
            return std::count_if(lines.begin(), lines.end(), std::not_fn(isRequest));
        };
        const auto before = outcomes();
        clock.runPending();
        EXPECT_TRUE(runUntil([&] { return outcomes() > before; }));
    }

    test::LogCapture log_;
};

struct Fault {
    std::string name;
    Script script;
    /// What the sign-in form says.
    std::string text;

    friend void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.name; }
};

/// Sends `bytes` and then nothing more, with the connection open, ended or reset.
enum class Then { waits, ends, resets };

Script sends(std::string bytes, Then then = Then::waits) {
    return [bytes = std::move(bytes), then](const Request&, Connection connection) {
        connection.send(bytes);
        if (then == Then::ends) {
            connection.close();
        } else if (then == Then::resets) {
            connection.reset();
        }
    };
}

/// Goes on for ever.
Script floods(const std::string& head) {
    return [head](const Request&, Connection connection) {
        connection.send(head);
        connection.every(0, [connection]() mutable {
            connection.send(std::string(65536, 'x'));
            return true;
        });
    };
}

std::string bomb() {
    static const std::string packed =
        test::ChildProcess::run({"sh", "-c", "head -c 100000000 /dev/zero | gzip -1"}, {}).text;
    return ScriptedHttpServer::response("200 OK", packed, "Content-Encoding: gzip\r\n");
}

std::vector<Fault> faults() {
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n";
    const std::string lost = "Network error: The connection to the server was lost.";
    const std::string late = "Network error: The request timed out.";
    const std::string large = "Network error: The server's answer is too large.";
    const std::string unreadable = "Failed to parse response: ";
    return {
        {"EndsBeforeTheHeaders", sends("", Then::ends), lost},
        {"ResetsInTheHeaders", sends("HTTP/1.1 200 OK\r\nContent-Le", Then::resets), lost},
        {"ResetsInTheBody", sends(head + "\r\n{\"a\"", Then::resets), "Network error: "},
        {"TruncatesTheBody", sends(head + "\r\n{\"a\"", Then::ends), lost},
        {"HangsBeforeTheHeaders", sends(""), late},
        {"HangsInTheHeaders", sends(head), late},
        {"HangsInTheBody", sends(head + "\r\n{\"a\""), late},
        {"SendsNothing", sends(ScriptedHttpServer::response("200 OK", "")), unreadable},
        {"SendsAPage", sends(ScriptedHttpServer::response("200 OK", "<html>")), unreadable},
        {"SendsAnotherRecord", sends(ScriptedHttpServer::response("200 OK", "{}")), unreadable},
        {"SendsNoUtf8", sends(ScriptedHttpServer::response("200 OK", "{\"id\":\"\xff\"}")),
         unreadable},
        {"AnnouncesAGigabyte", floods("HTTP/1.1 200 OK\r\nContent-Length: 1000000000\r\n\r\n"),
         large},
        {"SendsWithoutEnd", floods("HTTP/1.1 200 OK\r\n\r\n"), large},
        {"SendsABomb", sends(bomb()), large},
        {"SpeaksAnotherProtocol", sends("SSH-2.0-x\r\n", Then::ends), "Network error: "},
        {"SendsRubbish", sends(std::string("\0\x01\xff\xfe\r\n\r\n", 8), Then::ends),
         "Network error: "},
        {"RedirectsInACircle",
         sends(ScriptedHttpServer::response("302 Found", "", "Location: /api/auth/login\r\n")),
         "HTTP error 302"},
        {"RedirectsElsewhere",
         sends(ScriptedHttpServer::response("307 X", "", "Location: http://127.0.0.2:9/\r\n")),
         "HTTP error 307"},
        {"IsForbidden", sends(ScriptedHttpServer::response("403 X", "{}")), "HTTP error 403"},
        {"IsMissing", sends(ScriptedHttpServer::response("404 X", "{}")), "HTTP error 404"},
        {"IsBroken", sends(ScriptedHttpServer::response("500 X", "{}")), "HTTP error 500"},
        {"IsAway", sends(ScriptedHttpServer::response("503 X", "{}")), "HTTP error 503"},
    };
}

/// What the services print goes to the test's output only when it fails.
class HttpFaults : public testing::Test {
protected:
    static void SetUpTestSuite() {
        certificates = std::make_unique<TestCertificates>();
        // What a process makes once and keeps is there before anything is counted.
        ScriptedHttpServer server(certificates->good());
        server.onRequest([](const Request& request, Connection connection) {
            connection.send(answerTo(request));
        });
        testing::internal::CaptureStdout();
        {
            World world(server.url("", "localhost"), {5s, {certificates->authority()}});
            world.login();
            EXPECT_EQ(world.auth.error.value(), std::nullopt);
            const NamedHost host(std::vector<std::string>{});
            World lost(server.url("", host.name()), {5s, {}});
            lost.login();
        }
        testing::internal::GetCapturedStdout();
        // Threads of what has gone may still be ending.
        EXPECT_TRUE(runUntil([] {
            const auto threads = footprint().threads;
            return backgroundThreads() == 0 &&
                   std::count(threads.begin(), threads.end(), "QNetworkAccessM") == 0;
        }));
    }
    static void TearDownTestSuite() { certificates.reset(); }

    HttpFaults() { testing::internal::CaptureStdout(); }
    ~HttpFaults() override {
        const std::string printed = printed_ + testing::internal::GetCapturedStdout();
        if (HasFailure()) {
            std::fputs(printed.c_str(), stdout);
        }
        EXPECT_TRUE(runUntil([this] { return difference().empty(); }))
            << "left behind: " << difference();
    }

    /// What was printed so far, once.
    [[nodiscard]] std::string takePrinted() {
        printed_ += testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return printed_;
    }
    [[nodiscard]] std::string difference() const { return footprint().differenceFrom(before_); }
    /// Threads under the program's own name, beside the main one: those of look-ups.
    [[nodiscard]] static std::ptrdiff_t backgroundThreads() {
        std::string name;
        std::getline(std::ifstream("/proc/self/comm"), name);
        const auto threads = ProcessFootprint::ofThisProcess().threads;
        return std::count(threads.begin(), threads.end(), name) - 1;
    }
    static void answerProperly(ScriptedHttpServer& server) {
        server.onRequest([](const Request& request, Connection connection) {
            connection.send(answerTo(request));
        });
    }

    // Made once for all cases.
    static inline std::unique_ptr<TestCertificates> certificates;

private:
    [[nodiscard]] static ProcessFootprint footprint() {
        auto now = ProcessFootprint::ofThisProcess();
        // Qt keeps the threads of its look-ups for half a minute.
        std::erase(now.threads, "Thread (pooled)");
        return now;
    }

    std::string printed_;
    // Last, so that the capture of the output counts as there already.
    ProcessFootprint before_ = footprint();
};

class HttpFaultsOf : public HttpFaults, public testing::WithParamInterface<Fault> {};

std::string faultName(const testing::TestParamInfo<Fault>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(AServerThat, HttpFaultsOf, testing::ValuesIn(faults()), faultName);

TEST_P(HttpFaultsOf, ASignInSaysWhatHappenedAndTheNextSucceeds) {
    ScriptedHttpServer server;
    World world(server.url(""));
    server.onRequest(GetParam().script);
    world.login();
    EXPECT_THAT(world.auth.error.value().value_or(""), StartsWith(GetParam().text));
    EXPECT_THAT(world.auth.error.value().value_or(""), Not(HasSubstr("password")));
    EXPECT_FALSE(world.auth.isAuthenticated.value());
    EXPECT_EQ(world.credentials.itemCount(), 0U);
    answerProperly(server);
    world.login();
    EXPECT_EQ(world.auth.error.value(), std::nullopt);
    EXPECT_TRUE(world.auth.isAuthenticated.value());
}

TEST_P(HttpFaultsOf, AValidationKeepsTheUserSignedIn) {
    ScriptedHttpServer server;
    World world(server.url(""));
    world.storeSignIn();
    server.onRequest(GetParam().script);
    world.restore();
    EXPECT_TRUE(world.auth.isAuthenticated.value());
    ASSERT_TRUE(world.auth.user.value());
    EXPECT_EQ(world.auth.user.value()->email, "ada@example.org");
    EXPECT_EQ(world.auth.error.value(), std::nullopt);
    EXPECT_EQ(world.keychain.retrieve(KeychainService::Key::accessToken), "access");
    const bool isUnreadable = GetParam().text.starts_with("Failed to parse");
    EXPECT_THAT(takePrinted(),
                HasSubstr(isUnreadable ? "[Auth] Decoding error (keeping session): "
                                       : "[Auth] Transient error (keeping session)"));
}

TEST_P(HttpFaultsOf, ASearchGoesOnAtItsPaceAndFindsTheSession) {
    ScriptedHttpServer server;
    World world(server.url(""));
    world.storeSignIn();
    server.onRequest(GetParam().script);
    world.poll();
    EXPECT_EQ(world.session.state.value(), SessionState::polling());
    EXPECT_EQ(world.session.error.value(), std::nullopt);
    answerProperly(server);
    const auto polls = world.pollCount();
    world.clock.advance(2999ms);
    EXPECT_EQ(world.pollCount(), polls);
    world.clock.advance(1ms);
    EXPECT_EQ(world.pollCount(), polls + 1);
    EXPECT_TRUE(runUntil(
        [&] { return world.session.state.value().kind() == SessionState::Kind::sessionFound; }));
}

TEST_F(HttpFaults, APortThatRefusesIsSaidSoAndAsksAgain) {
    auto server = std::make_unique<ScriptedHttpServer>();
    const quint16 port = server->serverPort();
    World world(server->url(""));
    world.storeSignIn();
    server.reset();
    world.login();
    EXPECT_EQ(world.auth.error.value(), "Network error: The server refused the connection.");
    world.restore();
    EXPECT_TRUE(world.auth.isAuthenticated.value());
    world.poll();
    EXPECT_EQ(world.session.state.value(), SessionState::polling());
    ScriptedHttpServer back(QHostAddress(QHostAddress::LocalHost), port);
    answerProperly(back);
    world.pollAgain();
    EXPECT_EQ(world.session.state.value().kind(), SessionState::Kind::sessionFound);
}

TEST_F(HttpFaults, AServerThatCannotProveItsNameIsSaidSoAndSentNothing) {
    for (const auto& identity :
         {certificates->selfSigned(), certificates->wrongHost(), certificates->expired()}) {
        ScriptedHttpServer server(identity);
        answerProperly(server);
        World world(server.url("", "localhost"), {5s, {certificates->authority()}});
        world.storeSignIn();
        world.login();
        EXPECT_THAT(world.auth.error.value().value_or(""),
                    StartsWith("Network error: The server's certificate was refused: "));
        world.restore();
        EXPECT_TRUE(world.auth.isAuthenticated.value());
        world.poll();
        EXPECT_EQ(world.session.state.value(), SessionState::polling());
        EXPECT_TRUE(server.requests().empty());
    }
}

TEST_F(HttpFaults, ANameThatIsNotFoundIsSaidSoAndLookedForAgain) {
    ScriptedHttpServer server;
    answerProperly(server);
    const NamedHost host(std::vector<std::string>{});
    World world(server.url("", host.name()), {5s, {}});
    world.storeSignIn();
    world.login();
    EXPECT_EQ(world.auth.error.value(), "Network error: The server could not be found.");
    world.poll();
    EXPECT_EQ(world.session.state.value(), SessionState::polling());
    host.moveTo({"127.0.0.1"});
    world.pollAgain();
    EXPECT_EQ(world.session.state.value().kind(), SessionState::Kind::sessionFound);
}

TEST_F(HttpFaults, FaultUponFaultTakesNoMemory) {
    ScriptedHttpServer server;
    World world(server.url(""), {5s, {}});
    world.storeSignIn();
    const std::vector<Fault> all = faults();
    std::size_t before = 0;
    constexpr int warmUp = 5;
    constexpr int rounds = 40;
    for (int round = 0; round < rounds; ++round) {
        if (round == warmUp) {
            before = ProcessFootprint::ofThisProcess().anonymousBytes;
        }
        for (const Fault& fault : all) {
            // Those that wait for the idle limit, or send megabytes, are as good once.
            if (!fault.name.starts_with("Hangs") && !fault.text.ends_with("too large.")) {
                server.onRequest(fault.script);
                world.login();
            }
        }
    }
    const std::size_t after = ProcessFootprint::ofThisProcess().anonymousBytes;
    RecordProperty(
        "growth in kB",
        std::to_string((static_cast<double>(after) - static_cast<double>(before)) / 1000));
#ifndef TANDREL_SANITIZED
    // Sanitizers keep what is freed.
    EXPECT_LT(after, before + 2'000'000);
#endif
}

TEST_F(HttpFaults, A401DuringASignInIsAWrongPassword) {
    ScriptedHttpServer server;
    World world(server.url(""));
    server.answerWith(ScriptedHttpServer::response("401 X", "{}"));
    world.login();
    EXPECT_EQ(world.auth.error.value(), "Invalid email or password");
    EXPECT_FALSE(world.auth.isAuthenticated.value());
    EXPECT_THAT(takePrinted(), HasSubstr("[Auth] Received 401 \xe2\x80\x94 clearing session"));
}

TEST_F(HttpFaults, A401DuringAValidationOrASearchSignsOut) {
    ScriptedHttpServer server;
    server.answerWith(ScriptedHttpServer::response("401 X", "{}"));
    {
        World world(server.url(""));
        world.storeSignIn();
        world.restore();
        EXPECT_FALSE(world.auth.isAuthenticated.value());
        EXPECT_EQ(world.auth.error.value(), expired);
        EXPECT_EQ(world.credentials.itemCount(), 0U);
        EXPECT_EQ(world.userDefaults.size(), 0U);
    }
    World world(server.url(""));
    world.storeSignIn();
    world.poll();
    EXPECT_EQ(world.auth.error.value(), expired);
    EXPECT_EQ(world.credentials.itemCount(), 0U);
    EXPECT_EQ(world.session.state.value(), SessionState::idle());
    EXPECT_EQ(world.session.error.value(), "Session expired");
}

TEST_F(HttpFaults, AValidationThatAnswersAfterTheSignOutChangesNothing) {
    const std::string oldUser = R"({"id":"u0","email":"old@example.org","accountId":"a0"})";
    for (const char* status : {"200 OK", "401 X", "500 X"}) {
        for (const bool isReplaced : {false, true}) {
            SCOPED_TRACE(std::string(status) + (isReplaced ? ", somebody else is signed in" : ""));
            ScriptedHttpServer server;
            World world(server.url(""), {5s, {}});
            world.storeSignIn();
            bool isAsked = false;
            // Goes with the connection.
            std::weak_ptr<int> answer;
            server.onRequest([&](const Request&, Connection connection) {
                isAsked = true;
                const auto held = std::make_shared<int>();
                answer = held;
                connection.every(100, [&oldUser, held, status, connection]() mutable {
                    connection.send(ScriptedHttpServer::response(status, oldUser));
                    return false;
                });
            });
            bool isTaken = false;
            const Handle validation = world.auth.restoreSession([&isTaken] { isTaken = true; });
            ASSERT_TRUE(runUntil([&] { return isAsked; }));
            world.auth.logout();
            answerProperly(server);
            if (isReplaced) {
                world.login();
                ASSERT_TRUE(world.auth.isAuthenticated.value());
            }
            // It has come, or nobody waits for it any more.
            EXPECT_TRUE(runUntil([&] { return isTaken || answer.expired(); }));
            if (!isReplaced) {
                EXPECT_FALSE(world.auth.isAuthenticated.value());
                EXPECT_EQ(world.credentials.itemCount(), 0U);
                EXPECT_EQ(world.userDefaults.size(), 0U);
                continue;
            }
            world.poll();
            ASSERT_TRUE(world.auth.isAuthenticated.value());
            EXPECT_EQ(world.auth.user.value()->email, "ada@example.org");
            EXPECT_EQ(world.keychain.retrieve(KeychainService::Key::accessToken), "access");
            EXPECT_EQ(world.session.state.value().kind(), SessionState::Kind::sessionFound);
        }
    }
}

TEST_F(HttpFaults, ABackendThatMovesToAnotherAddressIsFoundThere) {
    const NamedHost host({"127.0.0.1"});
    auto server = std::make_unique<ScriptedHttpServer>();
    const quint16 port = server->serverPort();
    server->answerWith(ScriptedHttpServer::response("404 X", "{}"));
    World world(server->url("", host.name()), {5s, {}});
    world.storeSignIn();
    world.poll();
    EXPECT_EQ(server->requests().size(), 1U);
    server.reset();
    host.moveTo({"127.0.0.2"});
    ScriptedHttpServer elsewhere(QHostAddress(QStringLiteral("127.0.0.2")), port);
    answerProperly(elsewhere);
    // The first still goes where the name was found before, and has it looked for.
    world.pollAgain();
    EXPECT_EQ(world.session.state.value(), SessionState::polling());
    ASSERT_TRUE(runUntil([&] { return host.lookUpCount() == 2; }));
    // The look-up's thread ends once Qt remembers its answer.
    ASSERT_TRUE(runUntil([] { return backgroundThreads() == 0; }));
    world.pollAgain();
    EXPECT_EQ(world.session.state.value().kind(), SessionState::Kind::sessionFound);
}

} // namespace
} // namespace tandrel
