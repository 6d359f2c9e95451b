#include "SlowLog.h"

#include "DebugLog.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <thread>

namespace tandrel::test {

namespace {

std::atomic<std::int64_t> delayMilliseconds{0};
std::atomic<int> linesLeft{0};
std::atomic<int> linesHeldUp{0};
std::atomic<std::thread::id> spared;

bool isTheLog(int descriptor) {
    struct stat file {};
    struct stat log {};
    return fstat(descriptor, &file) == 0 && stat(DebugLog::path().c_str(), &log) == 0 &&
           file.st_dev == log.st_dev && file.st_ino == log.st_ino;
}

void holdUp(int descriptor) {
    if (linesLeft > 0 && std::this_thread::get_id() != spared && isTheLog(descriptor) &&
        linesLeft.fetch_sub(1) > 0) {
        ++linesHeldUp;
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMilliseconds));
    }
}

} // namespace

SlowLog::SlowLog(std::chrono::milliseconds delay, int lines) {
    linesHeldUp = 0;
    spared = std::this_thread::get_id();
    delayMilliseconds = delay.count();
    linesLeft = lines;
}

SlowLog::~SlowLog() {
    linesLeft = 0;
}

int SlowLog::heldUp() {
    return linesHeldUp;
}

} // namespace tandrel::test

/// In the place of the C library's, for the whole program.
extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t size) {
    static const auto next =
        reinterpret_cast<ssize_t (*)(int, const void*, std::size_t)>(dlsym(RTLD_NEXT, "write"));
    tandrel::test::holdUp(descriptor);
    return next(descriptor, bytes, size);
}
