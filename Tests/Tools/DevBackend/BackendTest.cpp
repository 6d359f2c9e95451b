#include "BuildPaths.h"
#include "RunningBackend.h"

#include <QElapsedTimer>
#include <QTcpServer>

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

// The program as its users meet it: started for real, spoken to over sockets.

namespace tandrel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

QString text(const QJsonObject& json, const char* key) {
    return json.value(QLatin1String(key)).toString();
}

QJsonObject member(const QJsonObject& json, const char* key) {
    return json.value(QLatin1String(key)).toObject();
}

int number(const QJsonObject& json, const char* key) {
    return json.value(QLatin1String(key)).toInt(-1);
}

/// A message of `frames` frames that differs from every other `seed`'s.
QByteArray message(int seed, int frames) {
    QByteArray bytes;
    for (int frame = 0; frame < frames; ++frame) {
        const int sample = seed * 37 + frame;
        bytes.append(static_cast<char>(sample & 0xff));
        bytes.append(static_cast<char>((sample >> 8) & 0x3f));
    }
    return bytes;
}

/// A socket without any library in between, which tells a reset from an orderly end.
class PlainSocket {
public:
    explicit PlainSocket(quint16 port)
        : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
    }
    ~PlainSocket() { ::close(descriptor_); }
    PlainSocket(const PlainSocket&) = delete;
    PlainSocket& operator=(const PlainSocket&) = delete;

    void send(const std::string& bytes) const {
        EXPECT_EQ(::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// What comes within the limit, at most one buffer full; sets errno to EAGAIN for nothing.
    [[nodiscard]] ssize_t receive(std::chrono::milliseconds limit) {
        const timeval time{limit.count() / 1000, limit.count() % 1000 * 1000};
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
        text_.resize(4096);
        const ssize_t length = recv(descriptor_, text_.data(), text_.size(), 0);
        text_.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return length;
    }
    [[nodiscard]] const std::string& text() const { return text_; }

private:
    int descriptor_;
    std::string text_;
};

constexpr std::chrono::seconds longEnough{5};

const std::string upgradeRequest = " HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\n"
                                   "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                                   "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";

/// One server for all cases; each begins with no fault set and a token of its own.
class DevBackend : public testing::Test {
protected:
    static void SetUpTestSuite() { running = new RunningBackend(); }
    static void TearDownTestSuite() { delete std::exchange(running, nullptr); }

    void SetUp() override {
        EXPECT_EQ(backend().request("DELETE", QStringLiteral("/dev/faults")).status, 200);
    }

    static RunningBackend& backend() { return *running; }

    static void setFault(const char* endpoint, const QByteArray& json) {
        const QString path = QStringLiteral("/dev/faults/") + QLatin1String(endpoint);
        EXPECT_EQ(backend().request("PUT", path, json).status, 200);
    }

    static Reply me(const QByteArray& token) {
        return backend().request("GET", QStringLiteral("/api/auth/me"), {}, token);
    }

    static Reply pending(const QByteArray& token) {
        return backend().request("GET", QStringLiteral("/api/tandrel/sessions/pending"), {}, token);
    }

    static QByteArray tokenOf(const QJsonObject& session) {
        return text(session, "token").toLatin1();
    }

    static std::string phaseOf(const QJsonObject& session) {
        return text(backend().describe(session), "phase").toStdString();
    }

    static int messagesOf(const QJsonObject& session) {
        return number(member(backend().describe(session), "audio"), "messages");
    }

    static Reply act(const QJsonObject& session, const QByteArray& json) {
        return backend().request(
            "POST", QStringLiteral("/dev/sessions/%1/stream").arg(text(session, "session_id")),
            json);
    }

    static Reply get(const QJsonObject& session, const char* what) {
        return backend().request("GET", QStringLiteral("/dev/sessions/%1/%2")
                                            .arg(text(session, "session_id"), QLatin1String(what)));
    }

    static RunningBackend* running;
};

RunningBackend* DevBackend::running = nullptr;

// ---- Sign-in

TEST_F(DevBackend, ARightPasswordGetsTokensAndTheProfile) {
    const Reply reply =
        backend().request("POST", QStringLiteral("/api/auth/login"),
                          R"({"email":"demo@quorvane.example","password":"tandrel-demo"})");
    EXPECT_EQ(reply.status, 200);
    EXPECT_FALSE(text(reply.json(), "access_token").isEmpty());
    EXPECT_FALSE(text(reply.json(), "refresh_token").isEmpty());
    const QJsonObject user = member(reply.json(), "user");
    EXPECT_EQ(text(user, "email"), QStringLiteral("demo@quorvane.example"));
    EXPECT_EQ(text(user, "full_name"), QStringLiteral("Demo Person"));
    EXPECT_EQ(text(user, "id"), QStringLiteral("user-1"));
    EXPECT_EQ(text(user, "account_id"), QStringLiteral("account-1"));
}

TEST_F(DevBackend, AWrongPasswordGets401) {
    const Reply reply = backend().request("POST", QStringLiteral("/api/auth/login"),
                                          R"({"email":"demo@quorvane.example","password":"no"})");
    EXPECT_EQ(reply.status, 401);
    EXPECT_EQ(text(reply.json(), "error"), QStringLiteral("invalid_credentials"));
}

TEST_F(DevBackend, ALoginThatIsNoRecordGets400) {
    const auto login = [](const QByteArray& body) {
        return backend().request("POST", QStringLiteral("/api/auth/login"), body).status;
    };
    EXPECT_EQ(login("{"), 400);
    EXPECT_EQ(login("[]"), 400);
    EXPECT_EQ(login(R"({"email":"demo@quorvane.example"})"), 400);
    EXPECT_EQ(login(R"({"email":"demo@quorvane.example","password":7})"), 400);
}

TEST_F(DevBackend, TheProfileNeedsAKnownToken) {
    const QByteArray token = backend().signIn();
    EXPECT_EQ(me(token).status, 200);
    EXPECT_EQ(text(me(token).json(), "id"), QStringLiteral("user-1"));
    EXPECT_EQ(me({}).status, 401);
    EXPECT_EQ(me("guess").status, 401);
    EXPECT_EQ(backend().request("POST", QStringLiteral("/dev/tokens/revoke")).status, 200);
    EXPECT_EQ(me(token).status, 401);
}

TEST_F(DevBackend, AnotherMethodGets405) {
    EXPECT_EQ(backend().request("GET", QStringLiteral("/api/auth/login")).status, 405);
    EXPECT_EQ(backend().request("POST", QStringLiteral("/api/auth/me"), "{}").status, 405);
}

// ---- Sessions

TEST_F(DevBackend, NoPendingSessionIs404WithAJsonBody) {
    const QJsonObject session = backend().startSession();
    const QString end = QStringLiteral("/dev/sessions/%1/end").arg(text(session, "session_id"));
    EXPECT_EQ(backend().request("POST", end).status, 200);
    const QByteArray token = backend().signIn();
    const Reply reply = pending(token);
    EXPECT_EQ(reply.status, 404);
    EXPECT_EQ(text(reply.json(), "error"), QStringLiteral("no_pending_session"));
    EXPECT_EQ(pending({}).status, 401);
}

TEST_F(DevBackend, APendingSessionIsToldToItsOwner) {
    const QByteArray token = backend().signIn();
    const QJsonObject session = backend().startSession(R"({"interview_id":"interview-5"})");
    const QJsonObject told = pending(token).json();
    EXPECT_EQ(text(told, "session_id"), text(session, "session_id"));
    EXPECT_EQ(text(told, "token"), text(session, "token"));
    EXPECT_EQ(text(told, "interview_id"), QStringLiteral("interview-5"));
    EXPECT_EQ(told.size(), 3);
}

TEST_F(DevBackend, ASessionGoesFromPendingOverStreamingToCompleted) {
    const QByteArray token = backend().signIn();
    const QJsonObject session = backend().startSession();
    EXPECT_EQ(phaseOf(session), "pending");

    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    EXPECT_EQ(phaseOf(session), "streaming");
    EXPECT_EQ(pending(token).status, 404);

    stream->close();
    ASSERT_TRUE(waitFor([&] { return stream->hasEnded(); }));
    ASSERT_TRUE(waitFor([&] { return phaseOf(session) == "completed"; }));
    const QJsonObject end = member(backend().describe(session), "last_end");
    EXPECT_EQ(text(end, "by"), QStringLiteral("client"));
    EXPECT_EQ(number(end, "code"), 1000);
}

TEST_F(DevBackend, ALostStreamMayBeOpenedAgain) {
    const QByteArray token = backend().signIn();
    const QJsonObject session = backend().startSession();
    const auto lost = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return lost->isOpen(); }));
    lost->send(message(1, 10));
    ASSERT_TRUE(waitFor([&] { return messagesOf(session) == 1; }));
    lost->abort();
    ASSERT_TRUE(waitFor([&] { return phaseOf(session) == "pending"; }));
    EXPECT_EQ(text(member(backend().describe(session), "last_end"), "by"), QStringLiteral("loss"));
    EXPECT_EQ(text(pending(token).json(), "session_id"), text(session, "session_id"));

    const auto again = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return again->isOpen(); }));
    again->send(message(2, 10));
    ASSERT_TRUE(waitFor([&] { return messagesOf(session) == 2; }));
    EXPECT_EQ(get(session, "audio.wav").body.mid(44), message(1, 10) + message(2, 10));
    EXPECT_EQ(number(backend().describe(session), "connections"), 2);
}

