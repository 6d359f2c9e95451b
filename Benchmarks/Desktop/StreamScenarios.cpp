#include "StreamScenarios.h"

#include "BuildPaths.h"
#include "ProcessMeter.h"
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
/// Past the first, more talkative, messages of a stream.
constexpr int settledMessages = 120;

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
        std::this_thread::sleep_for(500ms);
        const test::InputDevices& input = scenarios_.desktop_.input();
        input.type(test::DevBackend::email);
        input.press({"Tab"});
        input.type(test::DevBackend::password);
        input.press({"Return"});
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
        scenarios_.screenWatch_.forget();
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
                                 const test::StatusNotifierTray& tray, const Candidate& bare)
    : desktop_(desktop)
    , tray_(tray)
    , bare_(bare)
    , screenWatch_(desktop.display().name())
    , backend_({"--quiet"})
    , sound_(test::PrivateSoundServer::Kind::pulseAudio)
    , microphone_(sound_.addMicrophone("studio", "Studio Microphone", 48000, 1))
    , feeder_(
          std::make_unique<test::VirtualMicrophoneFeeder>(sound_, microphone_, swellingTone())) {}

StreamScenarios::~StreamScenarios() = default;

double StreamScenarios::microsecondsPerSecond(pid_t pid, int seconds) {
    const auto began = std::chrono::steady_clock::now();
    const ProcessMeter before(pid);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const ProcessUse use = ProcessMeter(pid).since(before);
    const std::chrono::duration<double> span = std::chrono::steady_clock::now() - began;
    return std::chrono::duration<double, std::micro>(use.cpu).count() / span.count();
}

void StreamScenarios::awaitAudio() {
    const auto before = backend_.messageCount(session_);
    expect(waitUntil([&] { return backend_.messageCount(session_) > before + settledMessages; },
                     limit),
           "no audio arrives");
}

void StreamScenarios::startStream(App& app) {
    session_ = backend_.startSession();
    app.command("--start");
    awaitAudio();
}

void StreamScenarios::stopStream(App& app) {
    app.command("--stop");
    expect(waitUntil([&] { return backend_.lastEnd(session_) == "client 1000"; }, limit),
           "the stream does not end");
    backend_.send("POST", "/dev/sessions/" + session_ + "/end", "{}");
}

double StreamScenarios::measureHeadless(int seconds) {
    session_ = backend_.startSession();
    test::EnvironmentChanges environment = desktop_.clientEnvironment();
    environment.insert_or_assign("PULSE_SERVER", sound_.address());
    test::ChildProcess headless(
        {TANDREL_BUILD_BIN "/quorvane-tandrel-headless", "--backend", backend_.url(), "--email",
         test::DevBackend::email, "--ephemeral", "--wait", "30"},
        environment, desktop_.folder() / "headless.log", test::ChildProcess::Input::pipe);
    headless.write(std::string(test::DevBackend::password) + '\n');
    awaitAudio();
    const double time = microsecondsPerSecond(headless.pid(), seconds);
    headless.signal(SIGINT);
    expect(headless.waitForExit(5s).has_value(), "the headless program does not end");
    backend_.send("POST", "/dev/sessions/" + session_ + "/end", "{}");
    return time;
}

double StreamScenarios::measureBareMeter(int seconds) {
    Candidate meter = bare_;
    meter.command.emplace_back("--meter");
    const auto process = meter.start(desktop_);
    const test::StatusNotifierItem item = tray_.awaitItem();
    screenWatch_.forget();
    (void)item.activate();
    expect(screenWatch_.awaitPaintedWindow(limit), "no bare popover");
    std::this_thread::sleep_for(1s);
    const double time = microsecondsPerSecond(process->pid(), seconds);
    process->signal(SIGTERM);
    expect(process->waitForExit(5s).has_value(), "the bare program does not end");
    waitUntil([this] { return tray_.items().empty(); });
    return time;
}

void StreamScenarios::measureProcessorTime(int rounds, int seconds) {
    Figures headless;
    Figures closed;
    Figures open;
    Figures meter;
    for (int round = 0; round < rounds; ++round) {
        headless.add(measureHeadless(seconds));
        meter.add(measureBareMeter(seconds));
        App app(*this);
        startStream(app);
        // The start command has left the popover open.
        open.add(microsecondsPerSecond(app.pid(), seconds));
        app.toggle();
        closed.add(microsecondsPerSecond(app.pid(), seconds));
        stopStream(app);
    }
    const double bar = 1.2 * (headless.median() + meter.median());
    std::printf("Processor time while streaming\n  without a window     %s\n"
                "  popover closed       %s\n  popover open         %s\n"
                "  bare meter           %s\n",
                headless.summary("us/s").c_str(), closed.summary("us/s").c_str(),
                open.summary("us/s").c_str(), meter.summary("us/s").c_str());
    std::printf("  closed to without a window %.2f (goal: at most 1.20): %s\n"
                "  open to 1.2 x (without a window + bare meter) %.2f (goal: at most 1.00): %s\n",
                closed.median() / headless.median(),
                closed.median() <= 1.2 * headless.median() ? "met" : "missed", open.median() / bar,
                open.median() <= bar ? "met" : "missed");
    std::fflush(stdout);
}

void StreamScenarios::measureGrowth(int streams) {
    App app(*this);
    const auto stream = [&](int times) {
        for (int time = 0; time < times; ++time) {
            session_ = backend_.startSession();
            app.command("--start");
            expect(waitUntil([&] { return backend_.messageCount(session_) > 3; }, limit),
                   "no audio arrives");
            stopStream(app);
        }
    };
    stream(5);
    const auto before = privateMemory(app.pid());
    stream(streams);
    const auto after = privateMemory(app.pid());
    std::printf("Growth of private memory over %d streams: %lld kB (from %lld to %lld)\n", streams,
                static_cast<long long>(after - before), static_cast<long long>(before),
                static_cast<long long>(after));
    std::fflush(stdout);
}

} // namespace tandrel::bench
