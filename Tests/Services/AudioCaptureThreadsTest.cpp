#include "Services/AudioCaptureService.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace tandrel::test {
namespace {

/// A sound system whose tap thread pushes one buffer after the other, while the test is the main
/// thread.
class AudioCaptureThreads : public testing::Test {
protected:
    FakeAudioInput input;
    ManualMainQueue mainQueue;
    FakeMicrophonePermission permission{mainQueue};
    std::unique_ptr<AudioCaptureService> service =
        std::make_unique<AudioCaptureService>(input, permission, mainQueue);
    const std::vector<float> samples = std::vector<float>(1023, 0.25F);
    const AudioDevice device{7, "Microphone", "usb-1"};

    /// Ends with the returned object.
    [[nodiscard]] std::jthread startTapThread() {
        return std::jthread([this](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                input.push(AudioBuffer{samples.data(), 1023, 48000});
                std::this_thread::yield();
            }
        });
    }
};

TEST_F(AudioCaptureThreads, StartsStopsAndRestartsUnderARunningTap) {
    std::atomic<int> buffers = 0;
    std::atomic<bool> capturing = false;
    std::atomic<int> afterStop = 0;
    std::atomic<int> wrongSizes = 0;
    int levels = 0;
    const Subscription subscription =
        service->audioLevel.observe([&](float level) { levels += level == 0.75F ? 1 : 0; });
    std::jthread tap = startTapThread();
    const auto handler = [&](const std::vector<std::uint8_t>& bytes) {
        ++buffers;
        afterStop += capturing ? 0 : 1;
        wrongSizes += bytes.size() == 682 ? 0 : 1;
    };
    for (int round = 0; round < 50; ++round) {
        service->setOnAudioBuffer(handler);
        capturing = true;
        service->startCapture(device);
        const int before = buffers;
        ASSERT_TRUE(mainQueue.drainUntil([&] { return buffers >= before + 2; }));
        if (round % 3 == 0) {
            service->startCapture(device);
            service->setOnAudioBuffer(nullptr);
        }
        service->stopCapture();
        capturing = false;
    }
    tap = std::jthread();
    mainQueue.drain();
    EXPECT_EQ(afterStop, 0);
    EXPECT_EQ(wrongSizes, 0);
    EXPECT_GE(levels, 100);
}

TEST_F(AudioCaptureThreads, GoesAwayUnderARunningTap) {
    std::jthread tap = startTapThread();
    for (int round = 0; round < 20; ++round) {
        service->startCapture(device);
        ASSERT_TRUE(mainQueue.drainUntil([this] { return service->audioLevel.value() > 0; }));
        service = std::make_unique<AudioCaptureService>(input, permission, mainQueue);
    }
    tap = std::jthread();
    // Levels of services that have gone meanwhile reach nobody.
    mainQueue.drain();
    EXPECT_EQ(service->audioLevel.value(), 0.0F);
}

} // namespace
} // namespace tandrel::test
