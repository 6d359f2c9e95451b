#include "Platform/Qt/SettingsUserDefaults.h"

#include "Support/FileText.h"

#include <QByteArray>
#include <QLockFile>
#include <QSettings>
#include <QString>

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::HasSubstr;

constexpr std::chrono::milliseconds longEnough = 20s;

class SettingsUserDefaultsTest : public testing::Test {
protected:
    SettingsUserDefaultsTest() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "setXXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        path_ = folder_ / "Quorvane" / "Tandrel.conf";
    }
    ~SettingsUserDefaultsTest() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    void writeFile(const std::string& text) const {
        fs::create_directories(path_.parent_path());
        std::ofstream(path_, std::ios::binary) << text;
    }
    [[nodiscard]] std::string fileText() const { return test::textOf(path_); }
    /// What the next run of the program finds. Read from a copy: Qt remembers what it wrote to a
    /// file and would not parse it again.
    [[nodiscard]] std::optional<std::string> inNextRun(std::string_view key) {
        const fs::path copy = folder_ / ("copy" + std::to_string(++copies_) + ".conf");
        fs::copy_file(path_, copy);
        return SettingsUserDefaults(copy).data(key);
    }
    static unsigned mode(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }

    fs::path folder_;
    fs::path path_;
    int copies_ = 0;
};

TEST_F(SettingsUserDefaultsTest, LiesInTheConfigurationFolder) {
    EXPECT_EQ(SettingsUserDefaults::defaultPath(),
              std::string(std::getenv("XDG_CONFIG_HOME")) + "/Quorvane/Tandrel.conf");
}

TEST_F(SettingsUserDefaultsTest, HoldsNothingAndMakesNoFileAtFirst) {
    SettingsUserDefaults settings(path_);
    EXPECT_EQ(settings.data("cached_user_data"), std::nullopt);
    EXPECT_TRUE(settings.flush(0ms));
    EXPECT_FALSE(fs::exists(path_.parent_path()));
}

TEST_F(SettingsUserDefaultsTest, AnswersAtOnceAndInTheNextRun) {
    SettingsUserDefaults settings(path_);
    settings.setData("cached_user_data", R"({"id":"u1","email":"a@b.c"})");
    EXPECT_EQ(settings.data("cached_user_data"), R"({"id":"u1","email":"a@b.c"})");
    ASSERT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("cached_user_data"), R"({"id":"u1","email":"a@b.c"})");
}

TEST_F(SettingsUserDefaultsTest, TheLastChangeOfAKeyWins) {
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    settings.setData("b", "2");
    settings.setData("a", "3");
    settings.remove("b");
    EXPECT_EQ(settings.data("b"), std::nullopt);
    ASSERT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("a"), "3");
    EXPECT_EQ(inNextRun("b"), std::nullopt);
}

TEST_F(SettingsUserDefaultsTest, RemovingWhatIsNotThereDoesNoHarm) {
    SettingsUserDefaults settings(path_);
    settings.remove("never");
    EXPECT_TRUE(settings.flush(longEnough));
}

TEST_F(SettingsUserDefaultsTest, AnyBytesComeBackAsTheyWere) {
    std::string everyByte;
    for (int value = 0; value < 256; ++value) {
        everyByte += static_cast<char>(value);
    }
    const std::string values[] = {"",
                                  "\0"s,
                                  "a\0f"s,
                                  everyByte,
                                  everyByte + everyByte,
                                  "\r\n;#%,\"\\@ByteArray(x)",
                                  " leading and trailing ",
                                  "\xc3\xa4 \xe2\x80\x94 \xf0\x9f\x8e\xa7",
                                  "@Invalid()",
                                  std::string(100000, '\xfe')};
    for (const std::string& value : values) {
        SettingsUserDefaults settings(path_);
        settings.setData("bytes", value);
        ASSERT_TRUE(settings.flush(longEnough));
        EXPECT_EQ(inNextRun("bytes"), value);
    }
}

TEST_F(SettingsUserDefaultsTest, IsForTheUserAlone) {
    const mode_t previous = umask(0);
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    EXPECT_TRUE(settings.flush(longEnough));
    umask(previous);
    EXPECT_EQ(mode(path_), 0600U);
    EXPECT_EQ(mode(path_.parent_path()), 0700U);
}

TEST_F(SettingsUserDefaultsTest, ClosesAFileThatWasOpenToOthers) {
    writeFile("a=1\n");
    fs::permissions(path_, fs::perms::all);
    fs::permissions(path_.parent_path(), fs::perms::all);
    SettingsUserDefaults settings(path_);
    settings.setData("b", "2");
    EXPECT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(mode(path_), 0600U);
    EXPECT_EQ(mode(path_.parent_path()), 0700U);
}

