#pragma once

#include "Support/ChildProcess.h"
#include "Support/DevBackend.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// The real headless tool in a home directory of its own.
class HeadlessProcess {
public:
    /// What a test decides about a start of the tool.
    struct Start {
        std::vector<std::string> arguments;
        EnvironmentChanges environment;
        /// Where it finds what an earlier run left; a new one when empty.
        std::filesystem::path home;
        /// A command that starts the tool in its own place, such as one that sets limits.
        std::vector<std::string> launcher;
    };

    explicit HeadlessProcess(const Start& start);
    /// Signs in with the backend's demo account; `arguments` come on top.
    HeadlessProcess(const DevBackend& backend, const EnvironmentChanges& environment,
                    const std::vector<std::string>& arguments = {});
    /// Without a sign-in of its own: arguments as they stand.
    HeadlessProcess(const std::vector<std::string>& arguments,
                    const EnvironmentChanges& environment);

    [[nodiscard]] ChildProcess& process() { return process_; }
    /// All that it has printed, to either stream.
    [[nodiscard]] std::string output() const;
    /// Waits until a line that starts with `text` was printed; whether one was, before the end of
    /// the process and in time.
    bool waitFor(const std::string& text,
                 std::chrono::milliseconds limit = std::chrono::seconds(20));
    std::optional<int> waitForExit(std::chrono::milliseconds limit = std::chrono::seconds(20));
    /// Its debug log, timestamps included.
    [[nodiscard]] std::string debugLog() const;
    [[nodiscard]] const std::filesystem::path& home() const { return home_; }

private:
    std::filesystem::path home_;
    /// This start's own, beside the home, in which a test may leave no room.
    std::filesystem::path outputFile_;
    ChildProcess process_;
};

} // namespace tandrel::test
