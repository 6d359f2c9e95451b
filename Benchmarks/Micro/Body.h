#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tandrel::bench {

/// Something small that the program does again and again, to be measured by the clock and by the
/// count of instructions and allocations: the same code for both. All of it runs on the calling
/// thread, and a run costs the same each time but for what the program itself does now and then.
struct Body {
    using Run = std::function<void()>;

    std::string name;
    /// What the figures are for: one of `unitsPerRun` in a run.
    std::string unit;
    std::size_t unitsPerRun = 1;
    /// Makes all that the run needs, and which lives as long as the run does.
    std::function<Run()> prepare;
    /// Runs that are counted, after half as many that are not. What happens at every hundredth or
    /// two hundredth buffer happens as often in this many, wherever they begin; fewer do for long
    /// runs without such things.
    int countedRuns = 200;
};

// What there is to measure, by subject.
[[nodiscard]] std::vector<Body> soundBodies();
[[nodiscard]] std::vector<Body> streamBodies();
[[nodiscard]] std::vector<Body> textBodies();
[[nodiscard]] std::vector<Body> pollBodies();
[[nodiscard]] std::vector<Body> meterBodies();
[[nodiscard]] std::vector<Body> deviceBodies();
[[nodiscard]] std::vector<Body> commandBodies();

[[nodiscard]] std::vector<Body> allBodies();

} // namespace tandrel::bench
