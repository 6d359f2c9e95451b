#include "Support/WaitUntil.h"

#include "Support/ChildProcess.h"
#include "Support/EnvironmentVariable.h"
#include "Support/ManualMainQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;

EnvironmentVariable factor(const char* value) {
    return {"TANDREL_TEST_TIMEOUT_FACTOR", value};
}

TEST(WaitUntil, ReturnsOnceTheConditionHolds) {
    int looks = 0;
    EXPECT_TRUE(waitUntil([&looks] { return ++looks == 3; }));
    EXPECT_EQ(looks, 3);
}

TEST(WaitUntil, LooksOnceWhateverTheLimit) {
    int looks = 0;
    EXPECT_FALSE(waitUntil([&looks] { return ++looks < 0; }, 0ms));
    EXPECT_EQ(looks, 1);
}

TEST(WaitUntil, ALimitIsStretchedByTheEnvironment) {
    {
        const auto set = factor("2.5");
        EXPECT_EQ(stretched(2s), 5s);
    }
    for (const char* const value : {"", "0", "-3", "much"}) {
        const auto set = factor(value);
        EXPECT_EQ(stretched(2s), 2s) << value;
    }
}

TEST(WaitUntil, EveryLimitOfTheTestsIsStretched) {
    // So short that none of them is waited for: the test would never end.
    const auto set = factor("0.000001");
    EXPECT_FALSE(waitUntil([] { return false; }, 24h));
    EXPECT_FALSE(ManualMainQueue().drainUntil([] { return false; }, 24h));
    ChildProcess process({"sleep", "86400"}, {},
                         std::filesystem::path(std::getenv("HOME")) / "log");
    EXPECT_EQ(process.waitForExit(24h), std::nullopt);
}

} // namespace
} // namespace tandrel::test
