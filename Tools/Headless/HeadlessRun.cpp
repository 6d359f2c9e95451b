#include "HeadlessRun.h"

#include "AppState.h"
#include "ConsoleInput.h"
#include "Foundation/Console.h"
#include "Platform/Clock.h"
#include "Services/AudioCaptureService.h"
#include "Services/AuthService.h"
#include "Services/SessionService.h"
#include "Services/WebSocketService.h"
#include "Views/MenuBarContentController.h"
#include "Views/StreamingController.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <utility>

namespace tandrel::headless {

HeadlessRun::HeadlessRun(Options options, const Environment& environment, Finished finished)
    : options_(std::move(options))
    , environment_(environment)
    , finished_(std::move(finished)) {}

HeadlessRun::~HeadlessRun() = default;

void HeadlessRun::start() {
    observe();
    if (options_.wait) {
        waitLimit_ = environment_.clock.after(*options_.wait, [this] {
            printLine("No session was pending in time");
            finish(ExitCode::noSession);
        });
    }
    if (options_.email) {
        isAwaitingPassword_ = true;
        ConsoleInput::setEcho(false);
        printLine("Password of " + *options_.email + " on standard input");
    } else {
        environment_.content.appear();
    }
}

void HeadlessRun::observe() {
    MenuBarContentController& content = environment_.content;
    subscriptions_.push_back(content.authService().isAuthenticated.observe(
        [this](bool isAuthenticated) { authenticationAssigned(isAuthenticated); }));
    subscriptions_.push_back(
        content.panel.observe([this](StreamingController* panel) { panelChanged(panel); }));
    subscriptions_.push_back(content.sessionService().state.onChange(
        [this](const SessionState& state) { sessionStateChanged(state); }));
    subscriptions_.push_back(
        content.sessionService().error.onChange([](const std::optional<std::string>& error) {
            if (error) {
                printLine("Error: " + *error);
            }
        }));
    subscriptions_.push_back(content.wsService().state.onChange(
        [](const ConnectionState& state) { printLine("Socket: " + state.rendering()); }));
    subscriptions_.push_back(content.audioService().isCapturing.onChange(
        [this](bool isCapturing) { captureChanged(isCapturing); }));
    subscriptions_.push_back(
        content.audioService().captureFault.observe([](const std::optional<CaptureFault>& fault) {
            if (fault) {
                printLine("Microphone: " + fault->description);
            }
        }));
}

void HeadlessRun::handleLine(std::string line) {
    if (isAwaitingPassword_) {
        isAwaitingPassword_ = false;
        ConsoleInput::setEcho(true);
        login(std::move(line));
    } else if (line == "stop") {
        stopStream();
    } else if (line == "quit") {
        interrupt();
    } else if (!line.empty()) {
        printLine("Unknown command; there are \"stop\" and \"quit\"");
    }
}

void HeadlessRun::login(std::string password) {
    AuthService& auth = environment_.content.authService();
    login_ = auth.login(*options_.email, std::move(password), [this, &auth] {
        if (!auth.isAuthenticated.value()) {
            printLine("Sign-in failed: " + auth.error.value().value_or("no reason given"));
            finish(ExitCode::signInFailed);
        }
    });
}

void HeadlessRun::authenticationAssigned(bool isAuthenticated) {
    if (isAuthenticated) {
        wasAuthenticated_ = true;
        return;
    }
    // In the next turn: the reason is published after the fact.
    signedOut_ = environment_.clock.after(Clock::Duration::zero(), [this] {
        const auto& error = environment_.content.authService().error.value();
        if (wasAuthenticated_) {
            printLine("Signed out: " + error.value_or("the session has ended"));
            finish(ExitCode::signInFailed);
        } else if (!options_.email) {
            printLine("Nobody is signed in; sign in with --email");
            finish(ExitCode::signInFailed);
        }
    });
}

void HeadlessRun::panelChanged(StreamingController* panel) {
    if (panel == nullptr) {
        panelSetUp_.reset();
        notice_.reset();
        return;
    }
    notice_ = panel->notice.observe([](const std::optional<std::string>& notice) {
        if (notice) {
            printLine("Notice: " + *notice);
        }
    });
    if (const auto& user = environment_.content.authService().user.value()) {
        printLine("Signed in as " + user->email);
    }
    // In the next turn, as a view that appears does: the sign-in is complete by then.
    panelSetUp_ = environment_.clock.after(Clock::Duration::zero(), [this, panel] {
        panel->appear();
        if (selectDevice()) {
            environment_.appState.autoStartRequested.set(true);
        }
    });
}

bool HeadlessRun::selectDevice() {
    AudioCaptureService& audio = environment_.content.audioService();
    const auto& devices = audio.availableDevices.value();
    if (options_.device) {
        const auto wanted = [this](const AudioDevice& device) {
            return device.name == *options_.device || device.uid == *options_.device;
        };
        const auto found = std::find_if(devices.begin(), devices.end(), wanted);
        if (found == devices.end()) {
            printLine("No input device is called \"" + *options_.device + "\"");
            finish(ExitCode::noDevice);
            return false;
        }
        audio.selectedDevice.set(*found);
    }
    if (!audio.selectedDevice.value()) {
        printLine("No input devices found");
        finish(ExitCode::noDevice);
        return false;
    }
    printLine("Device: " + audio.selectedDevice.value()->name);
    return true;
}

void HeadlessRun::sessionStateChanged(const SessionState& state) {
    printLine("Session: " + state.rendering());
    if (state == SessionState::streaming()) {
        isStreaming_ = true;
        waitLimit_.reset();
    } else if (isStreaming_) {
        isStreaming_ = false;
        streamEnded();
    }
}

void HeadlessRun::captureChanged(bool isCapturing) {
    printLine(isCapturing ? "Microphone: capturing" : "Microphone: off");
    if (!isCapturing) {
        return;
    }
    // A microphone that was lost and has come back goes on with the same stream.
    const bool isFirst = !std::exchange(hasCaptured_, true);
    if (options_.duration && isFirst) {
        durationLimit_ = environment_.clock.after(*options_.duration, [this] { stopStream(); });
    }
}

void HeadlessRun::stopStream() {
    if (!isStreaming_) {
        printLine("Nothing is being streamed");
        return;
    }
    isStopRequested_ = true;
    environment_.appState.stopRequested.set(true);
}

void HeadlessRun::interrupt() {
    if (isStreaming_ && !isStopRequested_) {
        stopStream();
    } else {
        finish(hasCaptured_ ? ExitCode::success : ExitCode::interrupted);
    }
}

void HeadlessRun::streamEnded() {
    printSummary();
    if (!isStopRequested_) {
        finish(ExitCode::streamFailed);
    } else {
        finish(hasCaptured_ ? ExitCode::success : ExitCode::interrupted);
    }
}

void HeadlessRun::printSummary() const {
    static constexpr double bytesPerSecond = 32'000;
    const SendRecord& record = environment_.sendRecord;
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "Sent %.2f s of audio in %zu messages",
                  static_cast<double>(record.byteCount()) / bytesPerSecond, record.messageCount());
    printLine(text.data());
}

void HeadlessRun::finish(ExitCode code) {
    if (std::exchange(isFinished_, true)) {
        return;
    }
    ConsoleInput::setEcho(true);
    subscriptions_.clear();
    notice_.reset();
    waitLimit_.reset();
    durationLimit_.reset();
    finished_(code);
}

} // namespace tandrel::headless
