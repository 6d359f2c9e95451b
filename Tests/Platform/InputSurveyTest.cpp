#include "Platform/PulseAudio/InputSurvey.h"

#include "Support/BothSoundServers.h"
#include "Support/LogCapture.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::PrivateSoundServer;
using test::VirtualMicrophone;
using test::VirtualMicrophoneFeeder;
using test::waitUntil;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class InputSurveyTest : public testing::TestWithParam<PrivateSoundServer::Kind> {
protected:
    InputSurveyTest()
        : server(GetParam()) {
        server.makeDefault();
    }

    /// Whole seconds of a square wave.
    static std::vector<float> squareWave(float amplitude, std::size_t frames) {
        std::vector<float> samples(frames, amplitude);
        for (std::size_t frame = 0; frame < frames; ++frame) {
            samples[frame] = frame % 200 < 100 ? amplitude : -amplitude;
        }
        return samples;
    }

    PrivateSoundServer server;
};

TEST_P(InputSurveyTest, TellsTheServerAndItsMicrophonesAndListensToNone) {
    const VirtualMicrophone microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    const auto survey = surveyInputs(0ms);
    ASSERT_TRUE(survey.ok()) << survey.error();
    const bool isPipeWire = GetParam() == PrivateSoundServer::Kind::pipeWire;
    EXPECT_EQ(survey.value().serverName.find("PipeWire") != std::string::npos, isPipeWire)
        << survey.value().serverName;
    EXPECT_THAT(survey.value().serverVersion, Not(IsEmpty()));
    ASSERT_THAT(survey.value().inputs, SizeIs(1));
    const SurveyedInput& input = survey.value().inputs.front();
    EXPECT_EQ(input.name, "Desk");
    EXPECT_EQ(input.uid, "desk");
    EXPECT_EQ(input.sampleRate, 48000U);
    EXPECT_EQ(input.channels, 1U);
    EXPECT_FALSE(input.isMuted);
    EXPECT_FALSE(input.loudness.has_value());
    EXPECT_THAT(server.recordingIndexes(), IsEmpty());
}

TEST_P(InputSurveyTest, MeasuresAllMicrophonesInTheSameSecond) {
    const VirtualMicrophone loud = server.addMicrophone("loud", "Loud", 48000, 1);
    (void)server.addMicrophone("silent", "Silent", 48000, 1);
    const VirtualMicrophoneFeeder feeder(server, loud, squareWave(0.25F, 48000 * 30));
    SurveyedInput heard;
    SurveyedInput other;
    // The first one may come before the sound does.
    ASSERT_TRUE(waitUntil([&] {
        const auto start = std::chrono::steady_clock::now();
        const auto survey = surveyInputs(1s);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
        if (!survey || survey.value().inputs.size() != 2) {
            return false;
        }
        heard = survey.value().inputs[0];
        other = survey.value().inputs[1];
        return heard.loudness && heard.loudness->rms > 0.245F;
    }));
    EXPECT_EQ(heard.uid, "loud");
    EXPECT_NEAR(heard.loudness->rms, 0.25F, 0.005F);
    EXPECT_NEAR(heard.loudness->peak, 0.25F, 0.005F);
    ASSERT_TRUE(other.loudness.has_value()) << other.problem;
    EXPECT_EQ(other.loudness->peak, 0.0F);
    EXPECT_TRUE(waitUntil([&] { return server.recordingIndexes().empty(); }));
}

TEST_P(InputSurveyTest, TellsThatAMicrophoneIsMuted) {
    (void)server.addMicrophone("desk", "Desk", 48000, 1);
    server.control({"set-source-mute", "desk", "1"});
    const auto survey = surveyInputs(100ms);
    ASSERT_TRUE(survey.ok());
    ASSERT_THAT(survey.value().inputs, SizeIs(1));
    EXPECT_TRUE(survey.value().inputs.front().isMuted);
}

TEST_P(InputSurveyTest, WithoutMicrophonesThereIsNoneToListenTo) {
    const auto survey = surveyInputs(1s);
    ASSERT_TRUE(survey.ok());
    EXPECT_THAT(survey.value().inputs, IsEmpty());
}

TEST_P(InputSurveyTest, AServerThatHangsIsGivenUp) {
    server.freeze();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(surveyInputs(1s).ok());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    server.thaw();
}

TEST_P(InputSurveyTest, WritesNothingToTheDebugLog) {
    const test::LogCapture log;
    (void)server.addMicrophone("desk", "Desk", 48000, 1);
    server.control({"set-source-mute", "desk", "1"});
    ASSERT_TRUE(surveyInputs(200ms).ok());
    EXPECT_THAT(log.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(OnBothServers, InputSurveyTest, test::bothSoundServers,
                         test::soundServerTestName);

TEST(InputSurvey, WithoutAServerThereIsAReason) {
    ::setenv("PULSE_SERVER", "unix:/nonexistent", 1);
    const auto survey = surveyInputs(1s);
    ::unsetenv("PULSE_SERVER");
    ASSERT_FALSE(survey.ok());
    EXPECT_THAT(survey.error(), HasSubstr("refused"));
}

} // namespace
} // namespace tandrel
