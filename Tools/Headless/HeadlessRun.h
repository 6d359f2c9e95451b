#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Published.h"
#include "Options.h"
#include "RecordingStreamSocket.h"
#include "Services/SessionState.h"

#include <functional>
#include <string>
#include <vector>

namespace tandrel {
class AppState;
class Clock;
class MenuBarContentController;
class StreamingController;
} // namespace tandrel

namespace tandrel::headless {

/// One run of the tool, from signing in to the end of one stream; says what happens on standard
/// output. Main thread.
class HeadlessRun {
public:
    /// What the run works with; all must outlive it.
    struct Environment {
        MenuBarContentController& content;
        AppState& appState;
        Clock& clock;
        const SendRecord& sendRecord;
    };
    using Finished = std::function<void(ExitCode)>;

    /// `finished` is called once.
    HeadlessRun(Options options, const Environment& environment, Finished finished);
    ~HeadlessRun();
    HeadlessRun(const HeadlessRun&) = delete;
    HeadlessRun& operator=(const HeadlessRun&) = delete;

    void start();
    /// A line of standard input: the password while one is awaited, a command otherwise.
    void handleLine(std::string line);
    /// Ends the run, and a stream with it.
    void interrupt();

private:
    void observe();
    void authenticationAssigned(bool isAuthenticated);
    void login(std::string password);
    void panelChanged(StreamingController* panel);
    /// False when the run has ended for want of a device.
    [[nodiscard]] bool selectDevice();
    void captureChanged(bool isCapturing);
    void sessionStateChanged(const SessionState& state);
    void stopStream();
    void streamEnded();
    void printSummary() const;
    void finish(ExitCode code);

    Options options_;
    Environment environment_;
    Finished finished_;
    std::vector<Subscription> subscriptions_;
    Handle login_;
    Handle waitLimit_;
    Handle durationLimit_;
    Handle panelSetUp_;
    Handle signedOut_;
    Subscription notice_;
    bool isAwaitingPassword_ = false;
    bool wasAuthenticated_ = false;
    bool isStreaming_ = false;
    bool hasCaptured_ = false;
    bool isStopRequested_ = false;
    bool isFinished_ = false;
};

} // namespace tandrel::headless
