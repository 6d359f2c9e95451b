#include "Platform/Linux/XdgAutostart.h"

#include "Platform/Linux/AutostartEntry.h"
#include "Support/FileText.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tandrel {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

const LoginStartAnswer on{true, ""};
const LoginStartAnswer off{false, ""};

class XdgAutostartTest : public testing::Test {
protected:
    XdgAutostartTest() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "aXXXXXX").string();
        folder = mkdtemp(pattern.data());
        file = folder / "config/autostart" / XdgAutostart::fileName;
        systemFile = folder / "xdg/autostart" / XdgAutostart::fileName;
        program = folder / "bin/tandrel";
        write(program, "#!/bin/sh\n");
        fs::permissions(program, fs::perms::owner_all);
        setup.userFolder = file.parent_path().string();
        setup.systemFolders = {(folder / "nowhere").string(), systemFile.parent_path().string()};
        setup.program.executable = program.string();
    }
    ~XdgAutostartTest() override { fs::remove_all(folder); }

    static void write(const fs::path& path, const std::string& text) {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    static std::string read(const fs::path& path) { return test::textOf(path); }
    [[nodiscard]] std::string ours(bool isEnabled = true) const {
        return autostartEntryText(program.string(), isEnabled);
    }
    [[nodiscard]] LoginStartAnswer look() const { return XdgAutostart(setup).look(); }
    LoginStartAnswer change(bool toOn) const { return XdgAutostart(setup).change(toOn); }
    [[nodiscard]] std::ptrdiff_t filesBeside() const {
        return std::distance(fs::directory_iterator(file.parent_path()), {});
    }

    fs::path folder;
    fs::path file;
    fs::path systemFile;
    fs::path program;
    XdgAutostart::Setup setup;
};

TEST_F(XdgAutostartTest, IsOffWhereNothingWasEverSet) {
    EXPECT_EQ(look(), off);
    EXPECT_FALSE(fs::exists(folder / "config")) << "looking leaves no trace";
}

TEST_F(XdgAutostartTest, SwitchedOnTheFileIsThereAndSwitchedOffItIsGone) {
    EXPECT_EQ(change(true), on);
    EXPECT_EQ(read(file), ours());
    EXPECT_EQ(look(), on);
    EXPECT_EQ(filesBeside(), 1);
    EXPECT_EQ(change(false), off);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(look(), off);
    EXPECT_EQ(filesBeside(), 0);
}

TEST_F(XdgAutostartTest, SwitchingOffWhatIsOffChangesNothing) {
    EXPECT_EQ(change(false), off);
    EXPECT_FALSE(fs::exists(folder / "config"));
}

TEST_F(XdgAutostartTest, AFolderThatItMakesIsTheUsersAlone) {
    EXPECT_EQ(change(true), on);
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
}

TEST_F(XdgAutostartTest, AFolderThatWasThereKeepsItsMode) {
    fs::create_directories(file.parent_path());
    fs::permissions(file.parent_path(), fs::perms::owner_all | fs::perms::group_read);
    EXPECT_EQ(change(true), on);
    EXPECT_EQ(fs::status(file.parent_path()).permissions(),
              fs::perms::owner_all | fs::perms::group_read);
}

TEST_F(XdgAutostartTest, AFileOfTheUsersOwnIsLeftAlone) {
    const std::string own = "[Desktop Entry]\nType=Application\nName=Mine\nExec=mine\n";
    write(file, own);
    EXPECT_EQ(look(), on);
    for (const bool toOn : {true, false}) {
        const LoginStartAnswer answer = change(toOn);
        EXPECT_TRUE(answer.isOn);
        EXPECT_THAT(answer.problem,
                    AllOf(HasSubstr(file.string()), HasSubstr("not written by this program")));
        EXPECT_EQ(read(file), own);
    }
}

