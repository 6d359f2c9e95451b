#pragma once

#include "Candidate.h"
#include "Figures.h"
#include "ScreenWatch.h"
#include "Support/Desktop/PrivateDesktop.h"
#include "Support/Desktop/StatusNotifierTray.h"
#include "Support/DevBackend.h"
#include "Support/PrivateSoundServer.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <memory>
#include <string>
#include <vector>

namespace tandrel::bench {

/// What a stream costs with the interface around it: a microphone that speaks and a backend that
/// listens, both real and on this machine.
class StreamScenarios {
public:
    /// All must outlive this object.
    StreamScenarios(const test::PrivateDesktop& desktop, const test::StatusNotifierTray& tray,
                    const Candidate& bare);
    ~StreamScenarios();

    /// Processor time while streaming: the program without a window (Tools/Headless), ours with the
    /// popover closed and open, and a bare popover in which only a meter repaints.
    void measureProcessorTime(int rounds, int seconds);
    /// Proportional set size before and after `streams` streams.
    void measureGrowth(int streams);

private:
    class App;

    [[nodiscard]] double measureHeadless(int seconds);
    [[nodiscard]] double measureBareMeter(int seconds);
    void startStream(App& app);
    void stopStream(App& app);
    void awaitAudio();
    [[nodiscard]] static double microsecondsPerSecond(pid_t pid, int seconds);

    const test::PrivateDesktop& desktop_;
    const test::StatusNotifierTray& tray_;
    const Candidate& bare_;
    ScreenWatch screenWatch_;
    test::DevBackend backend_;
    test::PrivateSoundServer sound_;
    test::VirtualMicrophone microphone_;
    std::unique_ptr<test::VirtualMicrophoneFeeder> feeder_;
    std::string session_;
};

} // namespace tandrel::bench
