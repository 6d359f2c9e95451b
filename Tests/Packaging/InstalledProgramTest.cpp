#include "Packaging/InstalledPackage.h"
#include "Support/Desktop/BusConnection.h"
#include "Support/Desktop/StatusNotifierTray.h"
#include "Support/Desktop/VirtualDisplay.h"
#include "Support/FileText.h"
#include "Support/PrivateBus.h"
#include "Support/WaitUntil.h"

#include <QStringList>
#include <QVariantMap>

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* busName = "com.quorvane.Tandrel";
constexpr const char* opening = "[AppDelegate] Opening popover via status bar button click";
constexpr const char* startReceived = "Received URL: quorvane-tandrel://start command=start";
constexpr const char* stopReceived = "Received URL: quorvane-tandrel://stop command=stop";

/// The package as a person's desktop has it: a screen, a tray, and a session bus that starts what
/// is installed.
class InstalledProgram : public testing::Test {
protected:
    InstalledProgram()
        : folder_(newFolder())
        , package_(folder_ / "system")
        , display_(folder_)
        , bus_(folder_, {package_.services(), sessionEnvironment()})
        , tray_(bus_, folder_)
        , connection_(bus_.address()) {}

    ~InstalledProgram() override {
        // Nothing that the bus has started outlives the test.
        if (bus_.hasOwner(busName)) {
            act("quit");
            bus_.awaitRelease(busName);
        }
    }

    /// Runs a command of the session's to its end.
    [[nodiscard]] ChildProcess::Output run(const std::vector<std::string>& command) const {
        EnvironmentChanges environment = sessionEnvironment();
        environment.merge(bus_.clientEnvironment());
        return ChildProcess::run(command, environment);
    }
    /// Opens an address as a browser does. What that starts may go on as its child.
    [[nodiscard]] std::unique_ptr<ChildProcess> open(const std::string& address) const {
        EnvironmentChanges environment = sessionEnvironment();
        environment.merge(bus_.clientEnvironment());
        return std::make_unique<ChildProcess>(std::vector<std::string>{"xdg-open", address},
                                              environment, folder_ / "opening.log");
    }
    /// Calls a method of the program, which the bus starts when it does not run.
    void call(const char* method, const QVariantList& arguments = {}) const {
        (void)connection_.call(QLatin1String(busName), QStringLiteral("/com/quorvane/Tandrel"),
                               QStringLiteral("org.freedesktop.Application"), QLatin1String(method),
                               arguments + QVariantList{QVariantMap()}, seconds(30));
    }
    void act(const std::string& action) const {
        call("ActivateAction", {QString::fromStdString(action), QVariantList()});
    }

    [[nodiscard]] std::string debugLog() const {
        return textOf(folder_ / "home/.local/state/quorvane-tandrel/tandrel-debug.log");
    }
    [[nodiscard]] std::size_t count(const std::string& text) const {
        const std::string log = debugLog();
        std::size_t count = 0;
        for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++count;
        }
        return count;
    }
    [[nodiscard]] bool isLogged(const std::string& text) const {
        return waitUntil([&] { return count(text) > 0; });
    }
    [[nodiscard]] bool hasEnded() const {
        return waitUntil([this] { return !bus_.hasOwner(busName); });
    }

    [[nodiscard]] const InstalledPackage& package() const { return package_; }
    [[nodiscard]] const VirtualDisplay& display() const { return display_; }
    [[nodiscard]] const PrivateBus& bus() const { return bus_; }
    [[nodiscard]] const StatusNotifierTray& tray() const { return tray_; }

