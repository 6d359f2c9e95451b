#include "EndToEnd/StreamLane.h"

#include "Support/CountedSound.h"
#include "Support/WaitUntil.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <utility>

namespace tandrel::test {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint32_t rate = 16000;
constexpr const char* microphoneName = "Counted Microphone";
/// Enough of new sound to say that it flows.
constexpr std::int64_t someMessages = 16;
constexpr auto recoveryLimit = 40s;

std::filesystem::path newFolder(const std::string& name) {
    std::filesystem::path folder = std::filesystem::path(std::getenv("HOME")) / name;
    std::filesystem::create_directories(folder);
    return folder;
}

std::uint16_t portOf(const std::string& url) {
    return static_cast<std::uint16_t>(std::stoul(url.substr(url.rfind(':') + 1)));
}

std::int64_t nanosecondsNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               SteadyClock::now().time_since_epoch())
        .count();
}

} // namespace

// The whole graph at 16 kHz, where the samples pass unchanged.
StreamLane::StreamLane(PrivateSoundServer::Kind kind, std::chrono::seconds length)
    : name_(kind == PrivateSoundServer::Kind::pulseAudio ? "pulseaudio" : "pipewire")
    , folder_(newFolder(name_))
    , soundEnd_(SteadyClock::now() + length)
    , bus_(folder_)
    , keyring_(bus_, folder_ / "keyring")
    , sound_(kind, {rate, 1024})
    , backend_({"--quiet"})
    , door_(portOf(backend_.url())) {}

StreamLane::~StreamLane() = default;

void StreamLane::addMicrophone() {
    microphone_ = sound_.addMicrophone("counted", microphoneName, rate, 1);
    const auto left =
        std::chrono::ceil<std::chrono::seconds>(std::max(soundEnd_ - SteadyClock::now(), {}));
    // Each start of the sound has numbers of its own.
    const std::uint64_t first = lap_++ * (CountedSound::length / 32);
    const auto file = folder_ / "sound.raw";
    CountedSound::write(file, first, rate * static_cast<std::uint64_t>(left.count()));
    feeder_ = std::make_unique<VirtualMicrophoneFeeder>(sound_, microphone_, file);
}

void StreamLane::callWitness() {
    witness_.reset();
    testimonies_.push_back(folder_ / ("heard" + std::to_string(testimonies_.size()) + ".raw"));
    witness_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"parec", "--raw", "--device=counted", "--format=s16le",
                                 "--rate=" + std::to_string(rate), "--channels=1",
                                 testimonies_.back().string()},
        sound_.clientEnvironment(), folder_ / "witness.log");
}

std::vector<Gap> StreamLane::witnessedGaps() const {
    std::vector<Gap> gaps;
    for (const auto& path : testimonies_) {
        CountedSoundReader reader;
        std::ifstream file(path, std::ios::binary);
        std::vector<std::int16_t> piece(64);
        while (file.read(reinterpret_cast<char*>(piece.data()),
                         static_cast<std::streamsize>(piece.size() * sizeof(std::int16_t)))) {
            // As it starts to listen, PipeWire may lose a cycle of its own.
            const bool hasBegun = reader.heard() > rate;
            if (const auto found = reader.read(piece); found && found->expected && hasBegun) {
                gaps.push_back({*found->expected, found->found});
            }
        }
    }
    return gaps;
}

void StreamLane::restartSound() {
    sound_.restart();
    addMicrophone();
}

HeadlessProcess::Start StreamLane::startOfProgram(const std::vector<std::string>& arguments) const {
    HeadlessProcess::Start start;
    start.arguments = {"--backend", door_.url(), "--device", microphoneName};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = bus_.clientEnvironment();
    start.environment["PULSE_SERVER"] = sound_.address();
    start.home = folder_ / "home";
    return start;
}

bool StreamLane::start() {
    std::filesystem::create_directories(folder_ / "home");
    addMicrophone();
    program_ = std::make_unique<HeadlessProcess>(startOfProgram({"--email", DevBackend::email}));
    program_->process().write(std::string(DevBackend::password) + '\n');
    if (!program_->waitFor("Device: ")) {
        return false;
    }
    program_->process().signal(SIGTERM);
    if (!program_->waitForExit()) {
        return false;
    }
    backend_.send("PUT", "/dev/faults/me", R"({"status": 500})");
    session_ = backend_.startSession();
    // Whoever starts to listen to PipeWire may miss one of the first cycles, whatever program it
    // is.
    begin({"start", true, false});
    program_ = std::make_unique<HeadlessProcess>(
        startOfProgram({"--record", (folder_ / "sent.csv").string()}));
    return program_->waitFor("Microphone: capturing") && awaitRecovery().has_value() &&
           backend_.requestCount("me") == 1;
}

void StreamLane::act(const std::string& json) {
    backend_.send("POST", "/dev/sessions/" + session_ + "/stream", json);
}

void StreamLane::begin(Disturbance disturbance) {
    disturbance.begin = nanosecondsNow();
    disturbances_.push_back(std::move(disturbance));
}

std::optional<std::chrono::milliseconds> StreamLane::awaitRecovery() {
    messagesBefore_ = backend_.messageCount(session_);
    const bool isBack = waitUntil(
        [this] { return backend_.messageCount(session_) >= messagesBefore_ + someMessages; },
        recoveryLimit);
    const std::int64_t now = nanosecondsNow();
    if (!isBack) {
        return std::nullopt;
    }
    if (disturbances_.back().costsSound) {
        // It has lost the microphone too, and waits for none.
        callWitness();
    }
    disturbances_.back().end = now;
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::nanoseconds(now - disturbances_.back().begin));
}

bool StreamLane::end() {
    program_->process().signal(SIGTERM);
    return program_->waitForExit() == 0 &&
           waitUntil([this] { return backend_.lastEnd(session_) == "client 1000"; });
}

LongStreamVerdict StreamLane::verdict() const {
    const auto session = nlohmann::json::parse(backend_.get("/dev/sessions/" + session_));
    return judgeLongStream(readMessages(folder_ / "sent.csv"),
                           readMessages(session.at("message_log").get<std::string>()),
                           backend_.recording(session_), disturbances_, witnessedGaps());
}

} // namespace tandrel::test
