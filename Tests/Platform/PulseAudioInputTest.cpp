#include "Platform/PulseAudio/PulseAudioInput.h"

#include "Support/ManualMainQueue.h"
#include "Support/PrivateSoundServer.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <vector>

namespace tandrel {
namespace {

using test::PrivateSoundServer;

class PulseAudioInputTest : public testing::TestWithParam<PrivateSoundServer::Kind> {
protected:
    PulseAudioInputTest()
        : server(GetParam()) {
        server.makeDefault();
    }
    PrivateSoundServer server;
    test::ManualMainQueue mainQueue;
    PulseAudioInput input{mainQueue};
};

TEST_P(PulseAudioInputTest, ListsMicrophonesOnly) {
    server.loadModule("module-null-sink", {"sink_name=speakers"});
    server.addMicrophone("desk", "Desk Microphone", 48000, 1);
    server.addMicrophone("room", "Room", 44100, 2);

    const auto devices = input.devices();

    ASSERT_TRUE(devices);
    ASSERT_EQ(devices->size(), 2U);
    EXPECT_EQ(devices->at(0).name, "Desk Microphone");
    EXPECT_EQ(devices->at(0).uid, "desk");
    EXPECT_EQ(devices->at(0).inputStreamChannels, std::vector<std::uint32_t>{1});
    EXPECT_EQ(devices->at(1).name, "Room");
    EXPECT_EQ(devices->at(1).uid, "room");
    EXPECT_EQ(devices->at(1).inputStreamChannels, std::vector<std::uint32_t>{2});
}

INSTANTIATE_TEST_SUITE_P(Servers, PulseAudioInputTest,
                         testing::Values(PrivateSoundServer::Kind::pulseAudio,
                                         PrivateSoundServer::Kind::pipeWire),
                         [](const auto& server) {
                             return server.param == PrivateSoundServer::Kind::pulseAudio
                                        ? "PulseAudio"
                                        : "PipeWire";
                         });

} // namespace
} // namespace tandrel
