#include "AppOptions.h"

#include "BuildConfig.h"
#include "Foundation/Console.h"
#include "UrlCommand.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

namespace tandrel {

namespace {

constexpr int usageError = 2;

constexpr std::string_view help = R"(Usage: quorvane-tandrel [options] [URL...]

Streams the microphone to a live session, from an icon in the system tray.

  --show                open the popover
  --start               start streaming as soon as a session is pending
  --stop                stop streaming
  --quit                quit the program that runs
  --background          show no window by itself, as at a login
  --autostart [on|off]  start at login, or not; by itself: say which
  --doctor [--json]     look for all that streaming needs, and say what is missing
  -h, --help            this text
  -v, --version         the version

A URL is "quorvane-tandrel://start" or "quorvane-tandrel://stop". While the program runs, another
start hands its commands over to it, and without any opens the popover.

Exit codes: 0 done, or handed over; 1 the session bus or the running program does not answer, or
what was asked for could not be done, or streaming lacks something; 2 usage.
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

ParsedAppOptions misuse(const std::string& what) {
    return ending("quorvane-tandrel: " + what + "\nTry --help.\n", usageError);
}

/// What goes with "--autostart"; nothing for a word that does not.
std::optional<LoginStartRequest> loginStartRequest(const std::string& word) {
    if (word == "on") {
        return LoginStartRequest::on;
    }
    return word == "off" ? std::optional(LoginStartRequest::off) : std::nullopt;
}

/// What is wrong with the options as a whole; empty when nothing is.
std::string contradiction(const AppOptions& options, bool asksForJson) {
    const bool runs = !options.commands.empty() || options.isInBackground;
    if (options.loginStart && (runs || options.doctor || asksForJson)) {
        return "\"--autostart\" goes with nothing else";
    }
    if (asksForJson && !options.doctor) {
        return "\"--json\" goes with \"--doctor\"";
    }
    return options.doctor && runs ? "\"--doctor\" goes with \"--json\" only" : "";
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
    AppOptions& options = parsed.options;
    bool takesOptions = true;
    bool asksForJson = false;
    for (auto at = arguments.begin(); at != arguments.end(); ++at) {
        const std::string& argument = *at;
        if (!takesOptions || !argument.starts_with('-')) {
            options.commands.push_back({AppCommand::Kind::openURL, UrlCommand::bounded(argument)});
        } else if (argument == "--") {
            takesOptions = false;
        } else if (argument == "-h" || argument == "--help") {
            return ending(std::string(help), 0);
        } else if (argument == "-v" || argument == "--version") {
            return ending("quorvane-tandrel " + std::string(config::version) + '\n', 0);
        } else if (const auto kind = commandOf(argument)) {
            options.commands.push_back({*kind, {}});
        } else if (argument == "--background") {
            options.isInBackground = true;
        } else if (argument == "--doctor") {
            options.doctor = doctor::Format::text;
        } else if (argument == "--json") {
            asksForJson = true;
        } else if (argument == "--autostart" && std::next(at) == arguments.end()) {
            options.loginStart = LoginStartRequest::look;
        } else if (argument == "--autostart") {
            options.loginStart = loginStartRequest(*++at);
            if (!options.loginStart) {
                return misuse("\"--autostart\" is followed by \"on\", \"off\" or nothing");
            }
        } else {
            return misuse("unknown option \"" + printable(UrlCommand::bounded(argument)) + '"');
        }
    }
    if (const std::string problem = contradiction(options, asksForJson); !problem.empty()) {
        return misuse(problem);
    }
    if (asksForJson) {
        options.doctor = doctor::Format::json;
    }
    return parsed;
}

} // namespace tandrel
