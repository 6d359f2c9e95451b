#include "AppOptions.h"

#include "BuildConfig.h"
#include "Foundation/Console.h"
#include "UrlCommand.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace tandrel {

namespace {

constexpr int usageError = 2;

constexpr std::string_view help = R"(Usage: quorvane-tandrel [options] [URL...]

Streams the microphone to a live session, from an icon in the system tray.

  --show         open the popover
  --start        start streaming as soon as a session is pending
  --stop         stop streaming
  --quit         quit the program that runs
  -h, --help     this text
  -v, --version  the version

A URL is "quorvane-tandrel://start" or "quorvane-tandrel://stop". While the program runs, another
start hands its commands over to it, and without any opens the popover.

Exit codes: 0 done, or handed over; 1 the session bus or the running program does not answer;
2 usage.
)";

std::optional<AppCommand::Kind> commandOf(std::string_view option) {
    using Kind = AppCommand::Kind;
    static constexpr std::array<std::pair<std::string_view, Kind>, 4> options{{
        {"--show", Kind::show},
        {"--start", Kind::start},
        {"--stop", Kind::stop},
        {"--quit", Kind::quit},
    }};
    const auto* const found = std::find_if(
        options.begin(), options.end(), [&](const auto& entry) { return entry.first == option; });
    return found == options.end() ? std::nullopt : std::optional(found->second);
}

ParsedAppOptions ending(std::string text, int exitCode) {
    return {{}, false, std::move(text), exitCode};
}

} // namespace

bool AppOptions::concernsRunningOnly() const {
    return !commands.empty() &&
           std::all_of(commands.begin(), commands.end(), [](const AppCommand& command) {
               return command.kind == AppCommand::Kind::stop ||
                      command.kind == AppCommand::Kind::quit;
           });
}

ParsedAppOptions parseAppOptions(const std::vector<std::string>& arguments) {
    ParsedAppOptions parsed;
    bool takesOptions = true;
    for (const std::string& argument : arguments) {
        if (!takesOptions || !argument.starts_with('-')) {
            parsed.options.commands.push_back(
                {AppCommand::Kind::openURL, UrlCommand::bounded(argument)});
        } else if (argument == "--") {
            takesOptions = false;
        } else if (argument == "-h" || argument == "--help") {
            return ending(std::string(help), 0);
        } else if (argument == "-v" || argument == "--version") {
            return ending("quorvane-tandrel " + std::string(config::version) + '\n', 0);
        } else if (const auto kind = commandOf(argument)) {
            parsed.options.commands.push_back({*kind, {}});
        } else {
            return ending("quorvane-tandrel: unknown option \"" +
                              printable(UrlCommand::bounded(argument)) + "\"\nTry --help.\n",
                          usageError);
        }
    }
    return parsed;
}

} // namespace tandrel