TEST_F(SettingsUserDefaultsTest, KeepsTheSettingsOfOthersAlsoThoseWrittenMeanwhile) {
    writeFile("[Window]\nwidth=320\nnames=a, b\n");
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    ASSERT_TRUE(settings.flush(longEnough));
    {
        QSettings other(QString::fromStdString(path_), QSettings::IniFormat);
        other.setValue(QStringLiteral("theirs"), QByteArray("meanwhile"));
    }
    settings.setData("b", "2");
    ASSERT_TRUE(settings.flush(longEnough));
    EXPECT_THAT(fileText(), HasSubstr("width=320"));
    EXPECT_THAT(fileText(), HasSubstr("names=a, b"));
    EXPECT_EQ(inNextRun("theirs"), "meanwhile");
    EXPECT_EQ(inNextRun("a"), "1");
    EXPECT_EQ(inNextRun("b"), "2");
}

TEST_F(SettingsUserDefaultsTest, ADeletedFileComesBackWithAllItsSettings) {
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    ASSERT_TRUE(settings.flush(longEnough));
    fs::remove_all(path_.parent_path());
    EXPECT_EQ(settings.data("a"), "1");
    settings.setData("b", "2");
    ASSERT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("a"), "1");
    EXPECT_EQ(inNextRun("b"), "2");
}

TEST_F(SettingsUserDefaultsTest, ACorruptFileKeepsTheSettingsThatCanBeRead) {
    writeFile("a=1\nthis line is no setting\n\xff\xfe\x01\nb=@ByteArray(\n[General\nc=3\n");
    SettingsUserDefaults settings(path_);
    EXPECT_EQ(settings.data("a"), "1");
    settings.setData("new", "4");
    ASSERT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("a"), "1");
    EXPECT_EQ(inNextRun("new"), "4");
}

TEST_F(SettingsUserDefaultsTest, BinaryRubbishInTheFilesPlaceIsReplacedWithoutACrash) {
    std::string rubbish;
    for (unsigned value = 1; value < 20000; ++value) {
        rubbish += static_cast<char>(value * value >> 3U);
    }
    writeFile(rubbish);
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    ASSERT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("a"), "1");
}

TEST_F(SettingsUserDefaultsTest, FollowsALinkToTheFile) {
    const fs::path real = folder_ / "kept elsewhere.conf";
    std::ofstream(real) << "theirs=kept\n";
    fs::create_directories(path_.parent_path());
    fs::create_symlink(real, path_);
    SettingsUserDefaults settings(path_);
    EXPECT_EQ(settings.data("theirs"), "kept");
    settings.setData("a", "1");
    ASSERT_TRUE(settings.flush(longEnough));
    EXPECT_TRUE(fs::is_symlink(path_));
    EXPECT_EQ(SettingsUserDefaults(real).data("a"), "1");
    EXPECT_EQ(SettingsUserDefaults(real).data("theirs"), "kept");
}

TEST_F(SettingsUserDefaultsTest, WhatTheDiskRefusesAnswersFromMemoryAndIsWrittenLater) {
    // A file where the folder should be: unlike a missing permission this stops root too.
    std::ofstream(path_.parent_path()) << "in the way";
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    EXPECT_FALSE(settings.flush(longEnough));
    EXPECT_EQ(settings.data("a"), "1");
    fs::remove(path_.parent_path());
    settings.setData("b", "2");
    EXPECT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("a"), "1");
    EXPECT_EQ(inNextRun("b"), "2");
}

TEST_F(SettingsUserDefaultsTest, APipeOrAFolderInTheFilesPlaceStopsNothing) {
    fs::create_directories(path_.parent_path());
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    {
        SettingsUserDefaults settings(path_);
        settings.setData("a", "1");
        EXPECT_FALSE(settings.flush(longEnough));
        EXPECT_EQ(settings.data("a"), "1");
    }
    fs::remove(path_);
    fs::create_directories(path_ / "inner");
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    EXPECT_FALSE(settings.flush(longEnough));
    EXPECT_TRUE(fs::exists(path_ / "inner"));
}

TEST_F(SettingsUserDefaultsTest, ADiskThatHangsHoldsUpNeitherTheCallerNorTheFlush) {
    fs::create_directories(path_.parent_path());
    // Writers wait for this lock, as for a program that hangs in the middle of a write.
    auto lock = std::make_unique<QLockFile>(QString::fromStdString(path_.string() + ".lock"));
    lock->setStaleLockTime(0);
    ASSERT_TRUE(lock->tryLock(0));
    SettingsUserDefaults settings(path_);
    settings.setData("a", "1");
    EXPECT_EQ(settings.data("a"), "1");
    EXPECT_FALSE(settings.flush(20ms));
    lock.reset();
    EXPECT_TRUE(settings.flush(longEnough));
    EXPECT_EQ(inNextRun("a"), "1");
}

} // namespace
} // namespace tandrel
