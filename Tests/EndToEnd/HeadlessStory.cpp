#include "EndToEnd/HeadlessStory.h"

#include "Support/ProcessFootprint.h"
#include "Support/WaitUntil.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <system_error>
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
    std::filesystem::path folder =
        std::filesystem::path(std::getenv("HOME")) / (name + std::to_string(++count));
    std::filesystem::create_directories(folder);
    return folder;
}

/// All but folders, by their paths within `folder`, sorted.
std::vector<std::string> filesBelow(const std::filesystem::path& folder) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_directory()) {
            files.push_back(entry.path().lexically_relative(folder).string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

void HeadlessStory::SetUpTestSuite() {
    adoptOrphans();
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
    runtimeFolder_ = folder / "run";
    temporaryFolder_ = folder / "tmp";
    for (const auto& [variable, place] :
         {std::pair("XDG_RUNTIME_DIR", runtimeFolder_), {"TMPDIR", temporaryFolder_}}) {
        std::filesystem::create_directory(place);
        std::filesystem::permissions(place, std::filesystem::perms::owner_all);
        environment[variable] = place.string();
    }
    home = newFolder("user");
    childrenBefore_ = childrenOfThisProcess();
}

void HeadlessStory::TearDown() {
    if (HasFailure() && tool_) {
        ADD_FAILURE() << tool_->output() << '\n' << tool_->debugLog();
    }
    if (tool_) {
        endBySignal(SIGTERM);
    }
    tool_.reset();
    backend_->send("DELETE", "/dev/faults", "{}");
    if (!session_.empty()) {
        backend_->send("POST", "/dev/sessions/" + session_ + "/end", "{}");
    }
    expectNothingLeft();
}

void HeadlessStory::expectNothingLeft() const {
    EXPECT_TRUE(waitUntil([] { return sound_->recordingIndexes().empty(); })) << "it records";
    EXPECT_THAT(childrenOfThisProcess(), testing::IsSubsetOf(childrenBefore_));
    // With what libpulse and GSettings make for all programs of a user.
    EXPECT_THAT(filesBelow(home),
                testing::IsSubsetOf({".config/Quorvane/Tandrel.conf", ".config/pulse/cookie",
                                     ".cache/dconf/user",
                                     ".local/state/quorvane-tandrel/tandrel-debug.log"}));
    EXPECT_THAT(filesBelow(runtimeFolder_), testing::IsSubsetOf({"dconf/user"}));
    EXPECT_THAT(filesBelow(temporaryFolder_), testing::IsEmpty());
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

bool HeadlessStory::isSignInKept() {
    std::error_code missing;
    const auto bytes = std::filesystem::file_size(settingsFolder() / "Tandrel.conf", missing);
    return !missing && bytes > 0 && std::ranges::all_of(accounts, [this](const char* account) {
        return keyring_->count(keyringService, account) == 1;
    });
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
