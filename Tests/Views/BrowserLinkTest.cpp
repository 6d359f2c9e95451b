#include "Views/BrowserLink.h"

#include "Foundation/UrlSyntax.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tandrel {
namespace {

std::string link(const std::string& interviewId) {
    return browserLink("https://app.test", interviewId).value_or("none");
}

TEST(BrowserLink, LeadsToTheInterviewsPage) {
    EXPECT_EQ(link("i1"), "https://app.test/interviews/i1");
    EXPECT_EQ(link("3F2504E0-4F89-11D3-9A0C-0305E82C3301"),
              "https://app.test/interviews/3F2504E0-4F89-11D3-9A0C-0305E82C3301");
    EXPECT_EQ(link("a.b_c~d"), "https://app.test/interviews/a.b_c~d");
}

TEST(BrowserLink, KeepsTheIdentifierWithinOneSegment) {
    EXPECT_EQ(link("../x"), "https://app.test/interviews/..%2Fx");
    EXPECT_EQ(link("a/b"), "https://app.test/interviews/a%2Fb");
    EXPECT_EQ(link("a\\b"), "https://app.test/interviews/a%5Cb");
    EXPECT_EQ(link("?q"), "https://app.test/interviews/%3Fq");
    EXPECT_EQ(link("#f"), "https://app.test/interviews/%23f");
    EXPECT_EQ(link("a;b=c&d"), "https://app.test/interviews/a%3Bb%3Dc%26d");
    EXPECT_EQ(link("//evil.test"), "https://app.test/interviews/%2F%2Fevil.test");
    EXPECT_EQ(link("@evil.test"), "https://app.test/interviews/%40evil.test");
}

TEST(BrowserLink, EncodesWhatIsEncodedAlready) {
    EXPECT_EQ(link("%2e%2e"), "https://app.test/interviews/%252e%252e");
    EXPECT_EQ(link("%2F"), "https://app.test/interviews/%252F");
}

TEST(BrowserLink, EncodesEveryOtherByte) {
    EXPECT_EQ(link("a b"), "https://app.test/interviews/a%20b");
    EXPECT_EQ(link("café"), "https://app.test/interviews/caf%C3%A9");
    EXPECT_EQ(link(std::string("a\0b\nc", 5)), "https://app.test/interviews/a%00b%0Ac");
    EXPECT_EQ(link("\xff"), "https://app.test/interviews/%FF");
}

TEST(BrowserLink, IsAlwaysAnAddressOfTheWebApp) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string address = link(std::string(2, static_cast<char>(byte)));
        if (byte == '.') {
            EXPECT_EQ(address, "none");
            continue;
        }
        EXPECT_TRUE(isValidUrl(address)) << address;
        EXPECT_EQ(address.rfind('/'), std::string("https://app.test/interviews").size()) << address;
    }
}

TEST(BrowserLink, HasNoPageForWhatNoSegmentCanSay) {
    EXPECT_EQ(browserLink("https://app.test", "."), std::nullopt);
    EXPECT_EQ(browserLink("https://app.test", ".."), std::nullopt);
    EXPECT_EQ(link("..."), "https://app.test/interviews/...");
}

TEST(BrowserLink, OfAnEmptyIdentifierIsTheListOfInterviews) {
    EXPECT_EQ(link(""), "https://app.test/interviews/");
}

TEST(BrowserLink, HasABound) {
    EXPECT_NE(link(std::string(1024, 'a')), "none");
    EXPECT_EQ(link(std::string(1025, 'a')), "none");
}

} // namespace
} // namespace tandrel
