#include "BuildPaths.h"
#include "EndToEnd/AppStory.h"
#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::seconds;
using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr const char* program = TANDREL_BUILD_BIN "/quorvane-tandrel-under-test";
constexpr const char* entryLabel = "Start at Login";

/// The start at login: how it is switched, and what a start of that kind does.
class AppAutostart : public AppStory {
protected:
    AppAutostart() {
        static int count = 0;
        home = fs::path(std::getenv("HOME")) / ("login" + std::to_string(++count));
        file = home / ".config/autostart/com.quorvane.Tandrel.desktop";
        fs::create_directories(home);
    }

    /// The program's command, where there is neither display nor bus.
    [[nodiscard]] ChildProcess::Output autostart(const std::string& word = {}) const {
        std::vector<std::string> command{program, "--autostart"};
        if (!word.empty()) {
            command.push_back(word);
        }
        return ChildProcess::run(command, {{"HOME", home.string()},
                                           {"XDG_CONFIG_HOME", (home / ".config").string()},
                                           {"DISPLAY", ""},
                                           {"WAYLAND_DISPLAY", ""},
                                           {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"}});
    }
    [[nodiscard]] std::string content() const { return textOf(file); }
    /// The words of the file's command line, none of which is quoted here.
    [[nodiscard]] std::vector<std::string> execWords() const {
        std::istringstream lines(content());
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("Exec=")) {
                std::istringstream words(line.substr(line.find('=') + 1));
                return {std::istream_iterator<std::string>(words), {}};
            }
        }
        return {};
    }
    /// What the desktop does at login.
    void logIn() {
        const std::vector<std::string> words = execWords();
        ASSERT_FALSE(words.empty());
        ASSERT_EQ(words.front(), program);
        AppProcess::Start login;
        login.arguments = {words.begin() + 1, words.end()};
        login.backendURL = backend().url();
        login.home = home;
        start(login);
    }
    bool formComes(std::chrono::milliseconds limit = seconds(10)) {
        return waitUntil([&] { return interface().shows(role::button, "Sign In"); }, limit);
    }

    fs::path home;
    fs::path file;
};

TEST_F(AppAutostart, TheIconsMenuSwitchesIt) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start({}, home);
    const auto item = tray.awaitItem();
    const auto isChecked = [&] { return item.menuEntry(entryLabel).isChecked == true; };
    item.announceMenu();
    EXPECT_EQ(item.menuEntry(entryLabel).isChecked, false);
    EXPECT_FALSE(fs::exists(file)) << "off by default";

    item.choose(entryLabel);
    EXPECT_TRUE(waitUntil([&] { return fs::exists(file); }));
    EXPECT_TRUE(waitUntil(isChecked));
    EXPECT_EQ(autostart().text, "on\n");

    item.choose(entryLabel);
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(file); }));
    EXPECT_TRUE(waitUntil([&] { return !isChecked(); }));
    EXPECT_EQ(autostart().text, "off\n");
}

TEST_F(AppAutostart, TheMenuTellsWhatOthersSwitched) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start({}, home);
    const auto item = tray.awaitItem();
    EXPECT_EQ(autostart("on").exitCode, 0);
    item.announceMenu();
    EXPECT_TRUE(waitUntil([&] { return item.menuEntry(entryLabel).isChecked == true; }));
}

TEST_F(AppAutostart, AFileOfTheUsersOwnIsLeftAloneWithAMessage) {
    fs::create_directories(file.parent_path());
    const std::string own =
        "[Desktop Entry]\nType=Application\nName=Mine\nExec=mine\nHidden=true\n";
    std::ofstream(file) << own;
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start({}, home);
    const auto item = tray.awaitItem();
    item.choose(entryLabel);
    EXPECT_TRUE(waitUntil([&] {
        return interface().describe().find("was not written by this program") != std::string::npos;
    })) << interface().describe();
    EXPECT_EQ(item.menuEntry(entryLabel).isChecked, false);
    EXPECT_EQ(content(), own);
    const auto command = ChildProcess::run(
        {"sh", "-c", "exec \"$0\" --autostart on 2>&1", program},
        {{"HOME", home.string()}, {"XDG_CONFIG_HOME", (home / ".config").string()}});
    EXPECT_EQ(command.exitCode, 1);
    EXPECT_THAT(command.text, HasSubstr("was not written by this program"));
    EXPECT_EQ(content(), own);
}

TEST_F(AppAutostart, TheCommandWritesAFileThatDesktopsTake) {
    EXPECT_EQ(autostart().text, "off\n");
    EXPECT_EQ(autostart("on").exitCode, 0);
    const auto verdict = ChildProcess::run({"desktop-file-validate", file.string()}, {});
    EXPECT_EQ(verdict.exitCode, 0) << verdict.text;
    EXPECT_EQ(autostart("off").exitCode, 0);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(AppAutostart, AStartAtLoginShowsNoWindowButItsIcon) {
    EXPECT_EQ(autostart("on").exitCode, 0);
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    logIn();
    const auto item = tray.awaitItem();
    EXPECT_FALSE(formComes(seconds(1)));
    EXPECT_TRUE(item.activate());
    EXPECT_TRUE(formComes());
}

TEST_F(AppAutostart, AStartAtLoginShowsNoWindowWithoutATrayUntilItIsStartedAgain) {
    EXPECT_EQ(autostart("on").exitCode, 0);
    logIn();
    // An ordinary start opens its window after 3 s.
    EXPECT_FALSE(formComes(seconds(5)));
    EXPECT_TRUE(app().process().isRunning());
    EXPECT_EQ(startAgain(), 0);
    EXPECT_TRUE(formComes());
}

TEST_F(AppAutostart, AStartAtLoginGetsTheIconOfATrayThatComesLate) {
    EXPECT_EQ(autostart("on").exitCode, 0);
    logIn();
    ASSERT_TRUE(app().waitForLog("[App] init"));
    EXPECT_TRUE(desktop().startStatusNotifierTray().awaitItem().activate());
    EXPECT_TRUE(formComes());
}

TEST_F(AppAutostart, AStartAtLoginBesideARunningProgramIsSilent) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start();
    (void)tray.awaitItem();
    EXPECT_EQ(startAgain({"--background"}), 0);
    EXPECT_FALSE(formComes(seconds(1)));
    EXPECT_EQ(tray.items().size(), 1U);
}

} // namespace
} // namespace tandrel::test
