#include "Services/CapturedBufferProcessor.h"

#include "Services/PCMConverter.h"
#include "Support/AllocationCounter.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

namespace tandrel::test {
namespace {

constexpr AudioFormat microphone{48000, 1, SampleType::float32, true};

class CapturedBufferProcessorTest : public testing::Test {
protected:
    const std::vector<float> samples = std::vector<float>(1023, 0.25F);
    const AudioBuffer buffer{samples.data(), 1023, 48000};
};

TEST_F(CapturedBufferProcessorTest, AllocatesThePayloadAndNothingElse) {
    float level = 0;
    std::vector<std::uint8_t> received;
    CapturedBufferProcessor processor([&level](float measured) { level = measured; });
    processor.setConverter(PCMConverter::create(microphone));
    processor.setHandler(
        [&received](std::vector<std::uint8_t> bytes) { received = std::move(bytes); });
    // The first five are logged, which takes memory too.
    for (int count = 0; count < 5; ++count) {
        processor.processBuffer(buffer);
    }
    const AllocationCounter allocations;
    for (int count = 0; count < 100; ++count) {
        processor.processBuffer(buffer);
    }
    EXPECT_EQ(allocations.count(), 100U);
    EXPECT_EQ(received.size(), 682U);
    EXPECT_EQ(level, 0.75F);
}

TEST_F(CapturedBufferProcessorTest, MeasuresWithoutAConverter) {
    int levels = 0;
    int payloads = 0;
    CapturedBufferProcessor processor([&levels](float) { ++levels; });
    processor.setHandler([&payloads](const std::vector<std::uint8_t>&) { ++payloads; });
    processor.processBuffer(buffer);
    EXPECT_EQ(levels, 1);
    EXPECT_EQ(payloads, 0);
}

TEST_F(CapturedBufferProcessorTest, KeepsTheHandlerThatItCallsUntilItReturns) {
    CapturedBufferProcessor processor([](float) {});
    processor.setConverter(PCMConverter::create(microphone));
    auto witness = std::make_shared<int>(1);
    std::weak_ptr<int> watched = witness;
    bool aliveDuringCall = false;
    processor.setHandler([&, witness = std::move(witness)](const std::vector<std::uint8_t>&) {
        processor.setHandler(nullptr);
        processor.setConverter(nullptr);
        aliveDuringCall = !watched.expired();
    });
    processor.processBuffer(buffer);
    EXPECT_TRUE(aliveDuringCall);
    EXPECT_TRUE(watched.expired());
}

TEST_F(CapturedBufferProcessorTest, TakesConvertersAndHandlersFromAnotherThread) {
    std::atomic<int> levels = 0;
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    std::atomic<bool> whole = true;
    CapturedBufferProcessor processor([&levels](float) { ++levels; });
    const auto count = [&whole](std::atomic<int>& counter) {
        return [&whole, &counter](const std::vector<std::uint8_t>& bytes) {
            whole = whole && bytes.size() == 682;
            ++counter;
        };
    };
    std::jthread tap([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            processor.processBuffer(buffer);
        }
    });
    // Goes on until both handlers were reached, however the threads are scheduled.
    while (first < 20 || second < 20) {
        processor.setConverter(PCMConverter::create(microphone));
        processor.setHandler(count(first));
        std::this_thread::yield();
        processor.setHandler(count(second));
        std::this_thread::yield();
        EXPECT_TRUE(processor.hasHandler());
        processor.setHandler(nullptr);
        processor.setConverter(nullptr);
    }
    tap = std::jthread();
    EXPECT_TRUE(whole);
    EXPECT_GE(levels, first + second);
}

} // namespace
} // namespace tandrel::test
