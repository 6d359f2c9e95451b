#include "Program.h"

#include "AppOptions.h"
#include "BusLimit.h"
#include "ContentModule.h"
#include "DebugLog.h"
#include "Foundation/Console.h"
#include "Foundation/CoreDumps.h"
#include "Foundation/SharedHeap.h"
#include "Platform/Desktop/SingleInstance.h"
#include "Platform/Desktop/WindowActivation.h"
#include "Platform/Linux/XdgAutostart.h"
#include "Platform/Qt/EventLoops.h"
#include "Platform/Qt/ProcessExit.h"
#include "Platform/Qt/TerminationSignals.h"

#include <QApplication>
#include <QSessionManager>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {

namespace {

constexpr int unanswered = 1;
constexpr int notDone = 1;
constexpr std::chrono::seconds busLimit(2);

void describeApplication() {
    QCoreApplication::setApplicationName(QStringLiteral("quorvane-tandrel"));
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvane"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Quorvane Tandrel"));
    QGuiApplication::setDesktopFileName(QStringLiteral("com.quorvane.Tandrel"));
    // The program lives in the tray: no window that closes ends it, nor does the last lock on it.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::setQuitLockEnabled(false);
}

/// The desktop's own list of what to start at a login decides, not what happened to run.
void declineRestart(QGuiApplication& application) {
    const auto decline = [](QSessionManager& manager) {
        manager.setRestartHint(QSessionManager::RestartNever);
    };
    QObject::connect(&application, &QGuiApplication::commitDataRequest, &application, decline,
                     Qt::DirectConnection);
    QObject::connect(&application, &QGuiApplication::saveStateRequest, &application, decline,
                     Qt::DirectConnection);
}

/// Nothing when this process is the one that is to run; else its exit code.
std::optional<int> exitCodeFor(SingleInstance::Outcome outcome) {
    using Outcome = SingleInstance::Outcome;
    switch (outcome) {
    case Outcome::first:
        return std::nullopt;
    case Outcome::noBus:
        std::fputs("quorvane-tandrel: no session bus, so nothing keeps it from running twice\n",
                   stderr);
        return std::nullopt;
    case Outcome::handedOver:
        return 0;
    case Outcome::nothingRuns:
        std::fputs("quorvane-tandrel: not running\n", stderr);
        return 0;
    case Outcome::unanswered:
        std::fputs("quorvane-tandrel: it seems to run already, but does not answer\n", stderr);
        return unanswered;
    }
    return unanswered;
}

/// Its exit code.
int performLoginStartRequest(LoginStartRequest request) {
    XdgAutostart loginStart;
    const LoginStartAnswer answer = request == LoginStartRequest::look
                                        ? loginStart.look()
                                        : loginStart.change(request == LoginStartRequest::on);
    if (!answer.problem.empty()) {
        std::fprintf(stderr, "quorvane-tandrel: %s\n", printable(answer.problem).c_str());
        return notDone;
    }
    if (request == LoginStartRequest::look) {
        std::puts(answer.isOn ? "on" : "off");
    }
    return 0;
}

[[noreturn]] void runDoctor(int argc, char** argv, const std::string& backendURL,
                            doctor::Format format) {
    const QCoreApplication application(argc, argv);
    // Looks that have not ended are left behind.
    leaveProcess(ContentModule().runDoctor(backendURL, format).value_or(notDone));
}

int runApplication(int argc, char** argv, const TandrelStatusBarApp::Addresses& addresses,
                   SingleInstance& instance, const SingleInstance::Request& request) {
    using Start = TandrelStatusBarApp::Start;
    describeApplication();
    QApplication application(argc, argv);
    declineRestart(application);
    // Before all else: from now on a signal ends the program in order.
    const TerminationSignals signals([] { QCoreApplication::exit(0); });
    TandrelStatusBarApp app(addresses, request.isInBackground ? Start::inBackground : Start::byUser,
                            instance.bus());
    instance.setHandler([&app](const AppCommand& command, const std::string& activationToken) {
        app.perform(command, activationToken);
    });
    for (const AppCommand& command : request.commands) {
        app.perform(command, request.activationToken);
    }
    const int exitCode = QCoreApplication::exec();
    instance.setHandler({});
    app.shutDown();
    leaveProcess(exitCode);
}

} // namespace

int runProgram(int argc, char** argv, const TandrelStatusBarApp::Addresses& addresses) {
    const ParsedAppOptions parsed = parseAppOptions({argv + 1, argv + argc});
    if (!parsed.proceeds) {
        std::fputs(parsed.text.c_str(), parsed.exitCode == 0 ? stdout : stderr);
        return parsed.exitCode;
    }
    if (parsed.options.loginStart) {
        return performLoginStartRequest(*parsed.options.loginStart);
    }
    refuseCoreDumps();
    shareOneHeap();
    if (parsed.options.doctor) {
        runDoctor(argc, argv, addresses.backendBaseURL, *parsed.options.doctor);
    }
    usePlainEventLoops(PlainLoops::besideMain);
    std::optional<BusLimit> limit(busLimit);
    SingleInstance instance;
    limit.reset();
    const SingleInstance::Request request{parsed.options.commands,
                                          parsed.options.concernsRunningOnly(),
                                          parsed.options.isInBackground, activationTokenOfStart()};
    if (const auto exitCode = exitCodeFor(instance.claim(request))) {
        return *exitCode;
    }
    DebugLog::createDirectory();
    return runApplication(argc, argv, addresses, instance, request);
}

} // namespace tandrel
