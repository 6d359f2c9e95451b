#include "Foundation/LogFile.h"

#include "Support/FileText.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

std::chrono::system_clock::time_point at(std::chrono::sys_days day, std::chrono::nanoseconds time) {
    return day + std::chrono::duration_cast<std::chrono::system_clock::duration>(time);
}

TEST(LogLine, HoldsUtcTimeInWholeSecondsASpaceTheMessageAndALineFeed) {
    using namespace std::chrono_literals;
    const std::chrono::sys_days day = std::chrono::year(2026) / 11 / 15;
    EXPECT_EQ(formatLogLine(at(day, 21h + 55min + 3s), "[App] init"),
              "2026-11-15T21:55:03Z [App] init\n");
}

TEST(LogLine, DropsTheFractionOfASecond) {
    using namespace std::chrono_literals;
    const std::chrono::sys_days newYearsEve = std::chrono::year(2023) / 12 / 31;
    EXPECT_EQ(formatLogLine(at(newYearsEve, 23h + 59min + 59s + 999ms), "m"),
              "2023-12-31T23:59:59Z m\n");
    const std::chrono::sys_days before1970 = std::chrono::year(1969) / 12 / 31;
    EXPECT_EQ(formatLogLine(at(before1970, 23h + 59min + 59s + 500ms), "m"),
              "1969-12-31T23:59:59Z m\n");
}

TEST(LogLine, KnowsLeapDaysAndPadsWithZeros) {
    using namespace std::chrono_literals;
    const std::chrono::sys_days leapDay = std::chrono::year(2024) / 2 / 29;
    EXPECT_EQ(formatLogLine(at(leapDay, 1h + 2min + 3s), "m"), "2024-02-29T01:02:03Z m\n");
    EXPECT_EQ(formatLogLine({}, "m"), "1970-01-01T00:00:00Z m\n");
}

TEST(LogLine, AnEmptyMessageYieldsTheTimestampAndOneSpace) {
    EXPECT_EQ(formatLogLine({}, ""), "1970-01-01T00:00:00Z \n");
}

TEST(LogLine, AMessageThatEndsInALineFeedYieldsAnEmptyLookingSecondLine) {
    EXPECT_EQ(formatLogLine({}, "text\n"), "1970-01-01T00:00:00Z text\n\n");
}

TEST(LogLine, TakesAnyCharacterWithoutEscaping) {
    using namespace std::string_literals;
    const std::string message = "tab\t nul\0 quote\" percent%s em dash\xe2\x80\x94"s;
    EXPECT_EQ(formatLogLine({}, message), "1970-01-01T00:00:00Z " + message + "\n");
}

TEST(LogLine, IsAbsentForWhatIsNotUtf8) {
    EXPECT_EQ(formatLogLine({}, "bad \xff byte"), std::nullopt);
}

class LogFileTest : public testing::Test {
protected:
    LogFileTest() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "logXXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        path_ = folder_ / "tandrel-debug.log";
    }
    ~LogFileTest() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    static std::string contents(const fs::path& path) { return test::textOf(path); }
    [[nodiscard]] std::string contents() const { return contents(path_); }

    [[nodiscard]] std::vector<std::string> lines() const {
        std::istringstream text(contents());
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    fs::path folder_;
    fs::path path_;
};

TEST_F(LogFileTest, TheFirstLineCreatesAMissingFileAndIsWrittenToIt) {
    LogFile log(path_);
    EXPECT_FALSE(fs::exists(path_));
    log.write("first");
    EXPECT_THAT(contents(), MatchesRegex("[0-9-]{10}T[0-9:]{8}Z first\n"));
}

TEST_F(LogFileTest, TheTimestampIsThePresentTime) {
    const auto before = std::chrono::system_clock::now();
    LogFile log(path_);
    log.write("now");
    const auto after = std::chrono::system_clock::now();
    EXPECT_GE(contents(), formatLogLine(before, "now").value());
    EXPECT_LE(contents(), formatLogLine(after, "now").value());
}

