#include "EndToEnd/HeadlessStory.h"
#include "Support/ProcessFootprint.h"
#include "Support/SmallDisk.h"
#include "Support/WaitUntil.h"

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

using testing::HasSubstr;

unsigned modeOf(const std::filesystem::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

/// What a program usually finds around it, and here does not.
class HeadlessSurroundings : public HeadlessStory {
protected:
    [[nodiscard]] std::filesystem::path settingsFile() const {
        return settingsFolder() / "Tandrel.conf";
    }
    [[nodiscard]] std::filesystem::path logFile() const {
        return logFolder() / "tandrel-debug.log";
    }
    /// Has the tool started by `command`, and find nothing in its environment that says where its
    /// user's files are.
    void hideFolders(std::vector<std::string> command) {
        launcher = std::move(command);
        launcher.emplace_back("env");
        for (const char* variable : {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME",
                                     "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"}) {
            launcher.insert(launcher.end(), {"-u", variable});
        }
    }
    /// Gives the story's home a disk of its own.
    const SmallDisk& moveToSmallDisk() {
        disk_ = std::make_unique<SmallDisk>();
        home = disk_->path();
        return *disk_;
    }
    void TearDown() override {
        HeadlessStory::TearDown();
        disk_.reset();
    }

private:
    std::unique_ptr<SmallDisk> disk_;
};

TEST_F(HeadlessSurroundings, WithoutHomeAndXdgFoldersTheUserDatabaseSaysWhere) {
    const passwd* const user = getpwuid(getuid());
    ASSERT_NE(user, nullptr);
    // This program sees the story's home in the place of the user's own.
    showInPlaceOf(user->pw_dir, home);
    hideFolders({});
    expectWholeRun();
    EXPECT_EQ(modeOf(settingsFile()), 0600U);
    EXPECT_EQ(modeOf(logFile()), 0600U);
    start();
    EXPECT_TRUE(tool().waitFor("Signed in as demo@quorvane.example"));
    EXPECT_EQ(endBySignal(SIGTERM), interrupted);
    EXPECT_FALSE(std::filesystem::exists("/.config/Quorvane"));
}

TEST_F(HeadlessSurroundings, WithoutAnyHomeItRunsAndKeepsNothing) {
    // A user whom no database knows, let in to the sound and to the home that is not its own.
    for (std::filesystem::path folder = sound().folder() / "run/pulse";
         folder != std::filesystem::path(std::getenv("HOME")).parent_path();
         folder = folder.parent_path()) {
        std::filesystem::permissions(folder, std::filesystem::perms::all);
    }
    std::filesystem::permissions(home, std::filesystem::perms::all);
    hideFolders({"setpriv", "--reuid=54321", "--regid=54321", "--clear-groups"});
    environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    expectWholeRun();
    EXPECT_TRUE(std::filesystem::is_empty(home));
}

TEST_F(HeadlessSurroundings, InTheCLocaleItsTextsAreTheSame) {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANGUAGE"}) {
        environment[variable] = "";
    }
    environment["LANG"] = "C";
    home /= "h\xc3\xb6me";
    std::filesystem::create_directories(home);
    expectWholeRun();
    EXPECT_THAT(tool().debugLog(), HasSubstr("[Streaming] Starting \xe2\x80\x94 connect"));
    EXPECT_THAT(tool().output(), HasSubstr("Sent "));
    EXPECT_EQ(modeOf(settingsFile()), 0600U);
}

TEST_F(HeadlessSurroundings, SixtyFourDescriptorsAreEnough) {
    launcher = {"prlimit", "--nofile=64:64"};
    ASSERT_NO_FATAL_FAILURE(startStreaming());
    const auto streaming = ProcessFootprint::of(tool().process().pid());
    RecordProperty("descriptors", static_cast<int>(streaming.descriptors.size()));
    EXPECT_LT(streaming.descriptors.size(), 48U) << "hardly any room is left";
    tool().process().write("stop\n");
    EXPECT_EQ(tool().waitForExit(), success);
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
}

TEST_F(HeadlessSurroundings, OfSixtyFourDescriptorsThirtyEightMayBeTakenFromTheStart) {
    launcher = {"bash", "-c",
                "for ((i = 10; i < 10 + 38; ++i)); do eval \"exec $i</dev/null\"; done\n"
                "exec prlimit --nofile=64:64 \"$0\" \"$@\""};
    ASSERT_NO_FATAL_FAILURE(startStreaming());
    const auto streaming = ProcessFootprint::of(tool().process().pid());
    EXPECT_GT(streaming.descriptors.size(), 38U);
    tool().process().write("stop\n");
    EXPECT_EQ(tool().waitForExit(), success);
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
}

TEST_F(HeadlessSurroundings, WithoutASessionBusTheSignInLastsForTheRun) {
    environment["DBUS_SESSION_BUS_ADDRESS"] = "";
    environment["XDG_RUNTIME_DIR"] = "/nonexistent";
    expectWholeRun();
    start();
    EXPECT_EQ(tool().waitForExit(), signInFailed);
    EXPECT_THAT(tool().output(), HasSubstr("Nobody is signed in"));
}

