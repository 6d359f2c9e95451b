#include "Foundation/Console.h"

#include <gmock/gmock.h>

#include <string>

namespace tandrel {
namespace {

TEST(Printable, LeavesTextAsItIs) {
    for (const std::string text : {"", "a b~", "quorvane-tandrel://start?a=%0A", "äöü€😀",
                                   "\xc2\xa0", "\xe2\x80\xa7\xe2\x80\xaa", "\xff\xc2"}) {
        EXPECT_EQ(printable(text), text);
    }
}

TEST(Printable, KeepsItOnOneLine) {
    EXPECT_EQ(printable("a\nb\r\n\tc\v\f"), "a\\x0ab\\x0d\\x0a\\x09c\\x0b\\x0c");
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a\\x00b");
    // The ends of lines and paragraphs beyond ASCII.
    EXPECT_EQ(printable("a\xc2\x85"), "a\\xc2\\x85");
    EXPECT_EQ(printable("\xe2\x80\xa8\xe2\x80\xa9"), "\\xe2\\x80\\xa8\\xe2\\x80\\xa9");
}

TEST(Printable, SteersNoTerminal) {
    EXPECT_EQ(printable("\x1b[2J\x7f"), "\\x1b[2J\\x7f");
    // One character that means what ESC and "[" do.
    EXPECT_EQ(printable("\xc2\x9b"
                        "2J"),
              "\\xc2\\x9b2J");
    EXPECT_EQ(printable("\xc2\x80\xc2\x9f"), "\\xc2\\x80\\xc2\\x9f");
}

} // namespace
} // namespace tandrel
