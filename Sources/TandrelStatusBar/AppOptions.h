#pragma once

#include "Doctor/Report.h"
#include "Platform/AppCommand.h"

#include <optional>
#include <string>
#include <vector>

namespace tandrel {

/// What is to become of the start at login.
enum class LoginStartRequest { look, on, off };

/// What the command line asks for.
struct AppOptions {
    /// In the order in which they are to be carried out; URLs cut to `UrlCommand::maxURLSize`.
    std::vector<AppCommand> commands;
    /// Show no window by itself.
    bool isInBackground = false;
    /// Done instead of running: at most one of the two, and no command with it.
    std::optional<LoginStartRequest> loginStart;
    std::optional<doctor::Format> doctor;

    /// Whether all commands are for a program that runs already: without one there is nothing to
    /// stop or to quit.
    [[nodiscard]] bool concernsRunningOnly() const;
};

struct ParsedAppOptions {
    AppOptions options;
    /// Whether the program is to go on; otherwise it prints `text` and ends with `exitCode`.
    bool proceeds = true;
    /// For standard output when `exitCode` is 0, else for standard error.
    std::string text;
    int exitCode = 0;
};

/// Parses the arguments, without the program's name. Any thread.
[[nodiscard]] ParsedAppOptions parseAppOptions(const std::vector<std::string>& arguments);

} // namespace tandrel
