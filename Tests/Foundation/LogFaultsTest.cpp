#include "Foundation/LogFile.h"
#include "Support/FileText.h"
#include "Support/ProcessFootprint.h"
#include "Support/SmallDisk.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using test::ProcessFootprint;
using test::SmallDisk;
using testing::HasSubstr;
using testing::Not;

/// What a disk can do to the log: a line that cannot be written is lost, and nothing else happens.
class LogFaults : public testing::Test {
protected:
    LogFaults() { writeFile(std::string(pageBytes - 1, '-') + '\n'); }

    void writeFile(const std::string& text) const {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    }
    [[nodiscard]] std::string text() const { return test::textOf(path); }

    // A page that is begun has room even on a full disk.
    static constexpr std::size_t pageBytes = 4096;
    SmallDisk disk;
    fs::path path = disk.path() / "log";
    LogFile log{path.string()};
};

TEST_F(LogFaults, AFullDiskLosesLinesAndNothingElse) {
    const std::string before = text();
    disk.fill();
    log.write("lost");
    EXPECT_EQ(text(), before);
    disk.clear();
    log.write("kept");
    EXPECT_THAT(text().substr(before.size()), testing::EndsWith("Z kept\n"));
    EXPECT_THAT(text(), Not(HasSubstr("lost")));
}

TEST_F(LogFaults, ALineThatADiskCutsShortIsTheOnlyOneSpoilt) {
    writeFile(std::string(pageBytes - 40, '-') + '\n');
    disk.fill();
    log.write("a line that is longer than what is left of the page");
    log.write("lost");
    disk.clear();
    log.write("whole");
    const std::string all = text();
    const std::string last = all.substr(all.rfind('\n', all.size() - 2) + 1);
    EXPECT_THAT(last, testing::MatchesRegex("20..-..-..T..:..:..Z whole\n"));
    EXPECT_THAT(all, Not(HasSubstr("lost")));
}

TEST_F(LogFaults, AReadOnlyDiskLosesLinesAndNothingElse) {
    const std::string before = text();
    disk.setReadOnly(true);
    log.write("lost");
    EXPECT_EQ(text(), before);
    disk.setReadOnly(false);
    log.write("kept");
    EXPECT_THAT(text(), testing::EndsWith("Z kept\n"));
    EXPECT_THAT(text(), Not(HasSubstr("lost")));
}

TEST_F(LogFaults, WhatStoodInTheFileStaysWhateverItIs) {
    const std::string rubbish("\0\xff\xfe no line feed", 17);
    writeFile(rubbish);
    log.write("after it");
    EXPECT_EQ(text().substr(0, rubbish.size()), rubbish);
    EXPECT_THAT(text(), testing::EndsWith("Z after it\n"));
}

TEST_F(LogFaults, WithoutADescriptorLeftALineIsLostAndTheNextIsNot) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{0, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    log.write("lost");
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    log.write("kept");
    EXPECT_THAT(text(), testing::EndsWith("Z kept\n"));
    EXPECT_THAT(text(), Not(HasSubstr("lost")));
}

TEST_F(LogFaults, LeaveNothingOpen) {
    const auto before = ProcessFootprint::ofThisProcess();
    disk.fill();
    for (int line = 0; line < 100; ++line) {
        log.write("lost");
    }
    disk.clear();
    fs::remove(path);
    for (int line = 0; line < 100; ++line) {
        log.write("lost");
    }
    EXPECT_EQ(ProcessFootprint::ofThisProcess().differenceFrom(before), "");
}

} // namespace
} // namespace tandrel
