#include "Platform/WebSocket/Handshake.h"

#include <gmock/gmock.h>

#include <random>
#include <set>
#include <string>
#include <tuple>

namespace tandrel {
namespace {

using testing::HasSubstr;
using Verdict = UpgradeReply::Verdict;

// The example of RFC 6455, section 1.3.
const std::string key = "dGhlIHNhbXBsZSBub25jZQ==";
const std::string accept = "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=";

constexpr std::size_t limit = 16'384;

std::string reply(const std::string& headers) {
    return "HTTP/1.1 101 Switching Protocols\r\n" + headers + "\r\n";
}

const std::string goodHeaders =
    "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Accept: " + accept + "\r\n";

Verdict judge(const std::string& bytes) {
    return UpgradeReply(accept, limit).feed(bytes);
}

TEST(Handshake, AnswersAKeyAsTheStandardsExampleDoes) {
    EXPECT_EQ(acceptFor(key), accept);
}

TEST(Handshake, MakesFreshKeysOf16Bytes) {
    std::set<std::string> keys;
    for (int count = 0; count < 100; ++count) {
        const std::string made = makeHandshakeKey();
        EXPECT_EQ(made.size(), 24U);
        EXPECT_EQ(made.substr(22), "==");
        keys.insert(made);
    }
    EXPECT_EQ(keys.size(), 100U);
}

TEST(Handshake, AsksForAnUpgradeAndNothingElse) {
    const auto url = WebSocketUrl::parse("wss://host:8443/tandrel-stream?token=%41b");
    ASSERT_TRUE(url);
    EXPECT_EQ(makeUpgradeRequest(*url, key), "GET /tandrel-stream?token=%41b HTTP/1.1\r\n"
                                             "Host: host:8443\r\n"
                                             "Upgrade: websocket\r\n"
                                             "Connection: Upgrade\r\n"
                                             "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                                             "Sec-WebSocket-Version: 13\r\n"
                                             "\r\n");
}

TEST(UpgradeReply, AcceptsWhatTheStandardAsksForInAnySpelling) {
    EXPECT_EQ(judge(reply(goodHeaders)), Verdict::accepted);
    EXPECT_EQ(
        judge(reply("server: x\r\nUPGRADE:WebSocket\r\nconnection:   keep-alive, Upgrade  \r\n"
                    "sec-websocket-accept:\t" +
                    accept + " \r\n")),
        Verdict::accepted);
    EXPECT_EQ(judge(reply("Connection: keep-alive\r\nConnection: upgrade\r\nUpgrade: h2c, websocket"
                          "\r\nSec-WebSocket-Accept: " +
                          accept + "\r\n")),
              Verdict::accepted);
}

TEST(UpgradeReply, RefusesAReplyThatLacksOrSpoilsAHeader) {
    for (const std::string& headers : {
             "Connection: Upgrade\r\nSec-WebSocket-Accept: " + accept + "\r\n",
             "Upgrade: websocket\r\nSec-WebSocket-Accept: " + accept + "\r\n",
             std::string("Upgrade: websocket\r\nConnection: Upgrade\r\n"),
             "Upgrade: websockets\r\nConnection: Upgrade\r\nSec-WebSocket-Accept: " + accept +
                 "\r\n",
             "Upgrade: websocket\r\nConnection: close\r\nSec-WebSocket-Accept: " + accept + "\r\n",
             goodHeaders + "Sec-WebSocket-Accept: " + accept + "\r\n",
             std::string("Upgrade: websocket\r\nConnection: Upgrade\r\n"
                         "Sec-WebSocket-Accept: S3PPLMBITXAQ9KYGZZHZRBK+XOO=\r\n"),
         }) {
        EXPECT_EQ(judge(reply(headers)), Verdict::refused) << headers;
    }
}

TEST(UpgradeReply, RefusesExtensionsAndProtocolsThatWereNotOffered) {
    for (const char* header : {"Sec-WebSocket-Extensions: permessage-deflate\r\n",
                               "Sec-WebSocket-Protocol: audio\r\n"}) {
        UpgradeReply judged(accept, limit);
        EXPECT_EQ(judged.feed(reply(goodHeaders + header)), Verdict::refused);
        EXPECT_THAT(judged.reason(), HasSubstr("not offered"));
    }
}

TEST(UpgradeReply, NamesTheStatusThatRefuses) {
    UpgradeReply judged(accept, limit);
    EXPECT_EQ(judged.feed("HTTP/1.1 401 Unauthorized\r\n"), Verdict::refused);
    EXPECT_EQ(judged.reason(), "The server refused the stream (HTTP status 401).");
}

TEST(UpgradeReply, RefusesGarbageAtItsFirstWrongByte) {
    EXPECT_EQ(judge("HTTP/1.1"), Verdict::incomplete);
    EXPECT_EQ(judge("HTTP/1.0 "), Verdict::refused);
    EXPECT_EQ(judge("x"), Verdict::refused);
    EXPECT_EQ(judge("HTTP/1.1 1x1 \r\n"), Verdict::refused);
    EXPECT_EQ(judge("HTTP/1.1 1012\r\n"), Verdict::refused);
}

TEST(UpgradeReply, HandsOverTheBytesBehindIt) {
    UpgradeReply judged(accept, limit);
    EXPECT_EQ(judged.feed(reply(goodHeaders) + "frames\r\n\r\n"), Verdict::accepted);
    EXPECT_EQ(judged.rest(), "frames\r\n\r\n");
}

TEST(UpgradeReply, TakesHeadersUpToTheLimitAndNoByteMore) {
    const std::string start = reply(goodHeaders);
    const std::string empty = "X: \r\n";
    const std::size_t room = limit - (start.size() - 4) - empty.size();
    EXPECT_EQ(judge(reply(goodHeaders + "X: " + std::string(room, 'x') + "\r\n")),
              Verdict::accepted);
    EXPECT_EQ(judge(reply(goodHeaders + "X: " + std::string(room + 1, 'x') + "\r\n")),
              Verdict::refused);
    EXPECT_EQ(judge("HTTP/1.1 101 " + std::string(2 * limit, 'x')), Verdict::refused);
}

/// What a reply leads to, whole or in pieces.
std::tuple<Verdict, std::string, std::string> outcome(const std::string& bytes,
                                                      std::mt19937* cuts) {
    UpgradeReply judged(accept, limit);
    Verdict verdict = Verdict::incomplete;
    std::size_t at = 0;
    while (at < bytes.size() && verdict == Verdict::incomplete) {
        const std::size_t size = cuts != nullptr ? (*cuts)() % 7 + 1 : bytes.size();
        verdict = judged.feed(std::string_view(bytes).substr(at, size));
        at += std::min(size, bytes.size() - at);
    }
    const std::string left = bytes.substr(std::min(at, bytes.size()));
    return {verdict, judged.reason(), verdict == Verdict::accepted ? judged.rest() + left : ""};
}

TEST(UpgradeReply, ComesToTheSameResultWholeOrInPieces) {
    std::mt19937 random(7);
    const std::string good =
        reply("X: " + std::string(limit - 200, 'x') + "\r\n" + goodHeaders) + "\x81\x02hi";
    const std::string small = reply(goodHeaders) + "\x81\x02hi";
    for (int run = 0; run < 3000; ++run) {
        std::string bytes = run % 20 == 0 ? good : small;
        const std::size_t changes = random() % 4;
        for (std::size_t change = 0; change < changes; ++change) {
            const std::size_t at = random() % bytes.size();
            switch (random() % 3) {
            case 0:
                bytes[at] = static_cast<char>(random());
                break;
            case 1:
                bytes.erase(at, random() % 20);
                break;
            default:
                bytes.insert(at, random() % 200, static_cast<char>(random()));
            }
            if (bytes.empty()) {
                bytes = "x";
            }
        }
        ASSERT_EQ(outcome(bytes, nullptr), outcome(bytes, &random)) << "run " << run;
    }
}

} // namespace
} // namespace tandrel
