#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::headless {

/// Exit codes, for scripts.
enum class ExitCode : int {
    /// Streamed and stopped as asked, or did what else was asked for.
    success = 0,
    usage = 1,
    signInFailed = 2,
    noDevice = 3,
    /// No session was pending in time.
    noSession = 4,
    /// The stream did not start, or ended by itself.
    streamFailed = 5,
    /// Stopped by a signal or by `quit` before anything was streamed.
    interrupted = 6,
};

/// What the command line asks for.
struct Options {
    std::string backendBaseURL;
    /// Sign in as this user; the password is the first line of standard input.
    std::optional<std::string> email;
    /// By name or by unique identifier; the first listed when absent.
    std::optional<std::string> device;
    bool listDevices = false;
    bool signOut = false;
    /// Keep no secret and no setting beyond this run.
    bool ephemeral = false;
    /// Stop after so much audio; absent: until told to.
    std::optional<std::chrono::milliseconds> duration;
    /// Give up when no session is pending after this time; absent: wait for ever.
    std::optional<std::chrono::milliseconds> wait;
    /// Where to write the record of sent messages.
    std::optional<std::string> recordPath;
};

struct ParsedOptions {
    std::optional<Options> options;
    /// To be printed when there are no options: help or version on standard output with exit code
    /// 0, else an error on standard error with `ExitCode::usage`.
    std::string text;
    bool isError = false;
};

/// Parses the arguments (with the program's name in front).
[[nodiscard]] ParsedOptions parseOptions(const std::vector<std::string>& arguments);

} // namespace tandrel::headless