TEST_F(XdgAutostartTest, WhateverElseStandsInItsPlaceIsLeftAlone) {
    fs::create_directories(file.parent_path());
    const auto expectLeftAlone = [&](const char* what) {
        EXPECT_FALSE(change(true).problem.empty()) << what;
        EXPECT_FALSE(change(false).problem.empty()) << what;
        EXPECT_FALSE(look().isOn) << what;
    };
    fs::create_directory(file);
    expectLeftAlone("a folder");
    EXPECT_TRUE(fs::is_directory(file));
    fs::remove(file);

    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    expectLeftAlone("a pipe that nobody fills");
    EXPECT_TRUE(fs::is_fifo(file));
    fs::remove(file);

    write(file, ours() + std::string(100'000, '#'));
    expectLeftAlone("a file of absurd size");
    EXPECT_GT(fs::file_size(file), 100'000U);
    fs::remove(file);

    fs::create_symlink("nowhere", file);
    expectLeftAlone("a link to nothing");
    EXPECT_TRUE(fs::is_symlink(file));
}

TEST_F(XdgAutostartTest, ALinkToOneOfOursIsFollowedButLeftAlone) {
    const fs::path kept = folder / "dotfiles/tandrel.desktop";
    write(kept, ours());
    fs::create_directories(file.parent_path());
    fs::create_symlink(kept, file);
    EXPECT_EQ(look(), on);
    EXPECT_FALSE(change(false).problem.empty());
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_EQ(read(kept), ours());
}

TEST_F(XdgAutostartTest, WhatTheDesktopsToolSwitchedOffIsOffAndCanBeSwitchedOn) {
    for (const char* const line : {"Hidden=true\n", "X-GNOME-Autostart-enabled=false\n"}) {
        // As such tools do: the key is set, the others stay.
        std::string text = ours();
        const std::string enabled = "X-GNOME-Autostart-enabled=true\n";
        text.replace(text.find(enabled), enabled.size(), line);
        write(file, text);
        EXPECT_EQ(look(), off) << line;
        EXPECT_EQ(change(true), on) << line;
        EXPECT_EQ(read(file), ours()) << line;
        write(file, text);
        EXPECT_EQ(change(false), off) << line;
        EXPECT_FALSE(fs::exists(file)) << line;
    }
}

TEST_F(XdgAutostartTest, WhatTheUserChangedInOurFileStaysUntilItIsSwitchedOff) {
    std::string text = ours();
    text.replace(text.find("--background"), 12, "--background --start");
    write(file, text);
    EXPECT_EQ(change(true), on);
    EXPECT_EQ(read(file), text);
    EXPECT_EQ(change(false), off);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(XdgAutostartTest, AProgramThatHasMovedIsOffAndSwitchingOnFindsIt) {
    EXPECT_EQ(change(true), on);
    const fs::path moved = folder / "elsewhere/tandrel";
    fs::create_directories(moved.parent_path());
    fs::rename(program, moved);
    setup.program.executable = moved.string();
    EXPECT_EQ(look(), off) << "no desktop starts what is not there";
    EXPECT_EQ(change(true), on);
    EXPECT_EQ(read(file), autostartEntryText(moved.string(), true));
}

TEST_F(XdgAutostartTest, AProgramWithoutAPathIsLookedForInTheSearchPath) {
    write(file, "[Desktop Entry]\nTryExec=tandrel\nExec=tandrel\n");
    EXPECT_EQ(look(), off);
    setup.program.searchPath = "/nowhere:" + program.parent_path().string();
    EXPECT_EQ(look(), on);
}

TEST_F(XdgAutostartTest, WhatTheAdministratorStartsForAllIsOnAndSwitchedOffForTheUserOnly) {
    const std::string theirs = "[Desktop Entry]\nType=Application\nName=T\nExec=tandrel\n";
    write(systemFile, theirs);
    EXPECT_EQ(look(), on);
    EXPECT_EQ(change(false), off);
    EXPECT_EQ(read(file), ours(false));
    EXPECT_EQ(read(systemFile), theirs);
    EXPECT_EQ(change(true), on);
    EXPECT_EQ(read(file), ours());
    EXPECT_EQ(change(false), off);
    EXPECT_EQ(look(), off);
}

TEST_F(XdgAutostartTest, AFolderThatCannotBeWrittenIsSaidAndNothingChanges) {
    write(folder / "config", "a file where the folder should be");
    const LoginStartAnswer answer = change(true);
    EXPECT_FALSE(answer.isOn);
    EXPECT_THAT(answer.problem,
                AllOf(HasSubstr("Could not write " + file.string()), HasSubstr("Not a directory")));
}

TEST_F(XdgAutostartTest, ADiskThatIsFullLeavesTheOldFileWhole) {
    // A device that refuses every byte, in place of the folder's next file, is not to be had; a
    // limit on the size of files comes to the same.
    std::string old = ours();
    old.replace(old.find("enabled=true"), 12, "enabled=false");
    write(file, old);
    const auto changeWithoutRoom = [this] {
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        limit.rlim_cur = limit.rlim_max = 100;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const LoginStartAnswer answer = change(true);
        const bool isTold = answer.problem.find("File too large") != std::string::npos;
        ::_exit(!answer.isOn && isTold ? 0 : 1);
    };
    EXPECT_EXIT(changeWithoutRoom(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(read(file), old);
    EXPECT_EQ(filesBeside(), 1) << "no half file stays behind";
}

TEST_F(XdgAutostartTest, InsideFlatpakTheDesktopDecides) {
    setup.isSandboxed = true;
    const LoginStartAnswer answer = change(true);
    EXPECT_FALSE(answer.isOn);
    EXPECT_THAT(answer.problem, HasSubstr("Flatpak"));
    EXPECT_FALSE(fs::exists(file));
}

class Variable {
public:
    Variable(const char* name, const char* value)
        : name_(name) {
        const char* const previous = std::getenv(name);
        previous_ = previous != nullptr ? previous : "";
        ::setenv(name, value, 1);
    }
    ~Variable() {
        if (previous_.empty()) {
            ::unsetenv(name_);
        } else {
            ::setenv(name_, previous_.c_str(), 1);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* name_;
    std::string previous_;
};

TEST(XdgAutostartSetup, FollowsTheXdgVariables) {
    const Variable home("XDG_CONFIG_HOME", "/home/ann/cfg");
    const Variable dirs("XDG_CONFIG_DIRS", "/a:relative::/b");
    const auto setup = XdgAutostart::Setup::ofThisProcess();
    EXPECT_EQ(setup.userFolder, "/home/ann/cfg/autostart");
    EXPECT_THAT(setup.systemFolders, testing::ElementsAre("/a/autostart", "/b/autostart"));
    EXPECT_FALSE(setup.isSandboxed);
}

TEST(XdgAutostartSetup, FallsBackToTheXdgDefaults) {
    const Variable home("XDG_CONFIG_HOME", "relative");
    const Variable dirs("XDG_CONFIG_DIRS", "");
    const Variable flatpak("FLATPAK_ID", "com.quorvane.Tandrel");
    const auto setup = XdgAutostart::Setup::ofThisProcess();
    EXPECT_EQ(setup.userFolder, std::string(std::getenv("HOME")) + "/.config/autostart");
    EXPECT_THAT(setup.systemFolders, testing::ElementsAre("/etc/xdg/autostart"));
    EXPECT_TRUE(setup.isSandboxed);
}

} // namespace
} // namespace tandrel
