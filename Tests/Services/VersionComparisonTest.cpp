#include "Services/VersionComparison.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tandrel {
namespace {

TEST(VersionComparison, OrdersOldToNew) {
    // Each line ascends; every pair of it is compared, both ways.
    const std::vector<std::vector<std::string>> ascending = {
        {"0.9", "0.10", "1.0", "1.0.1", "1.1", "1.9", "1.10", "2.0", "10.0"},
        {"1.0-alpha", "1.0-alpha.2", "1.0-beta", "1.0-beta.11", "1.0-rc.1", "1.0", "1.0-1"},
        {"1.0a1", "1.0a2", "1.0b1", "1.0b2", "1.0rc1", "1.0", "1.0.1a", "1.0.1"},
        {"1.0~rc1", "1.0"},
        {"1.0a", "1.0z", "1.0"},
        {"1.0A", "1.0Z", "1.0"},
        {"1.2-dev", "1.2.0", "1.2.3-dev", "1.2.3"},
        {"1.0.beta", "1.0.0", "1.0.1"},
        {"", "1"},
        {"1.99999999999999999999", "1.100000000000000000000"},
        {"20260101", "20261121"},
    };
    for (const auto& line : ascending) {
        for (std::size_t older = 0; older < line.size(); ++older) {
            for (std::size_t newer = older + 1; newer < line.size(); ++newer) {
                EXPECT_TRUE(compareVersions(line[older], line[newer]) < 0)
                    << line[older] << " is older than " << line[newer];
                EXPECT_TRUE(compareVersions(line[newer], line[older]) > 0)
                    << line[newer] << " is newer than " << line[older];
            }
        }
    }
}

TEST(VersionComparison, TakesDifferentSpellingsOfAVersionForTheSame) {
    const std::vector<std::pair<std::string, std::string>> same = {
        {"1.0", "1.0"},     {"1.0", "1.0.0"},         {"1", "1.0.0.0"},  {"1.02", "1.2"},
        {"1.0-1", "1.0.1"}, {"1.0-RC1", "1.0-rc1"},   {"1.0b", "1.0.b"}, {"", "0"},
        {"", "..."},        {"1.0-beta", "1.0~beta"},
    };
    for (const auto& [left, right] : same) {
        EXPECT_TRUE(compareVersions(left, right) == 0) << left << " and " << right;
        EXPECT_TRUE(compareVersions(right, left) == 0) << right << " and " << left;
    }
}

TEST(VersionComparison, TakesAnyBytes) {
    EXPECT_TRUE(compareVersions("1.0\xff", "1.0") == 0);
    EXPECT_TRUE(compareVersions(std::string(100'000, '.'), "1") < 0);
    EXPECT_TRUE(compareVersions(std::string(100'000, '9'), "1") > 0);
}

} // namespace
} // namespace tandrel
