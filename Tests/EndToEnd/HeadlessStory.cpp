#include "EndToEnd/HeadlessStory.h"

#include "Support/WaitUntil.h"

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace tandrel::test {

namespace {

constexpr const char* microphoneName = "Studio Microphone";

/// Something to hear, for longer than all stories of a program.
std::vector<float> sawtooth() {
    constexpr std::size_t rate = 48000;
    std::vector<float> samples(rate * 300);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        samples[index] = static_cast<float>(index % 96) / 192;
    }
    return samples;
}

std::filesystem::path newFolder(const std::string& name) {
    static int count = 0;
    const std::filesystem::path folder =
        std::filesystem::path(std::getenv("HOME")) / (name + std::to_string(++count));
    std::filesystem::create_directories(folder);
    return folder;
}

} // namespace

void HeadlessStory::SetUpTestSuite() {
    sound_ = std::make_unique<PrivateSoundServer>(PrivateSoundServer::Kind::pulseAudio);
    const auto microphone = sound_->addMicrophone("studio", microphoneName, 48000, 1);
    feeder_ = std::make_unique<VirtualMicrophoneFeeder>(*sound_, microphone, sawtooth());
    backend_ = std::make_unique<DevBackend>();
}

void HeadlessStory::TearDownTestSuite() {
    backend_.reset();
    feeder_.reset();
    sound_.reset();
}

void HeadlessStory::SetUp() {
    const auto folder = newFolder("s");
    bus_ = std::make_unique<PrivateBus>(folder);
    keyring_ = std::make_unique<PrivateKeyring>(*bus_, folder / "keyring");
    environment = bus_->clientEnvironment();
    environment["PULSE_SERVER"] = sound_->address();
    home = newFolder("user");
}

void HeadlessStory::TearDown() {
    if (HasFailure() && tool_) {
        ADD_FAILURE() << tool_->output() << '\n' << tool_->debugLog();
    }
    tool_.reset();
    backend_->send("DELETE", "/dev/faults", "{}");
    if (!session_.empty()) {
        backend_->send("POST", "/dev/sessions/" + session_ + "/end", "{}");
    }
}

HeadlessProcess& HeadlessStory::start(std::vector<std::string> arguments) {
    tool_.reset();
    arguments.insert(arguments.begin(), {"--backend", backend_->url()});
    tool_ = std::make_unique<HeadlessProcess>(
        HeadlessProcess::Start{std::move(arguments), environment, home, launcher});
    return *tool_;
}

HeadlessProcess& HeadlessStory::startAndSignIn(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--email", DevBackend::email});
    start(std::move(arguments));
    tool_->process().write(std::string(DevBackend::password) + '\n');
    return *tool_;
}

void HeadlessStory::startSession() {
    session_ = backend_->startSession();
}

void HeadlessStory::signInOnce() {
    startAndSignIn();
    ASSERT_TRUE(tool_->waitFor("Device: "));
    ASSERT_EQ(endBySignal(SIGTERM), interrupted);
    ASSERT_EQ(keyring_->count(keyringService, "quorvane-access-token"), 1U);
}

void HeadlessStory::startStreaming(std::vector<std::string> arguments) {
    startSession();
    startAndSignIn(std::move(arguments));
    ASSERT_TRUE(tool_->waitFor("Microphone: capturing"));
    ASSERT_TRUE(awaitAudio());
}

bool HeadlessStory::awaitAudio(std::int64_t more) {
    const auto before = backend_->messageCount(session_);
    return waitUntil([&] { return backend_->messageCount(session_) > before + more; });
}

bool HeadlessStory::ended(const std::string& how) {
    return waitUntil([&] { return backend_->lastEnd(session_) == how; });
}

std::optional<int> HeadlessStory::endBySignal(int number) {
    tool_->process().signal(number);
    waitUntil([this] { return !tool_->process().isRunning(); }, std::chrono::seconds(2));
    return tool_->waitForExit(std::chrono::milliseconds(0));
}

void HeadlessStory::expectWholeRun() {
    ASSERT_NO_FATAL_FAILURE(startStreaming());
    tool_->process().write("stop\n");
    EXPECT_EQ(tool_->waitForExit(), success);
    EXPECT_TRUE(ended("client 1000")) << backend_->lastEnd(session_);
}

} // namespace tandrel::test
