#include "Foundation/Base64.h"

#include <gmock/gmock.h>

#include <string>

namespace tandrel {
namespace {

using testing::Optional;

TEST(Base64, ReadsTheVectorsOfTheStandard) {
    // RFC 4648, section 10.
    EXPECT_THAT(decodeBase64(""), Optional(std::string()));
    EXPECT_THAT(decodeBase64("Zg=="), Optional(std::string("f")));
    EXPECT_THAT(decodeBase64("Zm8="), Optional(std::string("fo")));
    EXPECT_THAT(decodeBase64("Zm9v"), Optional(std::string("foo")));
    EXPECT_THAT(decodeBase64("Zm9vYg=="), Optional(std::string("foob")));
    EXPECT_THAT(decodeBase64("Zm9vYmE="), Optional(std::string("fooba")));
    EXPECT_THAT(decodeBase64("Zm9vYmFy"), Optional(std::string("foobar")));
}

TEST(Base64, ReadsEveryByte) {
    EXPECT_THAT(decodeBase64("AP+Afw=="), Optional(std::string("\0\xff\x80\x7f", 4)));
    EXPECT_THAT(decodeBase64("++//"), Optional(std::string("\xfb\xef\xff")));
}

TEST(Base64, RefusesWhatIsNotExactlyThat) {
    for (const char* text : {"Zg", "Zg=", "Zm9", "Zm9vYg", "Zg==Zg==", "Zm9v\n", " Zm9v", "Zm9-",
                             "Zm_v", "=", "==", "====", "Z===", "Zm=v"}) {
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    }
}

TEST(Base64, RefusesBitsThatNoByteNeeds) {
    // Another text for the same bytes would be another signature with the same meaning.
    EXPECT_EQ(decodeBase64("Zh=="), std::nullopt);
    EXPECT_EQ(decodeBase64("Zm9="), std::nullopt);
}

} // namespace
} // namespace tandrel