TEST_F(LogFileTest, OnlyTheUserMayReadTheFile) {
    const mode_t previous = umask(0);
    LogFile(path_).write("secret");
    umask(previous);
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(LogFileTest, AFileThatExistsKeepsItsContents) {
    std::ofstream(path_) << "old line\n";
    LogFile(path_).write("new");
    EXPECT_THAT(contents(), StartsWith("old line\n"));
    EXPECT_THAT(contents(), EndsWith("Z new\n"));
    EXPECT_THAT(lines(), SizeIs(2));
}

TEST_F(LogFileTest, ItGrowsByOneLinePerWrite) {
    LogFile log(path_);
    log.write("one");
    log.write("two\n");
    log.write("");
    EXPECT_THAT(lines(),
                testing::ElementsAre(EndsWith("Z one"), EndsWith("Z two"), "", EndsWith("Z ")));
}

TEST_F(LogFileTest, WithoutItsFolderEveryLineIsLostEvenWhenTheFolderComesLater) {
    const fs::path path = folder_ / "missing" / "tandrel-debug.log";
    LogFile log(path);
    log.write("lost");
    log.write("lost too");
    EXPECT_FALSE(fs::exists(path.parent_path()));
    fs::create_directory(path.parent_path());
    log.write("still lost");
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(LogFileTest, ADeletedFileIsNotCreatedAgain) {
    LogFile log(path_);
    log.write("one");
    fs::remove(path_);
    log.write("two");
    EXPECT_FALSE(fs::exists(path_));
    LogFile restarted(path_);
    restarted.write("three");
    EXPECT_THAT(lines(), testing::ElementsAre(EndsWith("Z three")));
}

TEST_F(LogFileTest, WritesNothingForAMessageThatIsNotUtf8) {
    LogFile log(path_);
    log.write("good");
    log.write("bad \xc3(");
    EXPECT_THAT(lines(), SizeIs(1));
}

TEST_F(LogFileTest, DoesNotFollowALinkInTheFilesPlace) {
    const fs::path victim = folder_ / "victim";
    std::ofstream(victim) << "precious\n";
    fs::create_symlink(victim, path_);
    LogFile(path_).write("planted");
    EXPECT_EQ(contents(victim), "precious\n");

    fs::remove(path_);
    const fs::path absent = folder_ / "absent";
    fs::create_symlink(absent, path_);
    LogFile(path_).write("planted");
    EXPECT_FALSE(fs::exists(absent));
}

TEST_F(LogFileTest, ReturnsAtOnceWhenAFolderOrAPipeStandsInTheFilesPlace) {
    fs::create_directory(path_);
    LogFile(path_).write("lost");
    EXPECT_TRUE(fs::is_empty(path_));
    fs::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    LogFile(path_).write("lost");
}

/// Every line is intact, each writer's lines are all there and in its order.
void expectWholeLines(const std::vector<std::string>& lines, int writers, int linesPerWriter) {
    std::map<int, int> next;
    for (const std::string& line : lines) {
        static constexpr std::size_t timestamp = 21;
        ASSERT_GT(line.size(), timestamp);
        int writer = -1;
        int number = -1;
        ASSERT_EQ(std::sscanf(line.c_str() + timestamp, "writer %d line %d", &writer, &number), 2)
            << line;
        EXPECT_EQ(number, next[writer]++) << "writer " << writer;
        const std::string expected = "writer " + std::to_string(writer) + " line " +
                                     std::to_string(number) + ' ' +
                                     std::string(static_cast<std::size_t>(number % 500), 'x');
        EXPECT_EQ(line.substr(timestamp), expected);
    }
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(writers * linesPerWriter));
}

void writeLines(LogFile& log, int writer, int count) {
    for (int number = 0; number < count; ++number) {
        log.write("writer " + std::to_string(writer) + " line " + std::to_string(number) + ' ' +
                  std::string(static_cast<std::size_t>(number % 500), 'x'));
    }
}

TEST_F(LogFileTest, ConcurrentThreadsNeitherTearNorLoseALine) {
    static constexpr int writers = 4;
    static constexpr int linesPerWriter = 1000;
    LogFile log(path_);
    std::vector<std::thread> threads;
    threads.reserve(writers);
    for (int writer = 0; writer < writers; ++writer) {
        threads.emplace_back([&log, writer] { writeLines(log, writer, linesPerWriter); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    expectWholeLines(lines(), writers, linesPerWriter);
}

TEST_F(LogFileTest, ConcurrentProcessesNeitherTearNorLoseALine) {
    static constexpr int writers = 3;
    static constexpr int linesPerWriter = 1000;
    std::vector<pid_t> children;
    for (int writer = 0; writer < writers; ++writer) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            LogFile log(path_);
            writeLines(log, writer, linesPerWriter);
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    expectWholeLines(lines(), writers, linesPerWriter);
}

} // namespace
} // namespace tandrel