TEST_F(HeadlessSurroundings, A401WhileItStreamsEndsTheStreamAndTheSignIn) {
    ASSERT_NO_FATAL_FAILURE(signInOnce());
    // The stored sign-in is looked at while the search has long found a session.
    backend().send("PUT", "/dev/faults/me", R"({"status": 401, "delay_ms": 3000})");
    startSession();
    start();
    ASSERT_TRUE(tool().waitFor("Microphone: capturing"));
    ASSERT_TRUE(awaitAudio());
    EXPECT_EQ(tool().waitForExit(), signInFailed);
    EXPECT_THAT(tool().output(), HasSubstr("[Auth] Received 401"));
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_TRUE(sound().recordingIndexes().empty());
    EXPECT_EQ(keyring().count(keyringService, "quorvane-access-token"), 0U);
    start();
    EXPECT_EQ(tool().waitForExit(), signInFailed);
    EXPECT_THAT(tool().output(), HasSubstr("Nobody is signed in"));
}

TEST_F(HeadlessSurroundings, OnAFullDiskItStreamsAllTheSame) {
    const SmallDisk& disk = moveToSmallDisk();
    // Folders and the log are there, and not a byte of room.
    ASSERT_NO_FATAL_FAILURE(signInOnce());
    std::ofstream(logFile(), std::ios::trunc) << std::string(4096 - 1, '-') << '\n';
    disk.fill();
    ASSERT_NO_FATAL_FAILURE(startStreaming());
    EXPECT_EQ(std::filesystem::file_size(logFile()), 4096U);
    disk.clear();
    const auto sizeBefore = std::filesystem::file_size(logFile());
    tool().process().write("stop\n");
    EXPECT_EQ(tool().waitForExit(), success);
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_GT(std::filesystem::file_size(logFile()), sizeBefore) << "the log goes on";
    // The sign-in of before, or the one of now.
    start();
    EXPECT_TRUE(tool().waitFor("Signed in as demo@quorvane.example"));
}

TEST_F(HeadlessSurroundings, OnADiskThatIsFullFromTheStartTheSignInLastsForTheRun) {
    const SmallDisk& disk = moveToSmallDisk();
    disk.fill();
    expectWholeRun();
    EXPECT_FALSE(std::filesystem::exists(settingsFile()) &&
                 std::filesystem::file_size(settingsFile()) > 0);
    disk.clear();
    start();
    EXPECT_EQ(tool().waitForExit(), signInFailed);
    expectWholeRun();
    EXPECT_GT(std::filesystem::file_size(settingsFile()), 0U);
}

TEST_F(HeadlessSurroundings, OnAReadOnlyDiskItStreamsAllTheSame) {
    const SmallDisk& disk = moveToSmallDisk();
    ASSERT_NO_FATAL_FAILURE(signInOnce());
    disk.setReadOnly(true);
    expectWholeRun();
    // Signing out cannot remove the profile, but the token goes, and nobody is signed in.
    start({"--sign-out"});
    EXPECT_EQ(tool().waitForExit(), success);
    EXPECT_EQ(keyring().count(keyringService, "quorvane-access-token"), 0U);
    start();
    EXPECT_EQ(tool().waitForExit(), signInFailed);
    disk.setReadOnly(false);
    expectWholeRun();
}

TEST_F(HeadlessSurroundings, WhatIsDeletedWhileItRunsDoesNotStopIt) {
    ASSERT_NO_FATAL_FAILURE(startStreaming());
    std::filesystem::remove_all(home / ".config");
    std::filesystem::remove_all(home / ".local");
    ASSERT_TRUE(awaitAudio(20));
    tool().process().write("stop\n");
    EXPECT_EQ(tool().waitForExit(), success);
    EXPECT_TRUE(ended("client 1000")) << backend().lastEnd(session());
    EXPECT_FALSE(std::filesystem::exists(logFile())) << "a log that was deleted stays so";
}

TEST_F(HeadlessSurroundings, ALockWhoseOwnerDiedBeforeItSignedItKeepsNoShortRunFromSaving) {
    std::filesystem::create_directories(settingsFolder());
    std::ofstream(settingsFile().string() + ".lock").flush();
    ASSERT_NO_FATAL_FAILURE(signInOnce());
    EXPECT_TRUE(isSignInKept());
    EXPECT_FALSE(std::filesystem::exists(settingsFile().string() + ".lock"));
}

TEST_F(HeadlessSurroundings, TwoInOneHomeSpoilNothingOfEachOther) {
    ASSERT_NO_FATAL_FAILURE(signInOnce());
    startSession();
    HeadlessProcess other(
        {{"--backend", backend().url(), "--email", DevBackend::email}, environment, home, {}});
    start();
    ASSERT_TRUE(tool().waitFor("Signed in as"));
    ASSERT_TRUE(awaitAudio());
    // Both write: what was signed in is replaced twice at once.
    startAndSignIn();
    other.process().write(std::string(DevBackend::password) + '\n');
    ASSERT_TRUE(tool().waitFor("Signed in as"));
    ASSERT_TRUE(other.waitFor("Signed in as"));
    other.process().signal(SIGTERM);
    EXPECT_TRUE(other.waitForExit());
    EXPECT_TRUE(endBySignal(SIGTERM));
    EXPECT_TRUE(isSignInKept()) << keyring().describe(keyringService);
    std::ifstream log(logFile());
    std::size_t lines = 0;
    for (std::string line; std::getline(log, line); ++lines) {
        EXPECT_THAT(line.substr(0, 22), testing::MatchesRegex("20..-..-..T..:..:..Z \\["));
    }
    EXPECT_GT(lines, 0U);
    start();
    EXPECT_TRUE(tool().waitFor("Signed in as demo@quorvane.example"));
}

} // namespace
} // namespace tandrel::test