TEST_F(DevBackend, AnEndWithoutACloseFrameIsALoss) {
    const QJsonObject session = backend().startSession();
    {
        PlainSocket socket(backend().port());
        socket.send("GET /tandrel-stream?token=" + tokenOf(session).toStdString() + upgradeRequest);
        ASSERT_GT(socket.receive(longEnough), 0);
        EXPECT_EQ(phaseOf(session), "streaming");
    }
    EXPECT_TRUE(waitFor([&] { return phaseOf(session) == "pending"; }));
    EXPECT_EQ(text(member(backend().describe(session), "last_end"), "by"), QStringLiteral("loss"));
}

TEST_F(DevBackend, AnUnknownTokenIsClosedWith4001) {
    const auto stream = backend().openStream("unknown");
    ASSERT_TRUE(waitFor([&] { return stream->hasEnded(); }));
    EXPECT_TRUE(stream->wasOpened());
    EXPECT_EQ(stream->closeCode(), 4001);
}

TEST_F(DevBackend, ACompletedSessionIsClosedWith4002) {
    const QJsonObject session = backend().startSession();
    const auto first = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return first->isOpen(); }));
    EXPECT_EQ(backend()
                  .request("POST",
                           QStringLiteral("/dev/sessions/%1/end").arg(text(session, "session_id")))
                  .status,
              200);
    ASSERT_TRUE(waitFor([&] { return first->hasEnded(); }));
    EXPECT_EQ(first->closeCode(), 4002);
    EXPECT_EQ(phaseOf(session), "completed");

    const auto late = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return late->hasEnded(); }));
    EXPECT_EQ(late->closeCode(), 4002);
}

