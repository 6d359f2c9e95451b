#include "Foundation/Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace tandrel {
namespace {

using namespace std::string_view_literals;

TEST(Utf8, TakesAsciiAndEveryLengthOfSequenceUpToItsLimits) {
    for (const auto text :
         {""sv, "plain"sv, "\0"sv, "\x7f"sv, "\xc2\x80"sv, "\xdf\xbf"sv, "\xe0\xa0\x80"sv,
          "\xed\x9f\xbf"sv, "\xee\x80\x80"sv, "\xef\xbf\xbf"sv, "\xf0\x90\x80\x80"sv,
          "\xf1\x80\x80\x80"sv, "\xf4\x8f\xbf\xbf"sv, "a\xc3\xa9z\xe2\x80\x94!"sv}) {
        EXPECT_TRUE(isValidUtf8(text)) << testing::PrintToString(std::string(text));
    }
}

TEST(Utf8, RefusesOverlongFormsSurrogatesAndWhatLiesAboveTheLastCodePoint) {
    for (const auto text :
         {"\xc0\x80"sv, "\xc1\xbf"sv, "\xe0\x9f\xbf"sv, "\xf0\x8f\xbf\xbf"sv, "\xed\xa0\x80"sv,
          "\xed\xbf\xbf"sv, "\xf4\x90\x80\x80"sv, "\xf5\x80\x80\x80"sv, "\xff"sv, "\xfe"sv}) {
        EXPECT_FALSE(isValidUtf8(text)) << testing::PrintToString(std::string(text));
    }
}

TEST(Utf8, RefusesTruncatedSequencesAndStrayContinuations) {
    for (const auto text : {"\xc2"sv, "a\xe2\x80"sv, "\xf0\x90\x80"sv, "\x80"sv, "a\xbf"sv,
                            "\xc2"
                            "a"sv,
                            "\xe2\x80"
                            "a"sv,
                            "\xf0\x90\x80"
                            "a"sv,
                            "\xc3\xa9\xa9"sv}) {
        EXPECT_FALSE(isValidUtf8(text)) << testing::PrintToString(std::string(text));
    }
}

} // namespace
} // namespace tandrel
