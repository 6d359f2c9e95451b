#include "TrayScenarios.h"

#include "Figures.h"
#include "ProcessMeter.h"
#include "Support/Desktop/StatusNotifierItem.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <thread>

namespace tandrel::bench {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto limit = 10s;
/// Longer than a tray program ignores a second click after a first.
constexpr auto betweenClicks = 350ms;
/// What a start leaves to be done later is done by then.
constexpr auto settling = 3s;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

} // namespace

/// One started program with its icon in the panel.
class TrayScenarios::Run {
public:
    Run(TrayScenarios& scenarios, const Candidate& candidate)
        : scenarios_(scenarios) {
        scenarios_.trayWatch_.forget();
        const auto started = Clock::now();
        process_ = candidate.start(scenarios_.desktop_);
        if (!scenarios_.trayWatch_.awaitIcon(limit)) {
            throw std::runtime_error("no icon of " + candidate.name);
        }
        startMs_ = millisecondsSince(started);
        item_ = std::make_unique<test::StatusNotifierItem>(scenarios_.tray_.awaitItem());
    }
    ~Run() {
        process_->signal(SIGTERM);
        if (!process_->waitForExit(5s)) {
            process_->kill();
        }
        // The next one must not be taken for this one.
        while (!scenarios_.tray_.items().empty()) {
            std::this_thread::sleep_for(5ms);
        }
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    [[nodiscard]] pid_t pid() const { return process_->pid(); }
    [[nodiscard]] double startMs() const { return startMs_; }

    /// Clicks, and waits for the painted popover; the time it took.
    double open() {
        scenarios_.screenWatch_.forget();
        const auto clicked = Clock::now();
        (void)item_->activate();
        if (!scenarios_.screenWatch_.awaitPaintedWindow(limit)) {
            throw std::runtime_error("no popover");
        }
        const double time = millisecondsSince(clicked);
        std::this_thread::sleep_for(betweenClicks);
        return time;
    }
    void close() {
        (void)item_->activate();
        if (!scenarios_.screenWatch_.awaitGone(limit)) {
            throw std::runtime_error("the popover did not go");
        }
        std::this_thread::sleep_for(betweenClicks);
    }

private:
    TrayScenarios& scenarios_;
    std::unique_ptr<test::ChildProcess> process_;
    std::unique_ptr<test::StatusNotifierItem> item_;
    double startMs_ = 0;
};

TrayScenarios::TrayScenarios(const test::PrivateDesktop& desktop,
                             const test::StatusNotifierTray& tray, const Candidate& ours,
                             const Candidate& bare)
    : desktop_(desktop)
    , tray_(tray)
    , ours_(ours)
    , bare_(bare)
    , trayWatch_(desktop.bus().address())
    , screenWatch_(desktop.display().name()) {}

void TrayScenarios::measureStart(int rounds) {
    Figures ours;
    Figures bare;
    for (int round = 0; round < rounds; ++round) {
        ours.add(Run(*this, ours_).startMs());
        bare.add(Run(*this, bare_).startMs());
    }
    printComparison("Start to icon", ours, bare, "ms", 1.2);
}

void TrayScenarios::measureOpening(int openings) {
    Figures first;
    Figures later;
    Figures bare;
    {
        Run run(*this, ours_);
        std::this_thread::sleep_for(settling);
        first.add(run.open());
        run.close();
        for (int opening = 0; opening < openings; ++opening) {
            later.add(run.open());
            run.close();
        }
    }
    Run run(*this, bare_);
    for (int opening = 0; opening < openings; ++opening) {
        bare.add(run.open());
        run.close();
    }
    std::printf(
        "Click to painted popover\n  ours, first  %s\n  ours, later  %s\n  bare         %s\n"
        "  ours, 95th percentile %.1f ms (goal: at most 100): %s\n",
        first.summary("ms").c_str(), later.summary("ms").c_str(), bare.summary("ms").c_str(),
        later.quantile(0.95),
        later.quantile(0.95) <= 100 && first.median() <= 100 ? "met" : "missed");
    std::fflush(stdout);
}

void TrayScenarios::measureMemory(int rounds) {
    Figures ours;
    Figures bare;
    for (int round = 0; round < rounds; ++round) {
        for (const bool isOurs : {true, false}) {
            Run run(*this, isOurs ? ours_ : bare_);
            run.open();
            run.close();
            std::this_thread::sleep_for(settling);
            (isOurs ? ours : bare)
                .add(static_cast<double>(proportionalSetSize(run.pid())) / 1024.0);
        }
    }
    printComparison("Memory (PSS), popover opened once", ours, bare, "MB", 1.5);
}

void TrayScenarios::measureIdle(int seconds) {
    for (const bool isOurs : {true, false}) {
        Run run(*this, isOurs ? ours_ : bare_);
        run.open();
        run.close();
        std::this_thread::sleep_for(settling);
        const ProcessMeter before(run.pid());
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        const ProcessUse use = ProcessMeter(run.pid()).since(before);
        const double wakeUps = static_cast<double>(use.wakeUps) / seconds;
        std::printf("Idle for %d s, %s: %.3f wake-ups/s, %.3f ms of CPU/s%s\n", seconds,
                    isOurs ? "ours" : "bare", wakeUps,
                    std::chrono::duration<double, std::milli>(use.cpu).count() / seconds,
                    isOurs
                        ? (wakeUps < 0.5 ? " (goal: under 0.5: met)" : " (goal: under 0.5: missed)")
                        : "");
        std::fflush(stdout);
    }
}

void TrayScenarios::measureGrowth(int openings) {
    Run run(*this, ours_);
    const auto openAndClose = [&run](int times) {
        for (int time = 0; time < times; ++time) {
            run.open();
            run.close();
        }
    };
    // Caches fill in the first ones.
    openAndClose(openings / 10);
    const auto before = privateMemory(run.pid());
    openAndClose(openings);
    const auto after = privateMemory(run.pid());
    std::printf("Growth of private memory over %d openings: %lld kB (from %lld to %lld)\n",
                openings, static_cast<long long>(after - before), static_cast<long long>(before),
                static_cast<long long>(after));
    std::fflush(stdout);
}

} // namespace tandrel::bench
