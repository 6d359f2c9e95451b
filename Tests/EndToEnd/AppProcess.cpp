#include "EndToEnd/AppProcess.h"

#include "BuildPaths.h"
#include "Support/Desktop/PrivateDesktop.h"
#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <cstdlib>
#include <sstream>

namespace tandrel::test {

namespace {

std::filesystem::path usableHome(const std::filesystem::path& wanted) {
    static int count = 0;
    std::filesystem::path home = wanted;
    if (home.empty()) {
        home = std::filesystem::path(std::getenv("HOME")) / ("app" + std::to_string(++count));
    }
    std::filesystem::create_directories(home);
    return home;
}

std::vector<std::string> command(const AppProcess::Start& start) {
    std::vector<std::string> all{start.program.empty() ? AppProcess::builtProgram()
                                                       : start.program};
    all.insert(all.end(), start.arguments.begin(), start.arguments.end());
    return all;
}

EnvironmentChanges environment(const PrivateDesktop& desktop, const AppProcess::Start& start,
                               const std::filesystem::path& home) {
    EnvironmentChanges changes = start.environment;
    changes.merge(desktop.clientEnvironment());
    changes["HOME"] = home.string();
    changes["XDG_CONFIG_HOME"] = (home / ".config").string();
    changes["XDG_DATA_HOME"] = (home / ".local/share").string();
    changes["XDG_STATE_HOME"] = (home / ".local/state").string();
    changes["XDG_CACHE_HOME"] = (home / ".cache").string();
    changes["TANDREL_TEST_ADDRESS"] = start.backendURL;
    return changes;
}

} // namespace

AppProcess::AppProcess(const PrivateDesktop& desktop, const Start& start)
    : home_(usableHome(start.home))
    , process_(command(start), environment(desktop, start, home_), home_ / "output")
    , interface_(desktop.accessibility().address(), process_.pid()) {}

std::filesystem::path AppProcess::builtProgram() {
    return TANDREL_BUILD_BIN "/quorvane-tandrel-under-test";
}

std::optional<int> AppProcess::waitForExit(std::chrono::milliseconds limit) {
    return process_.waitForExit(limit);
}

std::optional<int> AppProcess::end(int signal, std::chrono::milliseconds limit) {
    process_.signal(signal);
    waitUntil([this] { return !process_.isRunning(); }, limit);
    return process_.waitForExit(std::chrono::milliseconds(0));
}

std::string AppProcess::output() const {
    return textOf(home_ / "output");
}

std::vector<std::string> AppProcess::unexpectedOutput() const {
    std::vector<std::string> unexpected;
    std::istringstream lines(output());
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("[Auth] ")) {
            unexpected.push_back(line);
        }
    }
    return unexpected;
}

std::string AppProcess::debugLog() const {
    return textOf(home_ / ".local/state/quorvane-tandrel/tandrel-debug.log");
}

bool AppProcess::hasLogged(const std::string& text) const {
    return debugLog().find(text) != std::string::npos;
}

bool AppProcess::waitForLog(const std::string& text, std::chrono::milliseconds limit) const {
    return waitUntil([&] { return hasLogged(text); }, limit);
}

} // namespace tandrel::test
