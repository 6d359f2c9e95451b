#include "Micro/Count.h"

#include "Support/AllocationCounter.h"

#include <cstddef>
#include <cstdio>
#include <valgrind/callgrind.h>

namespace tandrel::bench {

namespace {

/// Past what only the first ones do: lines of the log for the first five, buffers that grow.
constexpr int warmUpRuns = 100;
/// What happens at every hundredth or two hundredth buffer happens as often in these, wherever they
/// begin.
constexpr int countedRuns = 200;

void countBody(const Body& body) {
    const Body::Run run = body.prepare();
    for (int count = 0; count < warmUpRuns; ++count) {
        run();
    }
    CALLGRIND_ZERO_STATS;
    const test::AllocationCounter allocations;
    CALLGRIND_TOGGLE_COLLECT;
    for (int count = 0; count < countedRuns; ++count) {
        run();
    }
    CALLGRIND_TOGGLE_COLLECT;
    const std::size_t allocated = allocations.count();
    CALLGRIND_DUMP_STATS_AT(body.name.c_str());
    std::printf("%s\t%s\t%zu\t%zu\n", body.name.c_str(), body.unit.c_str(),
                countedRuns * body.unitsPerRun, allocated);
}

} // namespace

void countBodies(const std::vector<Body>& bodies) {
    for (const Body& body : bodies) {
        countBody(body);
    }
}

} // namespace tandrel::bench