TEST_F(DevBackend, ASecondStreamReplacesTheFirst) {
    const QJsonObject session = backend().startSession();
    const auto first = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return first->isOpen(); }));
    const auto second = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return first->hasEnded(); }));
    EXPECT_EQ(first->closeCode(), 4002);
    ASSERT_TRUE(waitFor([&] { return second->isOpen(); }));
    second->send(message(1, 5));
    ASSERT_TRUE(waitFor([&] { return messagesOf(session) == 1; }));
    EXPECT_EQ(phaseOf(session), "streaming");
}

// ---- What arrives

TEST_F(DevBackend, RecordsExactlyWhatArrived) {
    const QJsonObject session = backend().startSession();
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    QByteArray sent;
    for (int index = 0; index < 200; ++index) {
        const QByteArray each = message(index, index % 2 == 0 ? 341 : 320);
        sent += each;
        stream->send(each);
    }
    ASSERT_TRUE(waitFor([&] { return messagesOf(session) == 200; }));

    const QByteArray wav = get(session, "audio.wav").body;
    EXPECT_EQ(wav.mid(44), sent) << "while the stream is open";
    EXPECT_EQ(wav.mid(40, 4), QByteArray("\x68\x04\x02\x00", 4)) << "132200 bytes of data";

    const QJsonObject audio = member(backend().describe(session), "audio");
    EXPECT_EQ(number(audio, "frames"), 66100);
    EXPECT_EQ(number(audio, "bytes"), 132200);
    EXPECT_EQ(number(audio, "min_frames"), 320);
    EXPECT_EQ(number(audio, "max_frames"), 341);
    EXPECT_DOUBLE_EQ(audio.value(QLatin1String("mean_frames")).toDouble(), 330.5);
    EXPECT_DOUBLE_EQ(audio.value(QLatin1String("seconds")).toDouble(), 66100 / 16000.0);

    stream->close();
    ASSERT_TRUE(waitFor([&] { return phaseOf(session) == "completed"; }));
    std::ifstream file(text(backend().describe(session), "wav").toStdString(), std::ios::binary);
    const std::string onDisk(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(onDisk, wav.toStdString());
}

std::uint64_t fnv1a(const QByteArray& bytes) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char byte : bytes) {
        hash ^= static_cast<std::uint8_t>(byte);
        hash *= 1099511628211U;
    }
    return hash;
}

