#pragma once

#include "Support/Desktop/PrivateDesktop.h"
#include "Support/Desktop/StatusNotifierTray.h"
#include "Support/DevBackend.h"
#include "Support/PrivateSoundServer.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <memory>
#include <string>
#include <vector>

namespace tandrel::bench {

/// What streams leave behind in the program: with a microphone that speaks and a backend that
/// listens, both real and on this machine.
class StreamScenarios {
public:
    /// All must outlive this object.
    StreamScenarios(const test::PrivateDesktop& desktop, const test::StatusNotifierTray& tray);
    ~StreamScenarios();

    /// Private memory before and after `streams` streams.
    void measureGrowth(int streams);

private:
    class App;

    void stream(App& app, int times);

    const test::PrivateDesktop& desktop_;
    const test::StatusNotifierTray& tray_;
    test::DevBackend backend_;
    test::PrivateSoundServer sound_;
    test::VirtualMicrophone microphone_;
    std::unique_ptr<test::VirtualMicrophoneFeeder> feeder_;
};

} // namespace tandrel::bench
