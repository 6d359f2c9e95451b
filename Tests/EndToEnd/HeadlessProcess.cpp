#include "EndToEnd/HeadlessProcess.h"

#include "BuildPaths.h"
#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <cstdlib>
#include <utility>

namespace tandrel::test {

namespace {

std::filesystem::path newHome() {
    static int count = 0;
    const std::filesystem::path home =
        std::filesystem::path(std::getenv("HOME")) / ("headless" + std::to_string(++count));
    std::filesystem::create_directories(home);
    return home;
}

std::filesystem::path newOutputFile(const std::filesystem::path& home) {
    static int count = 0;
    return home.string() + ".output" + std::to_string(++count);
}

std::filesystem::path usableHome(const std::filesystem::path& wanted) {
    return wanted.empty() ? newHome() : wanted;
}

std::vector<std::string> command(const HeadlessProcess::Start& start) {
    std::vector<std::string> all = start.launcher;
    all.emplace_back(TANDREL_BUILD_BIN "/quorvane-tandrel-headless");
    all.insert(all.end(), start.arguments.begin(), start.arguments.end());
    return all;
}

std::vector<std::string> signInArguments(const DevBackend& backend,
                                         const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"--backend", backend.url(), "--email", DevBackend::email};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

EnvironmentChanges withHome(EnvironmentChanges environment, const std::filesystem::path& home) {
    environment.insert_or_assign("HOME", home.string());
    environment.insert_or_assign("XDG_CONFIG_HOME", (home / ".config").string());
    return environment;
}

} // namespace

HeadlessProcess::HeadlessProcess(const DevBackend& backend, const EnvironmentChanges& environment,
                                 const std::vector<std::string>& arguments)
    : HeadlessProcess(Start{signInArguments(backend, arguments), environment, {}, {}}) {
    process_.write(std::string(DevBackend::password) + '\n');
}

HeadlessProcess::HeadlessProcess(const std::vector<std::string>& arguments,
                                 const EnvironmentChanges& environment)
    : HeadlessProcess(Start{arguments, environment, {}, {}}) {}

HeadlessProcess::HeadlessProcess(const Start& start)
    : home_(usableHome(start.home))
    , outputFile_(newOutputFile(home_))
    , process_(command(start), withHome(start.environment, home_), outputFile_,
               ChildProcess::Input::pipe) {}

std::string HeadlessProcess::output() const {
    return textOf(outputFile_);
}

bool HeadlessProcess::waitFor(const std::string& text, std::chrono::milliseconds limit) {
    const auto printed = [this, &text] {
        return ('\n' + output()).find('\n' + text) != std::string::npos;
    };
    waitUntil([&] { return printed() || !process_.isRunning(); }, limit);
    return printed();
}

std::optional<int> HeadlessProcess::waitForExit(std::chrono::milliseconds limit) {
    return process_.waitForExit(limit);
}

std::string HeadlessProcess::debugLog() const {
    return textOf(home_ / ".local/state/quorvane-tandrel/tandrel-debug.log");
}

} // namespace tandrel::test
