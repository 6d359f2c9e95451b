#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tandrel::test {

/// Environment variables to set for a child; an empty value removes the variable.
using EnvironmentChanges = std::map<std::string, std::string>;

/// A program that runs beside the test and never outlives it: killed by the destructor, and by the
/// kernel should the test itself die. Made on a thread that lives as long as the child is needed.
class ChildProcess {
public:
    /// Where the program's input comes from: nowhere, or `write()`.
    enum class Input { empty, pipe };

    /// Starts `command`, found through PATH. Output and errors go to the end of `log`. Aborts the
    /// test program when the system has no process left.
    ChildProcess(const std::vector<std::string>& command, const EnvironmentChanges& environment,
                 const std::filesystem::path& log, Input input = Input::empty);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    /// Whether it has not ended yet.
    [[nodiscard]] bool isRunning();
    /// Its exit code, 128 + the signal that ended it, or nothing when the limit, stretched as that
    /// of `waitUntil()`, passed first.
    [[nodiscard]] std::optional<int> waitForExit(std::chrono::milliseconds limit);
    void signal(int number);
    /// Writes to the program's input, when that is a pipe.
    void write(const std::string& text);
    /// Ends the program's input.
    void closeInput();
    /// Kills it (SIGKILL, which also ends a stopped process) and waits until it is gone.
    void kill();

    struct Output {
        int exitCode = -1;
        std::string text;
    };
    /// Runs `command` to its end and returns what it printed to its standard output.
    [[nodiscard]] static Output run(const std::vector<std::string>& command,
                                    const EnvironmentChanges& environment);

private:
    pid_t pid_ = -1;
    int input_ = -1;
    std::optional<int> exitCode_;
};

} // namespace tandrel::test
