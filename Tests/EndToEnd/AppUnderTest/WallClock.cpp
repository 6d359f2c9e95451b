#include "WallClock.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

namespace tandrel::test {

namespace {

/// In memory that the test writes to; null while the clock is the system's.
std::atomic<const volatile std::int64_t*> ahead{nullptr};

using GetTime = int (*)(clockid_t, timespec*);

} // namespace

void useTestClock() {
    const char* const file = std::getenv("TANDREL_TEST_CLOCK");
    const int descriptor = file != nullptr ? open(file, O_RDONLY | O_CLOEXEC) : -1;
    if (descriptor < 0) {
        return;
    }
    void* const memory = mmap(nullptr, sizeof(std::int64_t), PROT_READ, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED) {
        std::abort();
    }
    ahead = static_cast<const volatile std::int64_t*>(memory);
}

} // namespace tandrel::test

// In the place of the C library's, for all libraries of the program.

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const auto next =
        reinterpret_cast<tandrel::test::GetTime>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = next(clock, time);
    const auto* const seconds = tandrel::test::ahead.load(std::memory_order_relaxed);
    if (seconds != nullptr && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec += *seconds;
    }
    return result;
}

extern "C" int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return result;
}

extern "C" time_t time(time_t* result) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}
