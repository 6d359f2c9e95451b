#include "Micro/Count.h"

#include "Support/AllocationCounter.h"

#include <cstddef>
#include <cstdio>
#include <valgrind/callgrind.h>

namespace tandrel::bench {

namespace {

void countBody(const Body& body) {
    const Body::Run run = body.prepare();
    // Past what only the first ones do: lines of the log for the first five, buffers that grow.
    for (int count = 0; count < body.countedRuns / 2; ++count) {
        run();
    }
    CALLGRIND_ZERO_STATS;
    const test::AllocationCounter allocations;
    CALLGRIND_TOGGLE_COLLECT;
    for (int count = 0; count < body.countedRuns; ++count) {
        run();
    }
    CALLGRIND_TOGGLE_COLLECT;
    const std::size_t allocated = allocations.count();
    CALLGRIND_DUMP_STATS_AT(body.name.c_str());
    std::printf("%s\t%s\t%zu\t%zu\n", body.name.c_str(), body.unit.c_str(),
                static_cast<std::size_t>(body.countedRuns) * body.unitsPerRun, allocated);
}

} // namespace

void countBodies(const std::vector<Body>& bodies) {
    for (const Body& body : bodies) {
        countBody(body);
    }
}

} // namespace tandrel::bench
