#include "EndToEnd/Ramp.h"

#include "BuildPaths.h"
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
#include "Support/ChildProcess.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeHttpTransport.h"
#include "Support/PrivateSoundServer.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
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

/// The test program's own home, removed at its end.
std::filesystem::path privateFolder() {
    return std::getenv("HOME");
}

/// Lets the main thread work until `condition` holds; false when it still does not at the limit.
bool waitUntil(std::chrono::milliseconds limit, const std::function<bool()>& condition) {
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition()) {
            loop.quit();
        }
    });
    poll.start(20);
    QTimer::singleShot(limit, &loop, [&loop] { loop.exit(1); });
    return loop.exec() == 0;
}

/// The development backend, with a signed-up account for each stream.
class Backend {
public:
    explicit Backend(const std::filesystem::path& folder)
        : log_(folder / "backend.log")
        , process_({std::string(TANDREL_BUILD_BIN) + "/quorvane-tandrel-dev-backend", "--port", "0",
                    "--quiet", "--account", "pulseaudio@quorvane.example:ramp", "--account",
                    "pipewire@quorvane.example:ramp", "--output", (folder / "received").string()},
                   {}, log_) {}

    [[nodiscard]] bool start() {
        return waitUntil(10s, [this] {
            static const std::string greeting = "listening on ";
            const std::string text = read(log_);
            const auto at = text.find(greeting);
            if (at == std::string::npos || text.find('\n', at) == std::string::npos) {
                return false;
            }
            url_ = text.substr(at + greeting.size(), text.find('\n', at) - at - greeting.size());
            return true;
        });
    }

    [[nodiscard]] const std::string& url() const { return url_; }

    [[nodiscard]] QJsonObject startSession(const std::string& email) const {
        return ask({"--data", R"({"email":")" + email + "\"}", url_ + "/dev/sessions"});
    }
    [[nodiscard]] QJsonObject session(const std::string& id) const {
        return ask({url_ + "/dev/sessions/" + id});
    }

private:
    static std::string read(const std::filesystem::path& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    static QJsonObject ask(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"curl", "--silent", "--show-error", "--fail"});
        const auto output = ChildProcess::run(arguments, {});
        EXPECT_EQ(output.exitCode, 0) << arguments.back();
        return QJsonDocument::fromJson(QByteArray::fromStdString(output.text)).object();
    }

    std::filesystem::path log_;
    ChildProcess process_;
    std::string url_;
};

std::string text(const QJsonObject& object, const char* name) {
    return object.value(QLatin1String(name)).toString().toStdString();
}

/// The 16-bit samples of a WAV file with the 44-byte header that the backend writes.
std::vector<std::int16_t> readSamples(const std::string& path) {
    constexpr std::streamoff header = 44;
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    EXPECT_TRUE(file && file.tellg() > header) << path;
    std::vector<std::int16_t> samples(
        static_cast<std::size_t>(std::max<std::streamoff>(file.tellg() - header, 0)) / 2);
    file.seekg(header);
    file.read(reinterpret_cast<char*>(samples.data()),
              static_cast<std::streamsize>(samples.size() * sizeof(std::int16_t)));
    return samples;
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
    RampStream(Kind kind, Program& program, Backend& backend)
        : backend_(backend)
        , name_(kind == Kind::pulseAudio ? "pulseaudio" : "pipewire")
        , server_(kind)
        , input_(program.mainQueue)
        , audio_(input_, program.permission, program.mainQueue)
        , socket_(program.apiClient, program.streamSocket, program.clock) {
        microphone_ = server_.addMicrophone("ramp", "Ramp", framesPerSecond, 1);
        if (kind == Kind::pipeWire) {
            bringTo16kHz();
        }
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
        const QJsonObject session = backend_.startSession(name_ + "@quorvane.example");
        sessionId_ = text(session, "session_id");
        socket_.connect(text(session, "token"));
        return waitUntil(10s,
                         [this] { return socket_.state.value() == ConnectionState::connected(); });
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
        const bool isStarted = waitUntil(10s, [this] { return framesSent_ > 0; });
        firstListener_.reset();
        return isStarted;
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
        QJsonObject session;
        EXPECT_TRUE(waitUntil(10s, [&] {
            session = backend_.session(sessionId_);
            return text(session, "phase") == "completed";
        }));
        EXPECT_EQ(session.value(QLatin1String("connections")).toInt(), 1);
        const QJsonObject audio = session.value(QLatin1String("audio")).toObject();
        // The length that goes with 16 kHz: nothing on the way has resampled.
        EXPECT_EQ(audio.value(QLatin1String("min_frames")).toInt(), 1024);
        EXPECT_EQ(audio.value(QLatin1String("max_frames")).toInt(), 1024);
        auto samples = readSamples(text(session, "wav"));
        EXPECT_EQ(samples.size(), framesSent_) << "sent and received differ";
        return samples;
    }

private:
    /// PipeWire's graph runs at 48 kHz unless told otherwise, which would resample the ramp; and
    /// its microphone claims 48 kHz until somebody has listened to it.
    void bringTo16kHz() {
        const EnvironmentChanges environment = server_.clientEnvironment();
        const auto set = ChildProcess::run(
            {"pw-metadata", "-n", "settings", "0", "clock.force-rate", "16000"}, environment);
        EXPECT_EQ(set.exitCode, 0);
        firstListener_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"parec", "--raw", "--device=ramp"}, environment,
            server_.folder() / "listener.raw");
        EXPECT_TRUE(waitUntil(10s, [this] {
            std::istringstream sources(server_.control({"list", "short", "sources"}));
            for (std::string line; std::getline(sources, line);) {
                if (line.find("\tramp\t") != std::string::npos) {
                    return line.find(" 16000Hz") != std::string::npos;
                }
            }
            return false;
        }));
    }

    Backend& backend_;
    std::string name_;
    PrivateSoundServer server_;
    PulseAudioInput input_;
    VirtualMicrophone microphone_;
    std::unique_ptr<ChildProcess> firstListener_;
    std::unique_ptr<VirtualMicrophoneFeeder> feeder_;
    std::string sessionId_;
    std::atomic<std::size_t> framesSent_{0};
    std::size_t framesAtEnd_ = 0;
    AudioCaptureService audio_;
    WebSocketService socket_;
};

// Both servers at once: the program has time for that, and the test takes half as long.
TEST(Ramp, ArrivesWithoutALostRepeatedOrReorderedFrameFromBothSoundServers) {
    Backend backend(privateFolder());
    ASSERT_TRUE(backend.start());
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
    EXPECT_TRUE(waitUntil(rampDuration() + rampDuration() / 10 + 20s, [&streams] {
        return std::all_of(streams.begin(), streams.end(),
                           [](const auto& stream) { return stream->isOver(); });
    })) << "the ramp takes too long";
    for (const auto& stream : streams) {
        SCOPED_TRACE(stream->name());
        const RampReport report = findRamp(stream->received(), frames);
        EXPECT_EQ(report.intact, frames);
        EXPECT_THAT(report.fault, IsEmpty());
    }
}

} // namespace
} // namespace tandrel::test