TEST_F(DevBackend, NotesEachMessagesArrival) {
    const QJsonObject session = backend().startSession();
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    for (int index = 0; index < 20; ++index) {
        stream->send(message(index, 10 + index));
    }
    ASSERT_TRUE(waitFor([&] { return messagesOf(session) == 20; }));
    const QList<QByteArray> lines = get(session, "messages.csv").body.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 21);
    EXPECT_EQ(lines[0], "index,connection,bytes,monotonic_ns,fnv1a64");
    qint64 earlier = 0;
    for (int index = 0; index < 20; ++index) {
        const QList<QByteArray> fields = lines[index + 1].split(',');
        ASSERT_EQ(fields.size(), 5);
        EXPECT_EQ(fields[0].toInt(), index);
        EXPECT_EQ(fields[1].toInt(), 1);
        EXPECT_EQ(fields[2].toInt(), 2 * (10 + index));
        EXPECT_GE(fields[3].toLongLong(), earlier);
        EXPECT_EQ(fields[4].toULongLong(nullptr, 16), fnv1a(message(index, 10 + index)));
        earlier = fields[3].toLongLong();
    }
    stream->close();
    ASSERT_TRUE(waitFor([&] { return phaseOf(session) == "completed"; }));
    std::ifstream file(text(backend().describe(session), "message_log").toStdString());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}),
              get(session, "messages.csv").body.toStdString());
}

TEST_F(DevBackend, PrintsStatisticsEverySecond) {
    const QJsonObject session = backend().startSession();
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    stream->send(message(1, 320));
    const std::string line = "[" + text(session, "session_id").toStdString() +
                             "] 0.0 s audio, 1 messages, frames/message 320/320.0/320, ";
    EXPECT_TRUE(waitFor([&] { return backend().log().find(line) != std::string::npos; }));
}

