#include "TrayScenarios.h"

#include "PrivateMemory.h"
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

void print(const std::string& candidate, const char* what, double milliseconds) {
    std::printf("%s\t%s\t%.3f\n", candidate.c_str(), what, milliseconds);
    std::fflush(stdout);
}

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
    for (int round = 0; round < rounds; ++round) {
        // Each goes first in every other round, so that a drift of the machine favours neither.
        const bool oursFirst = round % 2 == 0;
        for (const Candidate* candidate :
             {oursFirst ? &ours_ : &bare_, oursFirst ? &bare_ : &ours_}) {
            print(candidate->name, "start", Run(*this, *candidate).startMs());
        }
    }
}

void TrayScenarios::measureOpening(int openings) {
    for (const Candidate* candidate : {&ours_, &bare_}) {
        Run run(*this, *candidate);
        std::this_thread::sleep_for(settling);
        print(candidate->name, "first click", run.open());
        run.close();
        for (int opening = 0; opening < openings; ++opening) {
            print(candidate->name, "later click", run.open());
            run.close();
        }
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
