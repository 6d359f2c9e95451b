#include "Platform/PulseAudio/FragmentLength.h"

#include "Platform/GrantedBuffer.h"
#include "Platform/PulseAudio/PulseHandles.h"
#include "Support/PrivateSoundServer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tandrel::pulse {
namespace {

using test::PrivateSoundServer;
using test::VirtualMicrophone;
using testing::AllOf;
using testing::Each;
using testing::SizeIs;

constexpr std::uint32_t requestedFrames = 1024;
constexpr std::size_t portionCount = 20;

pa_sample_spec floatSamples(std::uint32_t rate, std::uint8_t channels = 1) {
    return {PA_SAMPLE_FLOAT32NE, rate, channels};
}

/// Recordings of the server's default source, on a loop that the test turns.
class Recorder {
public:
    explicit Recorder(const std::string& address)
        : loop_(pa_mainloop_new())
        , context_(pa_context_new(pa_mainloop_get_api(loop_.get()), "test")) {
        pa_context_connect(context_.get(), address.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr);
        turnUntil([this] { return pa_context_get_state(context_.get()) == PA_CONTEXT_READY; });
    }

    /// The lengths in frames of `count` portions that the server delivers when asked for so many
    /// bytes at a time; fewer when they do not come. Without the first, which begins in the middle.
    std::vector<std::size_t> portions(const std::string& source, const pa_sample_spec& spec,
                                      std::uint32_t asked, std::size_t count) {
        const Stream stream(pa_stream_new(context_.get(), "test", &spec, nullptr));
        constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
        const pa_buffer_attr buffering{serversChoice, serversChoice, serversChoice, serversChoice,
                                       asked};
        std::vector<std::size_t> lengths;
        if (!stream || pa_stream_connect_record(stream.get(), source.c_str(), &buffering,
                                                PA_STREAM_ADJUST_LATENCY) < 0) {
            return lengths;
        }
        turnUntil([&] {
            const void* data = nullptr;
            std::size_t bytes = 0;
            while (pa_stream_get_state(stream.get()) == PA_STREAM_READY &&
                   pa_stream_peek(stream.get(), &data, &bytes) == 0 && bytes > 0) {
                lengths.push_back(bytes / pa_frame_size(&spec));
                pa_stream_drop(stream.get());
            }
            return lengths.size() > count;
        });
        if (!lengths.empty()) {
            lengths.erase(lengths.begin());
        }
        return lengths;
    }

private:
    template <typename Condition>
    void turnUntil(const Condition& isMet) {
        constexpr int longestWaitUs = 10'000;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!isMet() && std::chrono::steady_clock::now() < end) {
            pa_mainloop_prepare(loop_.get(), longestWaitUs);
            pa_mainloop_poll(loop_.get());
            pa_mainloop_dispatch(loop_.get());
        }
    }

    MainLoop loop_;
    Context context_;
};

class FragmentLengthTest : public testing::TestWithParam<std::uint32_t> {};

TEST_P(FragmentLengthTest, MakesPulseAudioDeliverWholeBuffers) {
    PrivateSoundServer server(PrivateSoundServer::Kind::pulseAudio);
    const VirtualMicrophone microphone = server.addMicrophone("desk", "Desk", GetParam(), 2);
    const CaptureGrant grant = grantCapture(GetParam(), requestedFrames);
    const pa_sample_spec spec = floatSamples(grant.sampleRate, 2);
    Recorder recorder(server.address());
    EXPECT_THAT(recorder.portions(microphone.sourceName, spec,
                                  fragmentBytes(spec, grant.bufferFrames), portionCount),
                AllOf(SizeIs(testing::Ge(portionCount)), Each(grant.bufferFrames)));
}

INSTANTIATE_TEST_SUITE_P(Rates, FragmentLengthTest,
                         testing::Values(44100U, 48000U, 96000U, 192000U),
                         testing::PrintToStringParamName());

TEST(FragmentLength, AsksForNoFrameTooManyWhereNothingIsRounded) {
    EXPECT_EQ(fragmentBytes(floatSamples(44100), 882), 882 * sizeof(float));
}

TEST(FragmentLength, AsksForOneFrameMoreWhereTheServerRoundsDown) {
    EXPECT_EQ(fragmentBytes(floatSamples(48000, 2), 1023), 1024 * 2 * sizeof(float));
}

} // namespace
} // namespace tandrel::pulse
