#include "Platform/Qt/AppcastReader.h"

#include <gmock/gmock.h>

#include <string>

namespace tandrel {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

std::string feed(const std::string& channel) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<rss version="2.0" xmlns:update="https://www.quorvane.example/ns/update"><channel>)" +
           channel + "</channel></rss>";
}

const std::string version = "<update:version>1.2</update:version>";
const std::string package = R"(<enclosure url="https://cdn.example/p.deb" length="123"/>)";

std::string item(const std::string& parts) {
    return feed("<item>" + parts + "</item>");
}

std::string why(const std::string& bytes) {
    const auto result = readAppcast(bytes);
    return result.ok() ? "it is taken" : result.error();
}

TEST(AppcastReader, ReadsAnItem) {
    const auto result = readAppcast(feed(R"(
      <title>Quorvane Tandrel</title><link>https://www.quorvane.example/</link>
      <item>
        <title>Version 1.2-rc.1+b~2_3</title>
        <pubDate>Sat, 21 Nov 2026 12:00:00 +0000</pubDate>
        <update:version> 1.2-rc.1+b~2_3 </update:version>
        <update:minimumSystemVersion>2.36</update:minimumSystemVersion>
        <update:releaseNotesLink>https://www.quorvane.example/n?a=1&amp;b=2</update:releaseNotesLink>
        <description><![CDATA[Sounds <better>.
And faster.]]></description>
        <enclosure url="https://cdn.example/p.deb?a=1&amp;b=2" length="123"
                   type="application/vnd.debian.binary-package"/>
        <update:signature>c2lnbmVk</update:signature>
        <update:signature>YWdhaW4=</update:signature>
        <other xmlns="urn:other"><version>9</version></other>
      </item>)"));
    ASSERT_TRUE(result.ok()) << result.error();
    EXPECT_EQ(result.value(), (Appcast{{"1.2-rc.1+b~2_3",
                                        "2.36",
                                        "https://www.quorvane.example/n?a=1&b=2",
                                        "Sounds <better>.\nAnd faster.",
                                        "https://cdn.example/p.deb?a=1&b=2",
                                        123,
                                        {"c2lnbmVk", "YWdhaW4="}}}));
}

TEST(AppcastReader, KeepsTheOrderAndReadsAnEmptyFeed) {
    const auto result = readAppcast(feed("<item>" + version + package +
                                         "</item><item><update:version>1.1"
                                         "</update:version>" +
                                         package + "</item>"));
    ASSERT_THAT(result.value(), SizeIs(2));
    EXPECT_EQ(result.value()[0].version, "1.2");
    EXPECT_EQ(result.value()[1].version, "1.1");
    EXPECT_THAT(readAppcast(feed("")).value(), SizeIs(0));
}

TEST(AppcastReader, RefusesWhatIsNoFeed) {
    for (const char* text :
         {"", " ", "garbage", "<rss>", "<rss><channel></rss>", "{\"version\": 1}", "\xff\xfe\x00",
          "<rss><channel/></rss><rss/>", "<rss><channel>&nbsp;</channel></rss>"}) {
        EXPECT_THAT(why(text), HasSubstr("not well-formed")) << text;
    }
    EXPECT_THAT(why("<html/>"), HasSubstr("not an RSS feed"));
    EXPECT_THAT(why("<rss/>"), HasSubstr("no channel"));
    EXPECT_THAT(why(feed(version).substr(0, 150)), HasSubstr("not well-formed"));
}

TEST(AppcastReader, RefusesItemsThatLackSomething) {
    EXPECT_EQ(why(item(version + package)), "it is taken");
    EXPECT_THAT(why(item(package)), HasSubstr("no version"));
    EXPECT_THAT(why(item(version)), HasSubstr("no package"));
    EXPECT_THAT(why(item(version + R"(<enclosure length="1"/>)")), HasSubstr("no address"));
    EXPECT_THAT(why(item("<version>1.2</version>" + package)), HasSubstr("no version"))
        << "of no namespace";
    EXPECT_THAT(why(item(version + version + package)), HasSubstr("two versions"));
    EXPECT_THAT(why(item(version + package + package)), HasSubstr("two packages"));
}

TEST(AppcastReader, RefusesVersionsAndLengthsThatAreNone) {
    for (const std::string text : {"", "1 2", "1/2", "1\n2", "é", "<b/>"}) {
        EXPECT_NE(why(item("<update:version>" + text + "</update:version>" + package)),
                  "it is taken")
            << text;
    }
    const auto withVersionOf = [](std::size_t length) {
        return item("<update:version>" + std::string(length, '1') + "</update:version>" + package);
    };
    EXPECT_EQ(why(withVersionOf(64)), "it is taken");
    EXPECT_THAT(why(withVersionOf(65)), HasSubstr("version is not valid"));
    for (const std::string text :
         {"", "0", "-1", "1e6", "12 ", "0x10", "67108865", "99999999999999999999999999"}) {
        EXPECT_THAT(
            why(item(version + R"(<enclosure url="https://e.example/" length=")" + text + "\"/>")),
            HasSubstr("length"))
            << text;
    }
    EXPECT_EQ(why(item(version + R"(<enclosure url="https://e.example/" length="67108864"/>)")),
              "it is taken");
}

TEST(AppcastReader, RefusesEntitiesOfTheFeedsOwn) {
    const std::string body = "<rss><channel><item>&b;</item></channel></rss>";
    EXPECT_THAT(
        why(R"(<!DOCTYPE rss [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;&a;&a;&a;">]>)" + body),
        HasSubstr("document type"));
    EXPECT_THAT(why(R"(<!DOCTYPE rss [<!ENTITY b SYSTEM "file:///etc/passwd">]>)" + body),
                HasSubstr("document type"));
    EXPECT_THAT(why("<!DOCTYPE rss>" + feed("")), HasSubstr("document type"));
}

TEST(AppcastReader, BoundsWhatItTakes) {
    const std::string whole = "<item>" + version + package + "</item>";
    std::string items;
    for (int count = 0; count < 200; ++count) {
        items += whole;
    }
    EXPECT_THAT(readAppcast(feed(items)).value(), SizeIs(200));
    EXPECT_THAT(why(feed(items + whole)), HasSubstr("too many items"));

    std::string signatures;
    for (int count = 0; count < 4; ++count) {
        signatures += "<update:signature>c2ln</update:signature>";
    }
    EXPECT_EQ(why(item(version + package + signatures)), "it is taken");
    EXPECT_THAT(why(item(version + package + signatures + "<update:signature/>")),
                HasSubstr("too many signatures"));

    const auto notes = [](const std::string& text) {
        return readAppcast(item(version + package + "<description>" + text + "</description>"))
            .value()[0]
            .notes;
    };
    EXPECT_THAT(notes(std::string(16384, 'n')), SizeIs(16384));
    EXPECT_THAT(notes(std::string(16385, 'n')), SizeIs(16384));
    EXPECT_THAT(notes(std::string(16383, 'n') + "é"), SizeIs(16383)) << "no half characters";
}

TEST(AppcastReader, EndsInsideDeepNesting) {
    std::string deep;
    for (int level = 0; level < 50'000; ++level) {
        deep += "<a>";
    }
    EXPECT_THAT(why(feed(deep)), HasSubstr("not well-formed"));
}

TEST(AppcastReader, TellsTheLine) {
    EXPECT_THAT(why("<rss>\n<channel>\n<item/></channel></rss>"), HasSubstr("(line 3)"));
}

} // namespace
} // namespace tandrel
