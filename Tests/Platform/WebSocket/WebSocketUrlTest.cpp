#include "Platform/WebSocket/WebSocketUrl.h"

#include <gmock/gmock.h>

#include <string>

namespace tandrel {
namespace {

WebSocketUrl parsed(const std::string& text) {
    const auto url = WebSocketUrl::parse(text);
    EXPECT_TRUE(url) << text;
    return url.value_or(WebSocketUrl());
}

TEST(WebSocketUrl, TakesASecureUrlApart) {
    const WebSocketUrl url = parsed("wss://api.quorvane.example/tandrel-stream?token=abc");
    EXPECT_TRUE(url.secure);
    EXPECT_EQ(url.host, "api.quorvane.example");
    EXPECT_EQ(url.port, 443);
    EXPECT_EQ(url.hostHeader, "api.quorvane.example");
    EXPECT_EQ(url.target, "/tandrel-stream?token=abc");
}

TEST(WebSocketUrl, ShowsAPortOfItsOwnInTheHostHeader) {
    EXPECT_EQ(parsed("ws://127.0.0.1:8787/x").hostHeader, "127.0.0.1:8787");
    EXPECT_EQ(parsed("ws://127.0.0.1:8787/x").port, 8787);
    EXPECT_EQ(parsed("ws://127.0.0.1:80/x").hostHeader, "127.0.0.1");
    EXPECT_EQ(parsed("ws://127.0.0.1:443/x").hostHeader, "127.0.0.1:443");
    EXPECT_EQ(parsed("ws://example/").port, 80);
}

TEST(WebSocketUrl, KeepsTheBracketsOfAnAddressOutOfTheHost) {
    const WebSocketUrl url = parsed("ws://[::1]:9000/");
    EXPECT_EQ(url.host, "::1");
    EXPECT_EQ(url.hostHeader, "[::1]:9000");
}

TEST(WebSocketUrl, KeepsPathAndQueryByteForByte) {
    for (const char* target : {"/tandrel-stream?token=%41%2f%2F", "/a//b/../c?x=y?z=/",
                               "/?token=a+b&c=~!$'()*,;:@", "/%7e", "/?", "//"}) {
        EXPECT_EQ(parsed(std::string("wss://host") + target).target, target);
    }
}

TEST(WebSocketUrl, AsksForTheRootWithoutAPath) {
    EXPECT_EQ(parsed("ws://host").target, "/");
    EXPECT_EQ(parsed("ws://host?a=b").target, "/?a=b");
}

TEST(WebSocketUrl, TakesTheSchemeInAnyCase) {
    EXPECT_TRUE(parsed("WSS://host/").secure);
    EXPECT_FALSE(parsed("Ws://host/").secure);
}

TEST(WebSocketUrl, RefusesWhatCannotBeConnectedTo) {
    for (const std::string& text :
         {std::string(), std::string("host/path"), std::string("http://host/"),
          std::string("https://host/"), std::string("ws:///path"), std::string("ws://:80/"),
          std::string("ws://host:65536/"), std::string("ws://host:0/"), std::string("ws://host:x/"),
          std::string("ws://ho st/"), std::string("ws://[::1/"), std::string("ws://host/a#b"),
          std::string("ws://host#b"), std::string("ws://host/a b"),
          std::string("ws://host/a\r\nX: y"), std::string("ws://host/\xc3\xa9"),
          std::string("ws://host/a\0b", 13)}) {
        EXPECT_FALSE(WebSocketUrl::parse(text)) << text;
    }
}

} // namespace
} // namespace tandrel
