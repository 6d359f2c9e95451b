#include "EndToEnd/Ramp.h"

#include "Platform/AudioInput.h"
#include "Platform/Linux/SystemMicrophonePermission.h"
#include "Platform/PulseAudio/PulseAudioInput.h"
#include "Platform/Qt/QtClock.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/WebSocket/QtStreamSocket.h"
#include "Services/APIClient.h"
#include "Services/AudioCaptureService.h"
#include "Services/KeychainService.h"
#include "Services/WebSocketService.h"
#include "Support/DevBackend.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeHttpTransport.h"
#include "Support/PrivateSoundServer.h"
#include "Support/Qt/EventLoop.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using Kind = PrivateSoundServer::Kind;

constexpr std::size_t framesPerSecond = 16000;

/// TANDREL_RAMP_SECONDS makes a long run of it.
std::chrono::seconds rampDuration() {
    const char* value = std::getenv("TANDREL_RAMP_SECONDS");
    return std::chrono::seconds(value == nullptr ? 20 : std::max(1, std::atoi(value)));
}

/// What all streams of the test share.
struct Program {
    explicit Program(const std::string& backendUrl)
        : apiClient(backendUrl, transport, keychain, clock) {}

    QtMainQueue mainQueue;
    QtClock clock;
    FakeHttpTransport transport;
    FakeCredentialStore credentials;
    KeychainService keychain{credentials};
    APIClient apiClient;
    QtStreamSocket streamSocket{mainQueue};
    SystemMicrophonePermission permission{mainQueue, clock, [] { return false; }};
};

/// One microphone, streamed to the backend by the real services.
class RampStream {
public:
    RampStream(Kind kind, Program& program, DevBackend& backend)
        : backend_(backend)
        , name_(kind == Kind::pulseAudio ? "pulseaudio" : "pipewire")
        , server_(kind, {framesPerSecond, 1024})
        , input_(program.mainQueue)
        , audio_(input_, program.permission, program.mainQueue)
        , socket_(program.apiClient, program.streamSocket, program.clock) {
        microphone_ = server_.addMicrophone("ramp", "Ramp", framesPerSecond, 1);
        audio_.setOnAudioBuffer([this](Bytes bytes) {
            framesSent_ += bytes.size() / sizeof(std::int16_t);
            socket_.sendAudioData(std::move(bytes));
        });
    }
    RampStream(const RampStream&) = delete;
    RampStream& operator=(const RampStream&) = delete;
    ~RampStream() {
        audio_.stopCapture();
        socket_.disconnect();
    }

    [[nodiscard]] const std::string& name() const { return name_; }

    [[nodiscard]] bool connect() {
        const auto session = nlohmann::json::parse(backend_.send(
            "POST", "/dev/sessions", R"({"email":")" + name_ + R"(@quorvane.example"})"));
        session_ = session.at("session_id").get<std::string>();
        socket_.connect(session.at("token").get<std::string>());
        return runUntil([this] { return socket_.state.value() == ConnectionState::connected(); });
    }

    /// Records until sound from this server has left for the backend.
    [[nodiscard]] bool startCapture() {
        server_.makeDefault();
        audio_.refreshDevices();
        const auto& devices = audio_.availableDevices.value();
        const auto device = std::find_if(devices.begin(), devices.end(),
                                         [](const auto& each) { return each.uid == "ramp"; });
        if (device == devices.end()) {
            return false;
        }
        audio_.startCapture(*device);
        return runUntil([this] { return framesSent_ > 0; });
    }

    void play(const std::vector<float>& ramp) {
        feeder_ = std::make_unique<VirtualMicrophoneFeeder>(server_, microphone_, ramp);
    }

    /// Whether the ramp has been played, and another second of silence has been sent.
    [[nodiscard]] bool isOver() {
        if (feeder_->isPlaying()) {
            return false;
        }
        if (framesAtEnd_ == 0) {
            framesAtEnd_ = framesSent_;
        }
        return framesSent_ >= framesAtEnd_ + framesPerSecond;
    }

    /// Stops, and returns what the backend has received.
    [[nodiscard]] std::vector<std::int16_t> received() {
        audio_.stopCapture();
        socket_.disconnect();
        EXPECT_TRUE(runUntil([this] { return backend_.lastEnd(session_) == "client 1000"; }));
        EXPECT_EQ(backend_.connectionCount(session_), 1);
        const auto audio =
            nlohmann::json::parse(backend_.get("/dev/sessions/" + session_)).at("audio");
        // The length that goes with 16 kHz: nothing on the way has resampled.
        EXPECT_EQ(audio.at("min_frames"), 1024);
        EXPECT_EQ(audio.at("max_frames"), 1024);
        auto samples = backend_.recording(session_);
        EXPECT_EQ(samples.size(), framesSent_) << "sent and received differ";
        return samples;
    }

private:
    DevBackend& backend_;
    std::string name_;
    PrivateSoundServer server_;
    PulseAudioInput input_;
    VirtualMicrophone microphone_;
    std::unique_ptr<VirtualMicrophoneFeeder> feeder_;
    std::string session_;
    std::atomic<std::size_t> framesSent_{0};
    std::size_t framesAtEnd_ = 0;
    AudioCaptureService audio_;
    WebSocketService socket_;
};

// Both servers at once: the program has time for that, and the test takes half as long.
TEST(Ramp, ArrivesWithoutALostRepeatedOrReorderedFrameFromBothSoundServers) {
    DevBackend backend({"--quiet", "--account", "pulseaudio@quorvane.example:ramp", "--account",
                        "pipewire@quorvane.example:ramp"});
    Program program(backend.url());
    std::vector<std::unique_ptr<RampStream>> streams;
    for (const Kind kind : {Kind::pulseAudio, Kind::pipeWire}) {
        streams.push_back(std::make_unique<RampStream>(kind, program, backend));
    }
    const std::size_t frames = framesPerSecond * static_cast<std::size_t>(rampDuration().count());
    const std::vector<float> ramp = makeRamp(frames);
    for (const auto& stream : streams) {
        SCOPED_TRACE(stream->name());
        ASSERT_TRUE(stream->connect());
        ASSERT_TRUE(stream->startCapture());
        stream->play(ramp);
    }
    EXPECT_TRUE(runUntil(
        [&streams] {
            return std::all_of(streams.begin(), streams.end(),
                               [](const auto& stream) { return stream->isOver(); });
        },
        rampDuration() + rampDuration() / 10 + 20s))
        << "the ramp takes too long";
    for (const auto& stream : streams) {
        SCOPED_TRACE(stream->name());
        const RampReport report = findRamp(stream->received(), frames);
        EXPECT_EQ(report.intact, frames);
        EXPECT_THAT(report.fault, IsEmpty());
    }
}

} // namespace
} // namespace tandrel::test
