// The real program on a bus of the test's own, on the platform that has no screen.

#include "BuildPaths.h"
#include "Support/ChildProcess.h"
#include "Support/Desktop/BusConnection.h"
#include "Support/FileText.h"
#include "Support/PrivateBus.h"
#include "Support/WaitUntil.h"

#include <QStringList>
#include <QVariantMap>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <list>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

constexpr const char* busName = "com.quorvane.Tandrel";

/// One start of the program, in a home directory that all starts of a test share.
class Start {
public:
    Start(const std::filesystem::path& folder, const std::string& busAddress,
          std::vector<std::string> arguments)
        : output_(newOutput(folder))
        , process_(command(std::move(arguments)),
                   {{"DBUS_SESSION_BUS_ADDRESS", busAddress},
                    {"HOME", folder.string()},
                    {"XDG_CONFIG_HOME", (folder / ".config").string()},
                    {"QT_QPA_PLATFORM", "offscreen"}},
                   output_) {}

    [[nodiscard]] ChildProcess& process() { return process_; }
    [[nodiscard]] std::string output() const { return textOf(output_); }
    std::optional<int> waitForExit(milliseconds limit = seconds(10)) {
        return process_.waitForExit(limit);
    }

private:
    static std::filesystem::path newOutput(const std::filesystem::path& folder) {
        static int count = 0;
        return folder / ("output" + std::to_string(++count));
    }
    static std::vector<std::string> command(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), TANDREL_BUILD_BIN "/quorvane-tandrel");
        return arguments;
    }

    std::filesystem::path output_;
    ChildProcess process_;
};

class SingleInstanceTest : public testing::Test {
protected:
    SingleInstanceTest()
        : folder_(newFolder())
        , bus_(folder_) {}

    /// Starts the program and waits until it is the one that runs.
    Start& startFirst(std::vector<std::string> arguments = {}) {
        const std::size_t earlier = initCount();
        Start& first = start(std::move(arguments));
        bus_.awaitOwner(busName);
        EXPECT_TRUE(waitUntil([&] { return initCount() > earlier; }));
        return first;
    }
    Start& start(std::vector<std::string> arguments) {
        return starts_.emplace_back(folder_, bus_.address(), std::move(arguments));
    }
    [[nodiscard]] std::string debugLog() const {
        return textOf(folder_ / ".local/state/quorvane-tandrel/tandrel-debug.log");
    }
    bool isLogged(const std::string& line) const {
        return waitUntil([&] { return debugLog().find(line) != std::string::npos; }, seconds(5));
    }
    [[nodiscard]] std::size_t initCount() const {
        const std::string log = debugLog();
        std::size_t count = 0;
        for (auto at = log.find("[App] init"); at != std::string::npos;
             at = log.find("[App] init", at + 1)) {
            ++count;
        }
        return count;
    }
    /// Calls a method of the running program and waits for its answer.
    void call(const QString& method, const QVariantList& arguments = {}) const {
        const BusConnection connection(bus_.address());
        (void)connection.call(QLatin1String(busName), QStringLiteral("/com/quorvane/Tandrel"),
                              QStringLiteral("org.freedesktop.Application"), method,
                              arguments + QVariantList{QVariantMap()});
    }

    std::filesystem::path folder_;
    PrivateBus bus_;
    std::list<Start> starts_;

private:
    static std::filesystem::path newFolder() {
        static int count = 0;
        const auto folder =
            std::filesystem::path(std::getenv("HOME")) / ("i" + std::to_string(++count));
        std::filesystem::create_directories(folder);
        return folder;
    }
};

TEST_F(SingleInstanceTest, ASecondStartHandsItsCommandsOverInTheirOrderAndEnds) {
    Start& first = startFirst();
    Start& second = start({"quorvane-tandrel://stop?1", "quorvane-tandrel://start/2", "--stop",
                           "quorvane-tandrel://stop#3"});
    EXPECT_EQ(second.waitForExit(), 0);
    EXPECT_EQ(second.output(), "");
    EXPECT_TRUE(isLogged("Received URL: quorvane-tandrel://stop#3 command=stop"));
    const std::string log = debugLog();
    const auto one = log.find("Received URL: quorvane-tandrel://stop?1 command=stop");
    const auto two = log.find("Received URL: quorvane-tandrel://start/2 command=start");
    ASSERT_NE(one, std::string::npos);
    ASSERT_NE(two, std::string::npos);
    EXPECT_LT(one, two);
    EXPECT_LT(two, log.find("Received URL: quorvane-tandrel://stop#3"));
    EXPECT_EQ(initCount(), 1U);
    EXPECT_TRUE(first.process().isRunning());
}

TEST_F(SingleInstanceTest, ASecondStartEndsWithinAFifthOfASecond) {
    startFirst();
    // The fastest counts: the machine may be busy with other tests.
    auto fastest = milliseconds::max();
    for (int round = 0; round < 5; ++round) {
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(start({"quorvane-tandrel://stop"}).waitForExit(), 0);
        fastest = std::min(fastest, std::chrono::duration_cast<milliseconds>(
                                        std::chrono::steady_clock::now() - began));
    }
    EXPECT_LT(fastest, milliseconds(200));
}

