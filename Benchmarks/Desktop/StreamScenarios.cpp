#include "StreamScenarios.h"

#include "BuildPaths.h"
#include "Candidate.h"
#include "PrivateMemory.h"
#include "Support/Desktop/StatusNotifierItem.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

namespace tandrel::bench {

namespace {

using namespace std::chrono_literals;
using test::waitUntil;

constexpr auto limit = 20s;
constexpr auto betweenClicks = 350ms;

/// Something to hear for as long as the longest measurement: a tone that swells and fades, so that
/// the meter moves.
std::vector<float> swellingTone() {
    constexpr std::size_t rate = 48000;
    constexpr std::size_t seconds = 900;
    std::vector<float> samples(rate * seconds);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const float time = static_cast<float>(index % (rate * 10)) / static_cast<float>(rate);
        samples[index] = 0.3F * std::sin(2765.0F * time) * (0.6F + (0.4F * std::sin(9.0F * time)));
    }
    return samples;
}

void expect(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

} // namespace

/// Our program on the desktop, signed in by keyboard.
class StreamScenarios::App {
public:
    App(StreamScenarios& scenarios)
        : scenarios_(scenarios)
        , candidate_{"app",
                     {TANDREL_BUILD_BIN "/quorvane-tandrel-under-test"},
                     {{"TANDREL_TEST_ADDRESS", scenarios.backend_.url()}}} {
        process_ = start({});
        item_ = std::make_unique<test::StatusNotifierItem>(scenarios_.tray_.awaitItem());
        toggle();
        expect(scenarios_.desktop_.display().awaitWindow("Quorvane Tandrel"), "no popover");
        const test::InputDevices& input = scenarios_.desktop_.input();
        input.type(test::DevBackend::email);
        input.press({"Tab"});
        input.type(test::DevBackend::password);
        input.press({"Return"});
        expect(waitUntil([this] { return scenarios_.backend_.requestCount("pending") > 0; }, limit),
               "nobody is signed in");
    }
    ~App() {
        process_->signal(SIGTERM);
        if (!process_->waitForExit(5s)) {
            process_->kill();
        }
        waitUntil([this] { return scenarios_.tray_.items().empty(); });
    }
    App(const App&) = delete;
    App& operator=(const App&) = delete;

    [[nodiscard]] pid_t pid() const { return process_->pid(); }

    void toggle() {
        (void)item_->activate();
        std::this_thread::sleep_for(betweenClicks);
    }
    /// Hands a command over, as a second start does.
    void command(const std::string& option) {
        const auto second = start({option});
        expect(second->waitForExit(5s) == 0, "a command was not taken");
    }

private:
    std::unique_ptr<test::ChildProcess> start(const std::vector<std::string>& arguments) {
        Candidate started = candidate_;
        started.command.insert(started.command.end(), arguments.begin(), arguments.end());
        test::EnvironmentChanges environment = scenarios_.desktop_.clientEnvironment();
        environment.insert_or_assign("PULSE_SERVER", scenarios_.sound_.address());
        environment.merge(started.environment);
        return std::make_unique<test::ChildProcess>(started.command, environment,
                                                    scenarios_.desktop_.folder() / "app.log");
    }

    StreamScenarios& scenarios_;
    Candidate candidate_;
    std::unique_ptr<test::ChildProcess> process_;
    std::unique_ptr<test::StatusNotifierItem> item_;
};

StreamScenarios::StreamScenarios(const test::PrivateDesktop& desktop,
                                 const test::StatusNotifierTray& tray)
    : desktop_(desktop)
    , tray_(tray)
    , backend_({"--quiet"})
    , sound_(test::PrivateSoundServer::Kind::pulseAudio)
    , microphone_(sound_.addMicrophone("studio", "Studio Microphone", 48000, 1))
    , feeder_(
          std::make_unique<test::VirtualMicrophoneFeeder>(sound_, microphone_, swellingTone())) {}

StreamScenarios::~StreamScenarios() = default;

void StreamScenarios::stream(App& app, int times) {
    for (int time = 0; time < times; ++time) {
        const std::string session = backend_.startSession();
        app.command("--start");
        expect(waitUntil([&] { return backend_.messageCount(session) > 3; }, limit),
               "no audio arrives");
        app.command("--stop");
        expect(waitUntil([&] { return backend_.lastEnd(session) == "client 1000"; }, limit),
               "the stream does not end");
        backend_.send("POST", "/dev/sessions/" + session + "/end", "{}");
    }
}

void StreamScenarios::measureGrowth(int streams) {
    App app(*this);
    // Caches fill in the first ones.
    stream(app, 5);
    const auto before = privateMemory(app.pid());
    stream(app, streams);
    const auto after = privateMemory(app.pid());
    std::printf("Growth of private memory over %d streams: %lld kB (from %lld to %lld)\n", streams,
                static_cast<long long>(after - before), static_cast<long long>(before),
                static_cast<long long>(after));
    std::fflush(stdout);
}

} // namespace tandrel::bench
