#include "DevBackend/HttpMessage.h"

#include <gmock/gmock.h>

namespace devbackend {
namespace {

TEST(HttpMessage, ReadsARequestHead) {
    const auto request = parseRequestHead("POST /a/b?x=1&token=%41b HTTP/1.1\r\n"
                                          "Host: localhost\r\nContent-Length:  12 ");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "POST");
    EXPECT_EQ(request->path(), "/a/b");
    EXPECT_EQ(request->queryValue("token"), "%41b") << "byte for byte as sent";
    EXPECT_EQ(request->queryValue("tok"), "");
    EXPECT_EQ(request->header("host"), "localhost");
    EXPECT_EQ(request->contentLength(), 12);
    EXPECT_TRUE(request->keepsConnection());
    EXPECT_FALSE(request->wantsWebSocket());
}

TEST(HttpMessage, RefusesWhatIsNoRequest) {
    EXPECT_FALSE(parseRequestHead(""));
    EXPECT_FALSE(parseRequestHead("hello"));
    EXPECT_FALSE(parseRequestHead("GET / SPDY/3"));
    EXPECT_FALSE(parseRequestHead("GET http://elsewhere/ HTTP/1.1"));
    EXPECT_FALSE(parseRequestHead("GET / HTTP/1.1\r\nno colon here"));
}

TEST(HttpMessage, UnderstandsOnlyBodiesWithALength) {
    EXPECT_EQ(parseRequestHead("POST / HTTP/1.1\r\nHost: a")->contentLength(), 0);
    EXPECT_FALSE(parseRequestHead("POST / HTTP/1.1\r\nContent-Length: x")->contentLength());
    EXPECT_FALSE(parseRequestHead("POST / HTTP/1.1\r\nContent-Length: -1")->contentLength());
    EXPECT_FALSE(
        parseRequestHead("POST / HTTP/1.1\r\nTransfer-Encoding: chunked")->contentLength());
}

TEST(HttpMessage, RecognisesAnUpgrade) {
    const QByteArray line = "GET /tandrel-stream HTTP/1.1\r\n";
    EXPECT_TRUE(parseRequestHead(line + "Upgrade: WebSocket\r\nConnection: keep-alive, Upgrade")
                    ->wantsWebSocket());
    EXPECT_FALSE(parseRequestHead(line + "Upgrade: websocket")->wantsWebSocket());
    EXPECT_FALSE(parseRequestHead(line + "Upgrade: h2c\r\nConnection: Upgrade")->wantsWebSocket());
}

TEST(HttpMessage, WritesAResponse) {
    HttpResponse response =
        HttpResponse::error(503, QStringLiteral("busy"), QStringLiteral("Wait."));
    response.headers.push_back({"Retry-After", "5"});
    EXPECT_EQ(response.toBytes(false), "HTTP/1.1 503 Service Unavailable\r\n"
                                       "Retry-After: 5\r\n"
                                       "Connection: close\r\n"
                                       "Content-Type: application/json\r\n"
                                       "Cache-Control: no-store\r\n"
                                       "Content-Length: 35\r\n\r\n"
                                       "{\"error\":\"busy\",\"message\":\"Wait.\"}\n");
}

TEST(HttpMessage, AnAnswerWithoutContentHasNoBody) {
    HttpResponse response;
    response.status = 204;
    EXPECT_EQ(response.toBytes(true), "HTTP/1.1 204 No Content\r\nConnection: keep-alive\r\n\r\n");
}

} // namespace
} // namespace devbackend
