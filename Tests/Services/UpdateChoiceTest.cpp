#include "Services/UpdateChoice.h"

#include <gmock/gmock.h>

namespace tandrel {
namespace {

using Kind = UpdateChoice::Kind;

AppcastItem item(const std::string& version, const std::string& minimumSystem = {}) {
    AppcastItem item;
    item.version = version;
    item.minimumSystemVersion = minimumSystem;
    return item;
}

TEST(UpdateChoice, TakesTheNewestWhateverTheOrder) {
    const auto choice = chooseUpdate({item("1.2"), item("1.10"), item("1.9")}, "1.1", "2.36");
    EXPECT_EQ(choice.kind, Kind::available);
    EXPECT_EQ(choice.item->version, "1.10");
}

TEST(UpdateChoice, IsUpToDateWithTheNewestAndWithAnEmptyFeed) {
    EXPECT_EQ(chooseUpdate({item("1.1"), item("1.0")}, "1.1", "2.36"), UpdateChoice{});
    EXPECT_EQ(chooseUpdate({item("1.1.0")}, "1.1", "2.36"), UpdateChoice{});
    EXPECT_EQ(chooseUpdate({}, "1.1", "2.36"), UpdateChoice{});
}

TEST(UpdateChoice, RefusesADowngrade) {
    const auto choice = chooseUpdate({item("1.0"), item("0.9")}, "1.1", "2.36");
    EXPECT_EQ(choice.kind, Kind::onlyOlder);
    EXPECT_EQ(choice.item->version, "1.0");
    EXPECT_EQ(chooseUpdate({item("1.1-beta")}, "1.1", "2.36").kind, Kind::onlyOlder);
}

TEST(UpdateChoice, OffersAReleaseToItsPreRelease) {
    EXPECT_EQ(chooseUpdate({item("1.1")}, "1.1-rc2", "2.36").kind, Kind::available);
}

TEST(UpdateChoice, TakesTheNewestThatRunsHere) {
    const Appcast feed = {item("1.4", "2.41"), item("1.3", "2.36"), item("1.2", "2.31")};
    EXPECT_EQ(chooseUpdate(feed, "1.1", "2.36").item->version, "1.3");
    EXPECT_EQ(chooseUpdate(feed, "1.1", "2.35").item->version, "1.2");
    EXPECT_EQ(chooseUpdate(feed, "1.1", "2.41").item->version, "1.4");
}

TEST(UpdateChoice, SaysThatTheSystemIsTooOldWhenNothingNewerRunsHere) {
    const Appcast feed = {item("1.4", "2.41"), item("1.3", "2.36")};
    const auto nothing = chooseUpdate(feed, "1.1", "2.31");
    EXPECT_EQ(nothing.kind, Kind::systemTooOld);
    EXPECT_EQ(nothing.item->version, "1.4");
    EXPECT_EQ(chooseUpdate(feed, "1.3", "2.36").kind, Kind::systemTooOld);
}

TEST(UpdateChoice, KeepsNothingBackFromASystemThatItDoesNotKnow) {
    EXPECT_EQ(chooseUpdate({item("1.4", "99")}, "1.1", "").kind, Kind::available);
}

} // namespace
} // namespace tandrel