TEST_F(DevBackend, SendsToTheClientOnRequest) {
    const QJsonObject session = backend().startSession();
    EXPECT_EQ(act(session, R"({"action":"send_text","text":"early"})").status, 409);
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    EXPECT_EQ(act(session, R"({"action":"send_text","text":"hello"})").status, 200);
    EXPECT_EQ(act(session, R"({"action":"send_binary","base64":"AAEC"})").status, 200);
    EXPECT_EQ(act(session, R"({"action":"dance"})").status, 400);
    ASSERT_TRUE(waitFor([&] { return !stream->binaries().empty(); }));
    EXPECT_THAT(stream->texts(), ElementsAre(QStringLiteral("hello")));
    EXPECT_THAT(stream->binaries(), ElementsAre(QByteArray("\0\1\2", 3)));
}

// ---- Faults of requests

TEST_F(DevBackend, AnswersWithTheStatusAskedForAsOftenAsAsked) {
    const QByteArray token = backend().signIn();
    setFault("me", R"({"status":503,"times":2})");
    EXPECT_EQ(me(token).status, 503);
    EXPECT_EQ(me(token).status, 503);
    EXPECT_EQ(me(token).status, 200);
    setFault("pending", R"({"status":302,"headers":{"Location":"/elsewhere"}})");
    EXPECT_EQ(pending(token).status, 302);
    setFault("login", R"({"status":500})");
    EXPECT_TRUE(backend().signIn().isEmpty());
}

TEST_F(DevBackend, AnswersWithTheBodyAskedFor) {
    const QByteArray token = backend().signIn();
    setFault("me", R"({"body":"{\"id\":"})");
    EXPECT_EQ(me(token).status, 200);
    EXPECT_EQ(me(token).body, "{\"id\":");
    setFault("me", R"({"status":204})");
    EXPECT_EQ(me(token).status, 204);
    setFault("me", R"({"body_bytes":2000000})");
    EXPECT_EQ(me(token).body.size(), 2000000);
}

TEST_F(DevBackend, DelaysItsAnswer) {
    const QByteArray token = backend().signIn();
    setFault("me", R"({"delay_ms":300})");
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(me(token).status, 200);
    EXPECT_GE(timer.elapsed(), 300);
}

TEST_F(DevBackend, RefusesAFaultItDoesNotKnow) {
    const Reply reply =
        backend().request("PUT", QStringLiteral("/dev/faults/me"), R"({"stats":503})");
    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(text(reply.json(), "message"), QStringLiteral("unknown key: stats"));
    EXPECT_EQ(backend().request("PUT", QStringLiteral("/dev/faults/moon"), "{}").status, 404);
}