TEST_F(SingleInstanceTest, OfManyStartsAtOnceOneRuns) {
    static constexpr int count = 6;
    for (int number = 0; number < count; ++number) {
        start({"quorvane-tandrel://stop?" + std::to_string(number)});
    }
    const auto running = [this] {
        return std::count_if(starts_.begin(), starts_.end(),
                             [](Start& each) { return each.process().isRunning(); });
    };
    EXPECT_TRUE(waitUntil([&] { return running() == 1; }));
    for (int number = 0; number < count; ++number) {
        EXPECT_TRUE(isLogged("stop?" + std::to_string(number) + " command=stop")) << number;
    }
    EXPECT_EQ(initCount(), 1U);
    for (Start& each : starts_) {
        if (!each.process().isRunning()) {
            EXPECT_EQ(each.waitForExit(), 0) << each.output();
        }
    }
}

TEST_F(SingleInstanceTest, TheCommandToQuitEndsTheRunningProgram) {
    Start& first = startFirst();
    EXPECT_EQ(start({"--quit"}).waitForExit(), 0);
    EXPECT_EQ(first.waitForExit(seconds(2)), 0);
}

TEST_F(SingleInstanceTest, CommandsForARunningProgramStartNone) {
    for (const char* const command : {"--stop", "--quit"}) {
        Start& only = start({command});
        EXPECT_EQ(only.waitForExit(), 0);
        EXPECT_THAT(only.output(), HasSubstr("not running"));
    }
    EXPECT_EQ(initCount(), 0U);
}

TEST_F(SingleInstanceTest, AProgramThatHangsDoesNotHoldTheNextStartUp) {
    Start& first = startFirst();
    first.process().signal(SIGSTOP);
    for (const char* const argument : {"--stop", "quorvane-tandrel://start"}) {
        Start& second = start({argument});
        EXPECT_EQ(second.waitForExit(seconds(5)), 1);
        EXPECT_THAT(second.output(), HasSubstr("does not answer"));
    }
}

TEST_F(SingleInstanceTest, ABusThatHangsDoesNotHoldAStartUp) {
    // It takes connections and never says a word.
    const auto path = folder_ / "mute";
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 8), 0);
    Start start(folder_, "unix:path=" + path.string(), {});
    EXPECT_EQ(start.waitForExit(seconds(5)), 1);
    EXPECT_THAT(start.output(), HasSubstr("the session bus does not answer"));
    close(listener);
}

TEST_F(SingleInstanceTest, WithoutABusItRunsAndSaysSoOnce) {
    Start start(folder_, "unix:path=/nonexistent", {"quorvane-tandrel://stop"});
    EXPECT_TRUE(isLogged("Received URL: quorvane-tandrel://stop command=stop"));
    start.process().signal(SIGTERM);
    EXPECT_EQ(start.waitForExit(seconds(2)), 0);
    const std::string output = start.output();
    const auto said = output.find("no session bus");
    EXPECT_NE(said, std::string::npos);
    EXPECT_EQ(output.find("no session bus", said + 1), std::string::npos);
}

TEST_F(SingleInstanceTest, TheDesktopReachesItByTheInterfaceOfApplications) {
    Start& first = startFirst();
    call(QStringLiteral("Open"),
         {QStringList{QStringLiteral("quorvane-tandrel://STOP"), QStringLiteral("ftp://x")}});
    EXPECT_TRUE(isLogged("Received URL: quorvane-tandrel://STOP command=STOP"));
    EXPECT_TRUE(isLogged("[AppDelegate] Opening popover via status bar button click"));
    EXPECT_THAT(debugLog(), Not(HasSubstr("ftp")));
    call(QStringLiteral("ActivateAction"), {QStringLiteral("no such action"), QVariantList()});
    call(QStringLiteral("Activate"));
    EXPECT_TRUE(first.process().isRunning());
    call(QStringLiteral("ActivateAction"), {QStringLiteral("quit"), QVariantList()});
    EXPECT_EQ(first.waitForExit(seconds(2)), 0) << first.output();
}

TEST_F(SingleInstanceTest, TheFirstStartCarriesItsOwnCommandsOut) {
    startFirst({"--start", "quorvane-tandrel://stop"});
    EXPECT_TRUE(isLogged("Received URL: quorvane-tandrel://stop command=stop"));
    EXPECT_TRUE(isLogged("[AppDelegate] Opening popover via status bar button click"));
}

TEST_F(SingleInstanceTest, ASignalEndsItWithinTwoSeconds) {
    for (const int number : {SIGTERM, SIGINT}) {
        Start& first = startFirst({"--show"});
        first.process().signal(number);
        EXPECT_EQ(first.waitForExit(seconds(2)), 0);
        bus_.awaitRelease(busName);
    }
}

TEST_F(SingleInstanceTest, AFloodOfCommandsLeavesItResponsive) {
    startFirst();
    bool answeredBetween = false;
    // On a busy machine this program, too, may be kept from asking until all is done.
    for (int round = 0; round < 5 && !answeredBetween; ++round) {
        QStringList urls;
        for (int number = 0; number < 10'000; ++number) {
            urls << QStringLiteral("quorvane-tandrel://start?%1").arg(number);
        }
        urls << QStringLiteral("quorvane-tandrel://stop?%1").arg(round);
        call(QStringLiteral("Open"), {urls});
        call(QStringLiteral("ActivateAction"), {QStringLiteral("no such action"), QVariantList()});
        const std::string last =
            "Received URL: quorvane-tandrel://stop?" + std::to_string(round) + " command=stop";
        answeredBetween = debugLog().find(last) == std::string::npos;
        EXPECT_TRUE(isLogged(last));
    }
    EXPECT_TRUE(answeredBetween);
    EXPECT_TRUE(isLogged("quorvane-tandrel://start?9999 command=start"));
}

} // namespace
} // namespace tandrel::test
