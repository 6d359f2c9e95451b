#include "Platform/PulseAudio/PulseAudioInput.h"
#include "Platform/RealTimeProbe.h"
#include "Support/BothSoundServers.h"
#include "Support/ManualMainQueue.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <gmock/gmock.h>
#include <pulse/pulseaudio.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace tandrel {
namespace {

using test::ForeignCode;
using test::PrivateSoundServer;
using test::RealTimeCounts;
using test::RealTimeScope;

/// The adapter's read callback, which the one below stands in for. One stream at a time.
struct ReadCallback {
    pa_stream_request_cb_t function = nullptr;
    void* userdata = nullptr;
};
ReadCallback adapterCallback;
std::atomic<std::uint64_t> callbackCount{0};
std::atomic<std::uint64_t> peekCount{0};

void observeReadCallback(pa_stream* stream, std::size_t bytes, void* /*userdata*/) {
    const RealTimeScope scope;
    adapterCallback.function(stream, bytes, adapterCallback.userdata);
    callbackCount.fetch_add(1);
}

template <typename Function>
Function libraryFunction(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace
} // namespace tandrel

// These take the place of the library's functions for the adapter, so that its callback is observed
// as it runs in the program, and only what it does itself.
extern "C" {

void pa_stream_set_read_callback(pa_stream* stream, pa_stream_request_cb_t callback,
                                 void* userdata) {
    static const auto real =
        tandrel::libraryFunction<decltype(&pa_stream_set_read_callback)>(__func__);
    tandrel::adapterCallback = {callback, userdata};
    real(stream, callback == nullptr ? nullptr : tandrel::observeReadCallback, nullptr);
}

int pa_stream_peek(pa_stream* stream, const void** data, std::size_t* bytes) {
    const tandrel::ForeignCode foreign;
    static const auto real = tandrel::libraryFunction<decltype(&pa_stream_peek)>(__func__);
    tandrel::peekCount.fetch_add(1);
    return real(stream, data, bytes);
}

int pa_stream_drop(pa_stream* stream) {
    const tandrel::ForeignCode foreign;
    static const auto real = tandrel::libraryFunction<decltype(&pa_stream_drop)>(__func__);
    return real(stream);
}

} // extern "C"

namespace tandrel {
namespace {

TEST(RealTimeScope, CountsWhatRealTimeCodeMustNotDo) {
    const RealTimeCounts before = RealTimeScope::counts();
    std::mutex mutex;
    {
        const RealTimeScope scope;
        void* volatile memory = std::malloc(16);
        std::free(memory);
        mutex.lock();
        mutex.unlock();
        syscall(SYS_getppid);
    }
    RealTimeCounts after = RealTimeScope::counts();
    EXPECT_EQ(after.allocations - before.allocations, 2U);
    EXPECT_EQ(after.locks - before.locks, 1U);
    EXPECT_EQ(after.systemCalls - before.systemCalls, 1U);
}

TEST(RealTimeScope, LeavesOutForeignCodeAndWhatComesAfter) {
    const RealTimeCounts before = RealTimeScope::counts();
    std::mutex mutex;
    const auto misbehave = [&mutex] {
        void* volatile memory = std::malloc(16);
        std::free(memory);
        mutex.lock();
        mutex.unlock();
        syscall(SYS_getppid);
    };
    {
        const RealTimeScope scope;
        const ForeignCode foreign;
        misbehave();
    }
    misbehave();
    const RealTimeCounts after = RealTimeScope::counts();
    EXPECT_EQ(after.allocations, before.allocations);
    EXPECT_EQ(after.locks, before.locks);
    EXPECT_EQ(after.systemCalls, before.systemCalls);
}

class CaptureCallbackTest : public testing::TestWithParam<PrivateSoundServer::Kind> {};

TEST_P(CaptureCallbackTest, AllocatesNothingLocksNothingAndMakesNoSystemCall) {
    PrivateSoundServer server(GetParam());
    server.makeDefault();
    const auto microphone = server.addMicrophone("desk", "Desk", 44100, 2);
    const test::VirtualMicrophoneFeeder feeder(server, microphone,
                                               std::vector<float>(44100 * 2 * 10, 0.25F));
    test::ManualMainQueue mainQueue;
    PulseAudioInput input(mainQueue);
    const auto engine = input.makeEngine();
    ASSERT_TRUE(engine->bindDevice(0, "desk"));
    std::atomic<std::uint64_t> buffers{0};
    std::atomic<bool> hasSound{false};
    engine->installTap(1024, [&](const AudioBuffer& buffer) {
        buffers.fetch_add(1);
        hasSound = hasSound || buffer.floatChannelData[0] == 0.25F;
    });
    const RealTimeCounts before = RealTimeScope::counts();
    const std::uint64_t callbacksBefore = callbackCount;
    const std::uint64_t peeksBefore = peekCount;

    engine->start();
    EXPECT_TRUE(mainQueue.drainUntil([&] { return hasSound && buffers > 60; }));
    engine->stop();

    const RealTimeCounts after = RealTimeScope::counts();
    const std::uint64_t callbacks = callbackCount - callbacksBefore;
    std::printf("%lu callbacks, %lu buffers: %lu allocations, %lu locks, %lu system calls\n",
                callbacks, buffers.load(), after.allocations - before.allocations,
                after.locks - before.locks, after.systemCalls - before.systemCalls);
    EXPECT_GT(callbacks, 30U);
    EXPECT_GE(peekCount - peeksBefore, callbacks);
    EXPECT_EQ(after.allocations, before.allocations);
    EXPECT_EQ(after.locks, before.locks);
    EXPECT_EQ(after.systemCalls, before.systemCalls);
}

INSTANTIATE_TEST_SUITE_P(Servers, CaptureCallbackTest, test::bothSoundServers,
                         test::soundServerTestName);

} // namespace
} // namespace tandrel