TEST_F(DevBackend, ResetsTheConnectionInsteadOfAnAnswer) {
    setFault("me", R"({"answer":"reset"})");
    PlainSocket socket(backend().port());
    socket.send("GET /api/auth/me HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    EXPECT_EQ(socket.receive(longEnough), -1);
    EXPECT_EQ(errno, ECONNRESET);
}

TEST_F(DevBackend, SaysNothingInsteadOfAnAnswer) {
    setFault("me", R"({"answer":"silence"})");
    PlainSocket socket(backend().port());
    socket.send("GET /api/auth/me HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    EXPECT_EQ(socket.receive(std::chrono::milliseconds(300)), -1);
    EXPECT_EQ(errno, EAGAIN) << "neither an answer nor an end";
}

TEST_F(DevBackend, AnswersSeveralRequestsOnOneConnectionAlsoInPieces) {
    PlainSocket socket(backend().port());
    const std::string request = "GET /api/auth/me HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    for (int round = 0; round < 2; ++round) {
        socket.send(request.substr(0, 20));
        socket.send(request.substr(20));
        ASSERT_GT(socket.receive(longEnough), 0);
        EXPECT_THAT(socket.text(), StartsWith("HTTP/1.1 401 "));
    }
}

TEST_F(DevBackend, RefusesWhatIsNoHttp) {
    PlainSocket socket(backend().port());
    socket.send("hello\r\n\r\n");
    ASSERT_GT(socket.receive(longEnough), 0);
    EXPECT_THAT(socket.text(), StartsWith("HTTP/1.1 400 "));
    PlainSocket endless(backend().port());
    endless.send("GET / HTTP/1.1\r\nX: " + std::string(20'000, 'x'));
    ASSERT_GT(endless.receive(longEnough), 0);
    EXPECT_THAT(endless.text(), StartsWith("HTTP/1.1 431 "));
}

// ---- Faults of streams

TEST_F(DevBackend, AnswersTheUpgradeAsTheProtocolSays) {
    const QJsonObject session = backend().startSession();
    PlainSocket socket(backend().port());
    socket.send("GET /tandrel-stream?token=" + tokenOf(session).toStdString() + upgradeRequest);
    ASSERT_GT(socket.receive(longEnough), 0);
    EXPECT_THAT(socket.text(), StartsWith("HTTP/1.1 101 "));
    // The sample key of RFC 6455, section 1.3, and its answer.
    EXPECT_THAT(socket.text(), HasSubstr("s3pPLMBiTxaQ9kYGzzhZRbK+xOo="));
}

TEST_F(DevBackend, RefusesTheUpgradeWithAPlainStatus) {
    setFault("stream", R"({"status":503})");
    PlainSocket socket(backend().port());
    socket.send("GET /tandrel-stream?token=x" + upgradeRequest);
    ASSERT_GT(socket.receive(longEnough), 0);
    EXPECT_THAT(socket.text(), StartsWith("HTTP/1.1 503 "));
    setFault("stream", R"({"answer":"silence"})");
    PlainSocket ignored(backend().port());
    ignored.send("GET /tandrel-stream?token=x" + upgradeRequest);
    EXPECT_EQ(ignored.receive(std::chrono::milliseconds(300)), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(DevBackend, DelaysTheUpgrade) {
    const QJsonObject session = backend().startSession();
    setFault("stream", R"({"delay_ms":300})");
    QElapsedTimer timer;
    timer.start();
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    EXPECT_GE(timer.elapsed(), 300);
}

class CloseCode : public DevBackend, public testing::WithParamInterface<int> {};

TEST_P(CloseCode, ClosesAfterAsManyMessagesAsAsked) {
    const int code = GetParam();
    const QJsonObject session = backend().startSession();
    setFault("stream", R"({"then":"close","after_messages":3,"times":1,"code":)" +
                           QByteArray::number(code) + "}");
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    stream->send(message(1, 10));
    stream->send(message(2, 10));
    ASSERT_TRUE(waitFor([&] { return messagesOf(session) == 2; }));
    EXPECT_TRUE(stream->isOpen());
    stream->send(message(3, 10));
    ASSERT_TRUE(waitFor([&] { return stream->hasEnded(); }));
    EXPECT_EQ(stream->closeCode(), code);
    EXPECT_EQ(messagesOf(session), 3);
    ASSERT_TRUE(waitFor([&] { return phaseOf(session) != "streaming"; }));
    EXPECT_EQ(phaseOf(session), code == 4001 || code == 4002 ? "completed" : "pending");
}

INSTANTIATE_TEST_SUITE_P(Each, CloseCode, testing::Values(1000, 1011, 4001, 4002, 4003));

TEST_F(DevBackend, ClosesAfterAsMuchTimeAsAsked) {
    const QJsonObject session = backend().startSession();
    setFault("stream", R"({"then":"close","code":4003,"after_ms":200})");
    QElapsedTimer timer;
    timer.start();
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->hasEnded(); }));
    EXPECT_GE(timer.elapsed(), 200);
    EXPECT_EQ(stream->closeCode(), 4003);
}

TEST_F(DevBackend, ResetsAnOpenStream) {
    const QJsonObject session = backend().startSession();
    setFault("stream", R"({"then":"reset","after_ms":100})");
    PlainSocket socket(backend().port());
    socket.send("GET /tandrel-stream?token=" + tokenOf(session).toStdString() + upgradeRequest);
    ASSERT_GT(socket.receive(longEnough), 0);
    EXPECT_EQ(socket.receive(longEnough), -1);
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_TRUE(waitFor([&] { return phaseOf(session) == "pending"; }));
}

TEST_F(DevBackend, APausedStreamAnswersNoPingUntilItReadsOn) {
    const QJsonObject session = backend().startSession();
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    stream->ping();
    ASSERT_TRUE(waitFor([&] { return stream->pongs() == 1; }));

    EXPECT_EQ(act(session, R"({"action":"pause"})").status, 200);
    stream->ping();
    for (int index = 0; index < 100; ++index) {
        stream->send(message(index, 341));
    }
    // That nothing comes can only be seen by giving it time.
    QElapsedTimer since;
    since.start();
    ASSERT_TRUE(waitFor([&] { return since.elapsed() > 200; }));
    EXPECT_EQ(messagesOf(session), 0);
    EXPECT_EQ(stream->pongs(), 1);

    EXPECT_EQ(act(session, R"({"action":"resume"})").status, 200);
    ASSERT_TRUE(waitFor([&] { return messagesOf(session) == 100; }));
    ASSERT_TRUE(waitFor([&] { return stream->pongs() == 2; }));
}

TEST_F(DevBackend, AStreamThatIsPausedFromTheStartNeverAnswersThePing) {
    const QJsonObject session = backend().startSession();
    setFault("stream", R"({"then":"pause"})");
    const auto stream = backend().openStream(tokenOf(session));
    ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
    ASSERT_TRUE(waitFor([&] { return phaseOf(session) == "streaming"; }));
    stream->ping();
    QElapsedTimer since;
    since.start();
    ASSERT_TRUE(waitFor([&] { return since.elapsed() > 200; }));
    EXPECT_EQ(stream->pongs(), 0);
    EXPECT_TRUE(stream->isOpen());
}

// ---- Pages

TEST_F(DevBackend, PlaysTheWebApp) {
    const QByteArray home = backend().request("GET", QStringLiteral("/")).body;
    EXPECT_TRUE(home.contains("href=\"quorvane-tandrel://start\""));
    EXPECT_TRUE(home.contains("href=\"quorvane-tandrel://stop\""));
    for (const char* path :
         {"/", "/interviews/interview-1", "/auth/reset-password", "/privacy-policy"}) {
        const Reply reply = backend().request("GET", QLatin1String(path));
        EXPECT_EQ(reply.status, 200) << path;
        const std::string body = reply.body.toStdString();
        EXPECT_THAT(body, HasSubstr("</html>")) << path;
        EXPECT_THAT(body, Not(HasSubstr("{{"))) << path << ": everything was filled in";
        EXPECT_THAT(body, Not(HasSubstr("http://"))) << path << ": needs no other server";
        EXPECT_THAT(body, Not(HasSubstr("https://"))) << path << ": needs no other server";
    }
    EXPECT_EQ(backend().request("GET", QStringLiteral("/moon")).status, 404);
}

TEST_F(DevBackend, TellsNothingToPagesFromElsewhere) {
    const auto statusOf = [](const std::string& headers) {
        PlainSocket socket(backend().port());
        socket.send("GET /dev/status HTTP/1.1\r\n" + headers + "\r\n");
        EXPECT_GT(socket.receive(longEnough), 0);
        return socket.text().substr(9, 3);
    };
    EXPECT_EQ(statusOf("Host: 127.0.0.1:8787\r\n"), "200");
    EXPECT_EQ(statusOf("Host: localhost\r\nOrigin: http://localhost:8787\r\n"), "200");
    EXPECT_EQ(statusOf("Host: tricky.example\r\n"), "403");
    EXPECT_EQ(statusOf("Host: 127.0.0.1\r\nOrigin: https://tricky.example\r\n"), "403");
    EXPECT_EQ(statusOf("Host: 127.0.0.1\r\nOrigin: null\r\n"), "403");
}

TEST_F(DevBackend, CountsRequests) {
    const auto requests = [] {
        const QJsonObject status = backend().request("GET", QStringLiteral("/dev/status")).json();
        return number(member(status, "requests"), "me");
    };
    const int before = requests();
    EXPECT_EQ(me("x").status, 401);
    EXPECT_EQ(requests(), before + 1);
}

// ---- The program

TEST(DevBackendProgram, EndsCleanlyOnTermAndInterrupt) {
    for (const int signal : {SIGTERM, SIGINT}) {
        RunningBackend backend;
        const QJsonObject session = backend.startSession();
        const auto stream = backend.openStream(text(session, "token").toLatin1());
        ASSERT_TRUE(waitFor([&] { return stream->isOpen(); }));
        stream->send(message(1, 100));
        ASSERT_TRUE(waitFor(
            [&] { return number(member(backend.describe(session), "audio"), "messages") == 1; }));
        const QString wav = text(backend.describe(session), "wav");
        backend.process().signal(signal);
        ASSERT_TRUE(waitFor([&] { return stream->hasEnded(); }));
        EXPECT_EQ(stream->closeCode(), 1001);
        EXPECT_EQ(backend.process().waitForExit(longEnough), 0);
        EXPECT_EQ(std::filesystem::file_size(wav.toStdString()), 244U);
    }
}

TEST(DevBackendProgram, TakesAccountsAndFaultsFromTheCommandLine) {
    RunningBackend backend(
        {"--quiet", "--account", "ann@x.example:secret", "--fault", "me:status=418,times=1"});
    EXPECT_TRUE(backend.signIn().isEmpty()) << "no demo account beside others";
    const Reply login = backend.request("POST", QStringLiteral("/api/auth/login"),
                                        R"({"email":"ann@x.example","password":"secret"})");
    EXPECT_EQ(login.status, 200);
    EXPECT_FALSE(member(login.json(), "user").contains(QLatin1String("full_name")));
    EXPECT_EQ(backend.request("GET", QStringLiteral("/api/auth/me")).status, 418);
    EXPECT_EQ(backend.request("GET", QStringLiteral("/api/auth/me")).status, 401);

    const auto stream = backend.openStream("unknown");
    ASSERT_TRUE(waitFor([&] { return stream->hasEnded(); }));
    EXPECT_EQ(backend.log(),
              "listening on http://127.0.0.1:" + std::to_string(backend.port()) + "\n")
        << "quiet: nothing but the address";
}

ChildProcess::Output run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TANDREL_BUILD_BIN "/quorvane-tandrel-dev-backend");
    return ChildProcess::run(arguments, {});
}

TEST(DevBackendProgram, ExplainsItself) {
    const auto help = run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.text, HasSubstr("--port"));
    EXPECT_EQ(run({"--prot", "1"}).exitCode, 2);
    EXPECT_EQ(run({"--port", "70000"}).exitCode, 2);
    EXPECT_EQ(run({"--fault", "moon:status=500"}).exitCode, 2);
    EXPECT_EQ(run({"--fault", "me:stats=500"}).exitCode, 2);
    EXPECT_EQ(run({"--account", "nobody"}).exitCode, 2);
    EXPECT_EQ(run({"extra"}).exitCode, 2);
}

TEST(DevBackendProgram, SaysWhenThePortIsTaken) {
    QTcpServer other;
    ASSERT_TRUE(other.listen(QHostAddress::LocalHost));
    EXPECT_EQ(run({"--port", std::to_string(other.serverPort())}).exitCode, 1);
}

} // namespace
} // namespace tandrel::test
