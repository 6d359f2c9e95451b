#include "Support/PrivateSoundServer.h"

#include "Support/BothSoundServers.h"
#include "Support/FileText.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tandrel::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// Whether a process with `text` in its environment or command line runs.
bool isMentionedByAProcess(const std::string& text) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        if (entry.path().filename().string().find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        for (const char* name : {"environ", "cmdline"}) {
            const std::string content = textOf(entry.path() / name);
            if (content.find(text) != std::string::npos) {
                return true;
            }
        }
    }
    return false;
}

class PrivateSoundServerTest : public testing::TestWithParam<PrivateSoundServer::Kind> {};

TEST_P(PrivateSoundServerTest, IsTheKindThatWasAskedFor) {
    const PrivateSoundServer server(GetParam());
    const std::string info = server.control({"info"});
    if (GetParam() == PrivateSoundServer::Kind::pulseAudio) {
        EXPECT_THAT(info, HasSubstr("Server Name: pulseaudio"));
    } else {
        EXPECT_THAT(info, HasSubstr("on PipeWire 0.3"));
    }
}

TEST_P(PrivateSoundServerTest, HasNoMicrophoneUntilOneIsAdded) {
    PrivateSoundServer server(GetParam());
    EXPECT_THAT(server.control({"list", "short", "sources"}), Not(HasSubstr("desk")));

    const VirtualMicrophone microphone = server.addMicrophone("desk", "Desk Mic", 48000, 2);
    const std::string sources = server.control({"list", "sources"});
    EXPECT_THAT(sources, HasSubstr("Name: desk\n"));
    EXPECT_THAT(sources, HasSubstr("Description: Desk Mic\n"));

    server.unplug(microphone);
    EXPECT_TRUE(waitUntil([&server] {
        return server.control({"list", "sources"}).find("Name: desk\n") == std::string::npos;
    }));
}

TEST_P(PrivateSoundServerTest, SaysWhenItRefuses) {
    PrivateSoundServer server(GetParam());
    EXPECT_THROW(server.loadModule("module-of-no-such-name", {}), std::runtime_error);
}

TEST_P(PrivateSoundServerTest, ComesBackEmptyAtTheSameAddress) {
    PrivateSoundServer server(GetParam());
    server.addMicrophone("desk", "Desk", 48000, 1);
    const std::string address = server.address();
    server.kill();
    EXPECT_THROW((void)server.control({"info"}), std::runtime_error);
    server.restart();
    EXPECT_EQ(server.address(), address);
    EXPECT_THAT(server.control({"list", "short", "sources"}), Not(HasSubstr("desk")));
}

TEST_P(PrivateSoundServerTest, LeavesNothingBehind) {
    std::filesystem::path folder;
    {
        PrivateSoundServer server(GetParam());
        folder = server.folder();
        server.addMicrophone("desk", "Desk", 48000, 1);
        EXPECT_TRUE(isMentionedByAProcess(folder.string()));
        server.freeze();
    }
    EXPECT_FALSE(isMentionedByAProcess(folder.string()));
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_P(PrivateSoundServerTest, EndsWhenTheTestProgramIsKilled) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t program = fork();
    if (program == 0) {
        const PrivateSoundServer server(GetParam());
        const std::string folder = server.folder().string();
        if (write(ends[1], folder.data(), folder.size()) < 0) {
            _exit(1);
        }
        pause();
    }
    char buffer[100];
    const ssize_t length = read(ends[0], buffer, sizeof buffer);
    ASSERT_GT(length, 0);
    const std::string folder(buffer, static_cast<std::size_t>(length));
    ::kill(program, SIGKILL);
    waitpid(program, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    EXPECT_TRUE(waitUntil([&folder] { return !isMentionedByAProcess(folder); }));
    std::filesystem::remove_all(folder);
}

TEST_P(PrivateSoundServerTest, MicrophoneHearsWhatIsPlayedIntoIt) {
    PrivateSoundServer server(GetParam());
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    const std::filesystem::path recorded = server.folder() / "recorded.raw";
    const ChildProcess recorder({"parecord", "--raw", "--device=desk", "--format=float32le",
                                 "--rate=48000", "--channels=1", "--latency-msec=50",
                                 recorded.string()},
                                server.clientEnvironment(), server.folder() / "recorder.log");
    ASSERT_TRUE(waitUntil([&recorded] {
        std::error_code absent;
        return std::filesystem::file_size(recorded, absent) > 0 && !absent;
    }));
    std::vector<float> spoken;
    for (int index = 1; index <= 4800; ++index) {
        spoken.push_back(static_cast<float>(index) / 65536.0F);
    }
    VirtualMicrophoneFeeder feeder(server, microphone, spoken);
    const auto heard = [&recorded] {
        const std::string bytes = textOf(recorded);
        return bytes;
    };
    const std::string expected(reinterpret_cast<const char*>(spoken.data()),
                               spoken.size() * sizeof(float));
    EXPECT_TRUE(waitUntil([&] { return heard().find(expected) != std::string::npos; }));
}

INSTANTIATE_TEST_SUITE_P(Servers, PrivateSoundServerTest, bothSoundServers, soundServerTestName);

} // namespace
} // namespace tandrel::test
