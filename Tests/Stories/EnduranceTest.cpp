// Hours of streaming at speed, in virtual time, with something going wrong again and again.
// Promised is every buffer that comes while the stream is connected: its message must be the very
// one that a converter without any trouble makes of the same sound, and it must be the next one.

#include "DebugLog.h"
#include "EnduranceWorld.h"
#include "Support/FileText.h"
#include "Support/LogJudge.h"
#include "Support/ProcessFootprint.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <map>
#include <string>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The compiler's own headers leave it out.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

std::size_t heapInUse() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

/// How long, and how often something goes wrong. TANDREL_SOAK_VIRTUAL_HOURS makes a long run of it.
struct Plan {
    std::chrono::minutes length{11};
    std::chrono::seconds between{30};

    static Plan fromEnvironment() {
        const char* const hours = std::getenv("TANDREL_SOAK_VIRTUAL_HOURS");
        return hours == nullptr ? Plan() : Plan{std::chrono::hours(std::atoi(hours)), 300s};
    }
};

constexpr int kindsOfTrouble = 6;

/// What was in use when a rate was first seen, and when it was seen last.
struct Heap {
    std::size_t first = 0;
    std::size_t latest = 0;
};

void makeTrouble(EnduranceWorld& world, int kind) {
    switch (kind) {
    case 0:
        world.loseConnection(0);
        break;
    case 1:
        world.unplug();
        break;
    case 2:
        world.loseConnection(3);
        break;
    case 3:
        world.stall();
        break;
    case 4:
        world.failSends(25);
        break;
    default:
        world.stop();
        world.pass(3s);
        ASSERT_TRUE(world.start());
    }
}

TEST(Endurance, SendsAllThatItPromisesLogsWhatTheThrottleAllowsAndGrowsByNothing) {
    const Plan plan = Plan::fromEnvironment();
    EnduranceWorld world;
    ASSERT_TRUE(world.start());
    int troubles = 0;
    // The converter of one rate needs more than that of another.
    std::map<std::uint32_t, Heap> heaps;
    while (world.elapsed() < plan.length) {
        ASSERT_NO_FATAL_FAILURE(makeTrouble(world, troubles % kindsOfTrouble));
        ++troubles;
        world.pass(plan.between);
        ASSERT_TRUE(world.isWell()) << "after trouble " << troubles;
        world.forgetCalls();
        Heap& heap = heaps[world.rate()];
        heap.latest = heapInUse();
        if (heap.first == 0) {
            heap.first = heap.latest;
        }
    }
    const auto hours = std::chrono::duration<double, std::ratio<3600>>(world.elapsed()).count();
    const LogVerdict log = judgeLog(textOf(DebugLog::path()));
    std::printf("%.1f h, %d troubles: %llu buffers, %llu of them promised, %llu messages by %llu "
                "connections, %llu sends failed\nlog: %zu lines, %zu bytes; throttled %zu, events "
                "%zu; resident %zu kB\n",
                hours, troubles, static_cast<unsigned long long>(world.buffers()),
                static_cast<unsigned long long>(world.promised()),
                static_cast<unsigned long long>(world.socket().messages()),
                static_cast<unsigned long long>(world.socket().connections()),
                static_cast<unsigned long long>(world.sendErrors()), log.lines, log.bytes,
                log.throttledLines, log.eventLines, ProcessMemory::of(getpid()).resident / 1024);

    EXPECT_GT(world.promised(), world.buffers() * 8 / 10);
    EXPECT_EQ(world.socket().messages(), world.promised());
    EXPECT_EQ(world.lost(), 0U);
    EXPECT_EQ(world.unpromised(), 0U);
    EXPECT_EQ(world.socket().wrongMessages(), 0U);

    EXPECT_THAT(log.faults, IsEmpty());
    EXPECT_EQ(log.throttledLines, world.throttledLines());
    EXPECT_EQ(log.sendErrors, world.sendErrors());
    EXPECT_LE(log.eventLines, 20U + 16U * static_cast<std::size_t>(troubles));

    // The doubles note some calls; a byte for each buffer would already be far more.
    for (const auto& [rate, heap] : heaps) {
        std::printf("heap at %u Hz: first %zu bytes, last %zu\n", rate, heap.first, heap.latest);
        EXPECT_LT(heap.latest, heap.first + 12288 + 256 * static_cast<std::size_t>(troubles));
    }
}

} // namespace
} // namespace tandrel::test
