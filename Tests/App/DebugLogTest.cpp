#include "DebugLog.h"

#include "Support/LogCapture.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/stat.h>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using test::LogCapture;
using testing::ElementsAre;

unsigned mode(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

TEST(DebugLog, LiesInAFixedFolderOfTheHomeDirectory) {
    const fs::path home = std::getenv("HOME");
    EXPECT_EQ(DebugLog::path(), home / ".local/state/quorvane-tandrel/tandrel-debug.log");
}

TEST(DebugLog, ItsPathDoesNotFollowTheEnvironmentLater) {
    const std::string path = DebugLog::path();
    const std::string home = std::getenv("HOME");
    setenv("HOME", "/tmp", 1);
    EXPECT_EQ(DebugLog::path(), path);
    setenv("HOME", home.c_str(), 1);
}

TEST(DebugLog, AppendsALineWithATimestamp) {
    const LogCapture log;
    DebugLog::write("[App] init");
    EXPECT_THAT(log.lines(), ElementsAre("[App] init"));
    EXPECT_EQ(mode(DebugLog::path()), 0600U);
}

TEST(DebugLog, PrintsNothing) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    DebugLog::write("quiet");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(DebugLog, ItsFolderIsForTheUserAloneAlsoWhenItWasOpenBefore) {
    const fs::path folder = fs::path(DebugLog::path()).parent_path();
    fs::permissions(folder, fs::perms::all);
    DebugLog::createDirectory();
    EXPECT_EQ(mode(folder), 0700U);
}

TEST(DebugLog, MakesAMissingFolderButNotTheFile) {
    const fs::path folder = fs::path(DebugLog::path()).parent_path();
    const fs::path aside = folder.string() + ".aside";
    fs::rename(folder, aside);
    DebugLog::createDirectory();
    EXPECT_EQ(mode(folder), 0700U);
    EXPECT_FALSE(fs::exists(DebugLog::path()));
    fs::remove(folder);
    fs::rename(aside, folder);
}

} // namespace
} // namespace tandrel
