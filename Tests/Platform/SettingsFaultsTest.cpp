#include "BuildPaths.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Support/ChildProcess.h"
#include "Support/FileText.h"
#include "Support/ProcessFootprint.h"
#include "Support/SmallDisk.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::ChildProcess;
using test::ProcessFootprint;
using test::SmallDisk;
using testing::ElementsAre;

constexpr std::chrono::milliseconds longEnough = 20s;

/// A disk that refuses, and other writers at the same file.
class SettingsFaults : public testing::Test {
protected:
    [[nodiscard]] fs::path file() const { return disk.path() / "Quorvane/Tandrel.conf"; }
    [[nodiscard]] std::string fileText() const { return test::textOf(file()); }
    [[nodiscard]] std::vector<std::string> filesInFolder() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(file().parent_path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    /// What the next run of the program finds, in a process of its own.
    [[nodiscard]] std::string inNextRun(const std::string& key) const {
        return ChildProcess::run({TANDREL_BUILD_BIN "/SettingsWriter", file().string(), key}, {})
            .text;
    }
    /// Another program that writes `count` values under keys that begin with `prefix`.
    [[nodiscard]] std::unique_ptr<ChildProcess> writer(const std::string& prefix, int count) const {
        return std::make_unique<ChildProcess>(
            std::vector<std::string>{TANDREL_BUILD_BIN "/SettingsWriter", file().string(), prefix,
                                     std::to_string(count)},
            test::EnvironmentChanges{}, fs::path(std::getenv("HOME")) / "writer.log");
    }

    SmallDisk disk;
};

TEST_F(SettingsFaults, AFullDiskLeavesTheFileAsItWasAndIsWrittenToOnceThereIsRoom) {
    SettingsUserDefaults settings(file());
    settings.setData("profile", "old");
    ASSERT_TRUE(settings.flush(longEnough));
    const std::string before = fileText();
    disk.fill();
    settings.setData("profile", "new");
    EXPECT_FALSE(settings.flush(longEnough));
    EXPECT_EQ(settings.data("profile"), "new");
    EXPECT_EQ(fileText(), before);
    EXPECT_EQ(inNextRun("profile"), "old");
    disk.clear();
    EXPECT_THAT(filesInFolder(), ElementsAre("Tandrel.conf"));
    settings.setData("other", "x");
    EXPECT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("profile"), "new");
}

TEST_F(SettingsFaults, ADiskThatIsFullFromTheStartHoldsNothingUpAndIsWrittenToLater) {
    disk.fill();
    SettingsUserDefaults settings(file());
    settings.setData("profile", "kept");
    EXPECT_FALSE(settings.flush(longEnough));
    EXPECT_EQ(settings.data("profile"), "kept");
    disk.clear();
    settings.setData("other", "x");
    EXPECT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("profile"), "kept");
    EXPECT_THAT(filesInFolder(), ElementsAre("Tandrel.conf"));
}

TEST_F(SettingsFaults, AReadOnlyDiskIsReadAndAnswersFromMemory) {
    {
        SettingsUserDefaults settings(file());
        settings.setData("profile", "old");
        ASSERT_TRUE(settings.flush(longEnough));
    }
    disk.setReadOnly(true);
    SettingsUserDefaults settings(file());
    EXPECT_EQ(settings.data("profile"), "old");
    settings.setData("profile", "new");
    settings.remove("never");
    EXPECT_FALSE(settings.flush(longEnough));
    EXPECT_EQ(settings.data("profile"), "new");
    EXPECT_EQ(inNextRun("profile"), "old");
    disk.setReadOnly(false);
    settings.setData("other", "x");
    EXPECT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("profile"), "new");
}

TEST_F(SettingsFaults, ALinkThatLeadsNowhereOrInACircleStopsNothing) {
    fs::create_directories(file().parent_path());
    fs::create_symlink(disk.path() / "gone" / "file", file());
    {
        SettingsUserDefaults settings(file());
        settings.setData("profile", "x");
        EXPECT_FALSE(settings.flush(longEnough));
        EXPECT_EQ(settings.data("profile"), "x");
    }
    fs::remove(file());
    fs::create_symlink(file(), file());
    SettingsUserDefaults settings(file());
    settings.setData("profile", "y");
    EXPECT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("profile"), "y");
    EXPECT_FALSE(fs::is_symlink(file())) << "a circle is nobody's file";
}

TEST_F(SettingsFaults, WritersAtTheSameTimeLoseNothingOfEachOther) {
    constexpr int count = 25;
    const auto first = writer("a", count);
    const auto second = writer("b", count);
    SettingsUserDefaults settings(file());
    for (int number = 0; number < count; ++number) {
        settings.setData("c" + std::to_string(number), std::to_string(number));
    }
    EXPECT_TRUE(settings.flush(longEnough));
    ASSERT_EQ(first->waitForExit(longEnough), 0);
    ASSERT_EQ(second->waitForExit(longEnough), 0);
    SettingsUserDefaults next(file());
    for (int number = 0; number < count; ++number) {
        for (const char* prefix : {"a", "b", "c"}) {
            EXPECT_EQ(next.data(prefix + std::to_string(number)), std::to_string(number))
                << prefix << number;
        }
    }
    EXPECT_THAT(filesInFolder(), ElementsAre("Tandrel.conf"));
}

TEST_F(SettingsFaults, AWriterThatIsKilledLeavesAFileThatIsWholeAndNoLockThatHolds) {
    SettingsUserDefaults settings(file());
    settings.setData("profile", std::string(2000, 'p'));
    ASSERT_TRUE(settings.flush(longEnough));
    for (int round = 0; round < 20; ++round) {
        const auto other = writer("k", 100'000);
        // In the middle of its writing, wherever that is: another place each time.
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + 3 * round));
        ASSERT_TRUE(other->isRunning());
        other->kill();
        EXPECT_EQ(inNextRun("profile"), std::string(2000, 'p')) << "round " << round;
        settings.setData("round", std::to_string(round));
        // A lock that its owner left behind is not waited for.
        EXPECT_TRUE(settings.flush(5s)) << "round " << round;
        EXPECT_EQ(inNextRun("round"), std::to_string(round));
    }
}

TEST_F(SettingsFaults, ALockWhoseOwnerDiedBeforeItSignedItHoldsNobodyUp) {
    fs::create_directories(file().parent_path());
    std::ofstream(file().string() + ".lock").flush();
    SettingsUserDefaults settings(file());
    settings.setData("profile", "x");
    // By its age alone it would hold for half a minute.
    EXPECT_TRUE(settings.flush(15s));
    EXPECT_EQ(inNextRun("profile"), "x");
    EXPECT_THAT(filesInFolder(), ElementsAre("Tandrel.conf"));
}

TEST_F(SettingsFaults, RefusalsLeaveNothingOpen) {
    const auto before = ProcessFootprint::ofThisProcess();
    {
        SettingsUserDefaults settings(file());
        disk.fill();
        for (int number = 0; number < 50; ++number) {
            settings.setData("key" + std::to_string(number), "x");
        }
        EXPECT_FALSE(settings.flush(longEnough));
        disk.clear();
    }
    EXPECT_EQ(ProcessFootprint::ofThisProcess().differenceFrom(before), "");
}

} // namespace
} // namespace tandrel
