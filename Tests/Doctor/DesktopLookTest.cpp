#include "Doctor/DesktopLook.h"

#include "Support/Desktop/PrivateDesktop.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

namespace tandrel::doctor {
namespace {

namespace fs = std::filesystem;
using test::PrivateDesktop;
using test::waitUntil;

/// A desktop that this process finds by its environment.
class DoctorDesktopLook : public testing::Test {
protected:
    static void SetUpTestSuite() {
        desktop = std::make_unique<PrivateDesktop>(PrivateDesktop::Accessibility::off);
    }
    static void TearDownTestSuite() { desktop.reset(); }

    DoctorDesktopLook() {
        for (const auto& [name, value] : desktop->clientEnvironment()) {
            if (name == "DISPLAY" || name == "XAUTHORITY" || name == "DBUS_SESSION_BUS_ADDRESS") {
                ::setenv(name.c_str(), value.c_str(), 1);
            }
        }
    }
    ~DoctorDesktopLook() override {
        desktop->stopTray();
        ::unsetenv("DISPLAY");
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    }

    static std::unique_ptr<PrivateDesktop> desktop;
};

std::unique_ptr<PrivateDesktop> DoctorDesktopLook::desktop;

TEST_F(DoctorDesktopLook, FindsABusAndNoTray) {
    const DesktopLook look = lookAtDesktop();
    EXPECT_TRUE(look.hasBus);
    EXPECT_FALSE(look.isRunning);
    EXPECT_FALSE(look.hasStatusNotifierHost);
    EXPECT_FALSE(look.hasXEmbedTray);
}

TEST_F(DoctorDesktopLook, FindsATrayOfTodaysKind) {
    desktop->startStatusNotifierTray();
    EXPECT_TRUE(lookAtDesktop().hasStatusNotifierHost);
}

TEST_F(DoctorDesktopLook, APanelThatIsStillStartingIsNoTray) {
    desktop->startStatusNotifierTray(test::StatusNotifierTray::Start::withoutHost);
    EXPECT_FALSE(lookAtDesktop().hasStatusNotifierHost);
}

TEST_F(DoctorDesktopLook, FindsATrayOfTheOlderKind) {
    desktop->startXEmbedTray();
    EXPECT_TRUE(waitUntil([] { return lookAtDesktop().hasXEmbedTray; }));
}

TEST_F(DoctorDesktopLook, WithoutAScreenThereIsNoTrayOfTheOlderKind) {
    desktop->startXEmbedTray();
    ASSERT_TRUE(waitUntil([] { return lookAtDesktop().hasXEmbedTray; }));
    ::setenv("DISPLAY", ":9999", 1);
    EXPECT_FALSE(lookAtDesktop().hasXEmbedTray);
}

class DoctorLogLook : public testing::Test {
protected:
    DoctorLogLook() {
        std::string pattern = (fs::path(std::getenv("HOME")) / "lXXXXXX").string();
        folder = mkdtemp(pattern.data());
        path = (folder / "state/tandrel/debug.log").string();
    }
    ~DoctorLogLook() override { fs::remove_all(folder); }

    fs::path folder;
    std::string path;
};

TEST_F(DoctorLogLook, ALogThatIsNotThereYetIsNotMade) {
    const LogLook look = lookAtLog(path);
    EXPECT_EQ(look.path, path);
    EXPECT_EQ(look.size, std::nullopt);
    EXPECT_TRUE(look.isWritable);
    EXPECT_FALSE(fs::exists(folder / "state"));
}

TEST_F(DoctorLogLook, ALogHasASize) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << "twelve bytes";
    const LogLook look = lookAtLog(path);
    EXPECT_EQ(look.size, 12U);
    EXPECT_TRUE(look.isWritable);
}

TEST_F(DoctorLogLook, WhatIsNoFileIsNotWrittenTo) {
    fs::create_directories(path);
    EXPECT_FALSE(lookAtLog(path).isWritable);
    fs::remove(path);
    fs::create_symlink("elsewhere", path);
    EXPECT_FALSE(lookAtLog(path).isWritable) << "the log follows no link";
    fs::remove_all(folder / "state");
    std::ofstream(folder / "state") << "a file where the folder should be";
    EXPECT_FALSE(lookAtLog(path).isWritable);
}

/// The desktop's own tool, or what stands in its place.
class DoctorLinkHandler : public DoctorLogLook {
protected:
    void useTool(const std::string& script) {
        const fs::path tool = folder / "bin/xdg-mime";
        fs::create_directories(tool.parent_path());
        std::ofstream(tool) << "#!/bin/sh\n" << script;
        fs::permissions(tool, fs::perms::owner_all);
        ::setenv("PATH", (tool.parent_path().string() + ':' + previousPath).c_str(), 1);
    }
    ~DoctorLinkHandler() override { ::setenv("PATH", previousPath.c_str(), 1); }

    const std::string previousPath = std::getenv("PATH");
};

TEST_F(DoctorLinkHandler, IsWhatTheDesktopsToolSaysOfOurScheme) {
    useTool(
        "[ \"$*\" = 'query default x-scheme-handler/quorvane-tandrel' ] && echo some.desktop\n");
    EXPECT_EQ(linkHandler(), "some.desktop");
}

TEST_F(DoctorLinkHandler, IsEmptyWhenThereIsNone) {
    useTool("exit 4\n");
    EXPECT_EQ(linkHandler(), "");
}

TEST_F(DoctorLinkHandler, IsUnknownWithoutTheTool) {
    ::setenv("PATH", folder.c_str(), 1);
    EXPECT_EQ(linkHandler(), std::nullopt);
}

TEST_F(DoctorLinkHandler, IsUnknownWhenTheToolHangs) {
    useTool("exec sleep 60\n");
    EXPECT_EQ(linkHandler(), std::nullopt);
}

} // namespace
} // namespace tandrel::doctor
