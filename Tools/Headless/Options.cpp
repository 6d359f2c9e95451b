#include "Options.h"

#include "BuildConfig.h"
#include "Foundation/UrlSyntax.h"

#include <QCommandLineParser>

#include <cmath>
#include <string_view>

namespace tandrel::headless {

namespace {

constexpr auto help = R"(Usage: quorvane-tandrel-headless [options]

Signs in, waits for a live session, streams the microphone to it, and says what happens. The same
services as the desktop program, without a window.

  --email ADDRESS       sign in; the password is the first line of standard input.
                        Without it, the session kept by an earlier run is restored.
  --device NAME         the input device, by name or unique identifier (default: the first listed)
  --duration SECONDS    stop after so much streaming (default: until told to)
  --wait SECONDS        give up when no session is pending by then (default: never)
  --record FILE         write one line per message handed to the socket: index, connection,
                        bytes, CLOCK_MONOTONIC in nanoseconds, FNV-1a hash of the payload
  --list-devices        list the input devices (unique identifier, tab, name) and leave
  --sign-out            forget the session that was kept and leave
  --ephemeral           keep no secret and no setting beyond this run
  --backend URL         the backend's origin: https, or http on this machine
  -h, --help            this text
  -v, --version         the version

While it runs, lines on standard input are commands: "stop" ends the stream, "quit" the program.
SIGINT and SIGTERM do the same as "quit".

Exit codes: 0 streamed and stopped as asked; 1 usage; 2 sign-in failed; 3 no such device;
4 no session in time; 5 the stream failed; 6 interrupted before anything was streamed.
)";

bool isAcceptableBackend(std::string_view url) {
    if (!isValidUrl(url) || url.ends_with('/')) {
        return false;
    }
    if (url.starts_with("https://")) {
        return true;
    }
    for (const std::string_view local : {"http://127.0.0.1", "http://localhost", "http://[::1]"}) {
        if (url.starts_with(local) && (url.size() == local.size() || url[local.size()] == ':')) {
            return true;
        }
    }
    return false;
}

ParsedOptions failure(const std::string& text) {
    return {std::nullopt, text + "\nTry --help.\n", true};
}

} // namespace

ParsedOptions parseOptions(const std::vector<std::string>& arguments) {
    QStringList list;
    for (const std::string& argument : arguments) {
        list << QString::fromStdString(argument);
    }
    const auto flag = [](const char* name) { return QCommandLineOption(QLatin1String(name)); };
    const auto valued = [](const char* name) {
        QCommandLineOption option{QString(QLatin1String(name))};
        option.setValueName(QStringLiteral("value"));
        return option;
    };
    const QCommandLineOption helpFlag(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    const QCommandLineOption versionFlag(
        QStringList{QStringLiteral("v"), QStringLiteral("version")});
    const auto backend = valued("backend");
    const auto email = valued("email");
    const auto device = valued("device");
    const auto duration = valued("duration");
    const auto wait = valued("wait");
    const auto record = valued("record");
    const auto listDevices = flag("list-devices");
    const auto signOut = flag("sign-out");
    const auto ephemeral = flag("ephemeral");

    QCommandLineParser parser;
    parser.addOptions({helpFlag, versionFlag, backend, email, device, duration, wait, record,
                       listDevices, signOut, ephemeral});
    if (!parser.parse(list)) {
        return failure(parser.errorText().toStdString());
    }
    if (parser.isSet(helpFlag)) {
        return {std::nullopt, help, false};
    }
    if (parser.isSet(versionFlag)) {
        return {std::nullopt, "quorvane-tandrel-headless " + std::string(config::version) + "\n",
                false};
    }
    if (!parser.positionalArguments().isEmpty()) {
        return failure("Unexpected argument: " +
                       parser.positionalArguments().constFirst().toStdString());
    }

    Options options;
    options.backendBaseURL = parser.isSet(backend) ? parser.value(backend).toStdString()
                                                   : std::string(config::backendBaseURL);
    if (!isAcceptableBackend(options.backendBaseURL)) {
        return failure("--backend takes an https origin, or http on this machine");
    }
    const auto text = [&parser](const QCommandLineOption& option) -> std::optional<std::string> {
        if (!parser.isSet(option)) {
            return std::nullopt;
        }
        return parser.value(option).toStdString();
    };
    options.email = text(email);
    options.device = text(device);
    options.recordPath = text(record);
    options.listDevices = parser.isSet(listDevices);
    options.signOut = parser.isSet(signOut);
    options.ephemeral = parser.isSet(ephemeral);

    for (const auto& [option, target] :
         {std::pair{&duration, &options.duration}, std::pair{&wait, &options.wait}}) {
        if (!parser.isSet(*option)) {
            continue;
        }
        bool isNumber = false;
        const double seconds = parser.value(*option).toDouble(&isNumber);
        static constexpr double longest = 7 * 24 * 3600;
        if (!isNumber || !(seconds > 0) || seconds > longest) {
            return failure("--" + option->names().constFirst().toStdString() +
                           " takes a number of seconds above 0, at most a week");
        }
        *target = std::chrono::milliseconds(std::llround(seconds * 1000));
    }
    return {options, {}, false};
}

} // namespace tandrel::headless