private:
    static std::filesystem::path newFolder() {
        static int count = 0;
        const auto folder =
            std::filesystem::path(std::getenv("HOME")) / ("p" + std::to_string(++count));
        std::filesystem::create_directories(folder / "home");
        return folder;
    }

    [[nodiscard]] EnvironmentChanges sessionEnvironment() const {
        EnvironmentChanges environment = package_.environment();
        environment.merge(display_.clientEnvironment());
        const auto home = folder_ / "home";
        environment["HOME"] = home.string();
        environment["XDG_CONFIG_HOME"] = (home / ".config").string();
        environment["XDG_DATA_HOME"] = (home / ".local/share").string();
        environment["XDG_STATE_HOME"] = (home / ".local/state").string();
        environment["XDG_CACHE_HOME"] = (home / ".cache").string();
        environment["PULSE_SERVER"] = "unix:/nonexistent";
        environment["QT_QPA_PLATFORM"] = "xcb";
        environment["LC_ALL"] = "C.UTF-8";
        // No desktop of the user's decides how addresses are opened.
        for (const char* name :
             {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "BROWSER", "KDE_FULL_SESSION",
              "GNOME_DESKTOP_SESSION_ID", "QT_QPA_PLATFORMTHEME", "SESSION_MANAGER"}) {
            environment[name] = "";
        }
        return environment;
    }

    std::filesystem::path folder_;
    InstalledPackage package_;
    VirtualDisplay display_;
    PrivateBus bus_;
    StatusNotifierTray tray_;
    BusConnection connection_;
};

TEST_F(InstalledProgram, IsWhatOpensAddressesOfItsScheme) {
    EXPECT_EQ(run({"xdg-mime", "query", "default", "x-scheme-handler/quorvane-tandrel"}).text,
              "com.quorvane.Tandrel.desktop\n");
}

TEST_F(InstalledProgram, IsStartedByAnAddress) {
    const auto opened = open("quorvane-tandrel://start");
    ASSERT_TRUE(isLogged(startReceived));
    ASSERT_TRUE(isLogged(opening));
    EXPECT_TRUE(display().awaitWindow("Quorvane Tandrel"));
    act("quit");
    EXPECT_EQ(opened->waitForExit(seconds(10)), 0);
    EXPECT_EQ(count("[App] init"), 1U);
}

TEST_F(InstalledProgram, IsReachedByAnAddressWhileItRuns) {
    call("Activate");
    EXPECT_EQ(open("quorvane-tandrel://stop")->waitForExit(seconds(10)), 0);
    EXPECT_TRUE(isLogged(stopReceived));
    EXPECT_EQ(open("quorvane-tandrel://start")->waitForExit(seconds(10)), 0);
    EXPECT_TRUE(isLogged(startReceived));
    EXPECT_EQ(count("[App] init"), 1U);
}

TEST_F(InstalledProgram, IsStartedByTheBusAndShowsItself) {
    call("Activate");
    EXPECT_TRUE(display().awaitWindow("Quorvane Tandrel"));
    EXPECT_EQ(count("[App] init"), 1U);
}

TEST_F(InstalledProgram, LosesNoCallThatStartsIt) {
    // What comes first may come before there is a window, an icon, or an event loop.
    for (int round = 1; round <= 5; ++round) {
        call("Open", {QStringList{QStringLiteral("quorvane-tandrel://start")}});
        ASSERT_TRUE(waitUntil([&] { return count(opening) == static_cast<std::size_t>(round); }))
            << debugLog();
        EXPECT_EQ(count(startReceived), static_cast<std::size_t>(round));
        act("quit");
        ASSERT_TRUE(hasEnded());
    }
    EXPECT_EQ(count("[App] init"), 5U);
}

TEST_F(InstalledProgram, KnowsTheActionsOfItsDesktopEntry) {
    ASSERT_THAT(package().actions(), ElementsAre("start", "stop", "quit"));
    act("start");
    EXPECT_TRUE(isLogged(opening));
    // Not to be seen while nothing streams, but taken.
    act("stop");
    EXPECT_TRUE(bus().hasOwner(busName));
    act("quit");
    EXPECT_TRUE(hasEnded());
    EXPECT_EQ(count("[App] init"), 1U);
}

TEST_F(InstalledProgram, NamesTheInstalledIconForPanelsToColour) {
    call("Activate");
    EXPECT_EQ(tray().awaitItem().text("IconName"), "com.quorvane.Tandrel-symbolic");
}

} // namespace
} // namespace tandrel::test
