#include "AppDelegate.h"
#include "AppState.h"
#include "Micro/Body.h"
#include "UrlCommand.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace tandrel::bench {

namespace {

constexpr const char* startURL =
    "quorvane-tandrel://start?session=5f0c5b6e-8a43-4d0e-9a39-3c2a4a7d9f10";
constexpr const char* stopURL = "quorvane-tandrel://stop";

/// Holds the action of the next turn and the one of later, and keeps nothing of what is over.
class TwoActionClock : public Clock {
public:
    Handle after(Duration delay, std::function<void()> action) override {
        (delay == Duration::zero() ? nextTurn_ : later_) = std::move(action);
        return std::make_unique<Operation>();
    }
    Handle every(Duration delay, std::function<void()> action) override {
        return after(delay, std::move(action));
    }

    void runUntilNothingWaits() {
        while (runOne(nextTurn_) || runOne(later_)) {
        }
    }

private:
    static bool runOne(std::function<void()>& waiting) {
        const auto action = std::exchange(waiting, nullptr);
        if (action) {
            action();
        }
        return action != nullptr;
    }

    std::function<void()> nextTurn_;
    std::function<void()> later_;
};

struct CommandedProgram {
    AppState state;
    TwoActionClock clock;
    AppDelegate delegate{state, clock, {[] {}, [] { return true; }, [] {}}};
    std::vector<std::string> urls;

    /// Starts and stops in turn.
    explicit CommandedProgram(std::size_t count) {
        for (std::size_t index = 0; index < count; ++index) {
            urls.emplace_back(index % 2 == 0 ? startURL : stopURL);
        }
    }

    void receive() {
        delegate.open(urls);
        clock.runUntilNothingWaits();
    }
};

Body parsing() {
    return {"command/parse", "command", 1, [] {
                return [] {
                    const std::string url = UrlCommand::bounded(startURL);
                    benchmark::DoNotOptimize(UrlCommand::parse(url));
                };
            }};
}

/// From the texts to the flags that they set, lines of the log included.
Body burst(std::size_t count, int countedRuns) {
    Body body{"command/" + std::to_string(count), "command", count, [count] {
                  return
                      [program = std::make_shared<CommandedProgram>(count)] { program->receive(); };
              }};
    body.countedRuns = countedRuns;
    return body;
}

} // namespace

std::vector<Body> commandBodies() {
    return {parsing(), burst(1, 200), burst(100, 20), burst(10'000, 2)};
}

} // namespace tandrel::bench
