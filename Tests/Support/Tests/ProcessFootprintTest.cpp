#include "Support/ProcessFootprint.h"

#include "Support/ChildProcess.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <array>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tandrel::test {
namespace {

TEST(ProcessFootprint, IsTheSameWhileNothingChanges) {
    const auto before = ProcessFootprint::ofThisProcess();
    EXPECT_EQ(ProcessFootprint::ofThisProcess().differenceFrom(before), "");
    EXPECT_FALSE(before.descriptors.empty());
    EXPECT_FALSE(before.threads.empty());
}

TEST(ProcessFootprint, TellsADescriptorThatCameAndOneThatWent) {
    const int first = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    const auto before = ProcessFootprint::ofThisProcess();
    std::array<int, 2> pair{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()), 0);
    close(first);
    EXPECT_EQ(ProcessFootprint::ofThisProcess().differenceFrom(before),
              "+socket +socket -/dev/zero");
    close(pair[0]);
    close(pair[1]);
}

TEST(ProcessFootprint, TellsATcpSocketFromOthersAndLeavesOneOut) {
    const auto before = ProcessFootprint::ofThisProcess();
    std::array<int, 2> listening{};
    for (int& descriptor : listening) {
        descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(listen(descriptor, 1), 0);
    }
    const auto now = ProcessFootprint::ofThisProcess();
    EXPECT_EQ(now.differenceFrom(before), "+TCP socket +TCP socket");
    EXPECT_EQ(now.without(ProcessFootprint::tcpSocket).differenceFrom(before), "+TCP socket");
    EXPECT_EQ(before.without(ProcessFootprint::tcpSocket).differenceFrom(before), "");
    for (const int descriptor : listening) {
        close(descriptor);
    }
}

TEST(ProcessFootprint, TellsAThreadThatIsLeft) {
    const auto before = ProcessFootprint::ofThisProcess();
    std::mutex mutex;
    std::condition_variable changed;
    bool isNamed = false;
    bool mayEnd = false;
    std::thread thread([&] {
        std::unique_lock lock(mutex);
        pthread_setname_np(pthread_self(), "left behind");
        isNamed = true;
        changed.notify_all();
        changed.wait(lock, [&] { return mayEnd; });
    });
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return isNamed; });
    }
    EXPECT_EQ(ProcessFootprint::ofThisProcess().differenceFrom(before), "+left behind");
    {
        const std::lock_guard lock(mutex);
        mayEnd = true;
    }
    changed.notify_all();
    thread.join();
    EXPECT_EQ(ProcessFootprint::ofThisProcess().differenceFrom(before), "");
}

TEST(ProcessFootprint, CountsMemoryThatIsUsed) {
    constexpr std::size_t size = 32'000'000;
    const std::size_t before = ProcessFootprint::ofThisProcess().anonymousBytes;
    const std::vector<char> memory(size, 'x');
    EXPECT_GE(ProcessFootprint::ofThisProcess().anonymousBytes, before + size * 9 / 10);
    EXPECT_EQ(memory.back(), 'x');
}

TEST(ProcessFootprint, OfNoProcessIsEmpty) {
    const auto none = ProcessFootprint::of(-1);
    EXPECT_TRUE(none.descriptors.empty());
    EXPECT_TRUE(none.threads.empty());
    EXPECT_EQ(none.anonymousBytes, 0U);
}

TEST(ChildrenOfThisProcess, AreWhatItHasStartedAndWhatAChildHasLeftBehind) {
    adoptOrphans();
    ASSERT_THAT(childrenOfThisProcess(), testing::IsEmpty());
    {
        // The shell starts it and ends.
        const auto output = ChildProcess::run({"sh", "-c", "sleep 60 >/dev/null & echo $!"}, {});
        EXPECT_TRUE(
            waitUntil([] { return childrenOfThisProcess() == std::vector<std::string>{"sleep"}; }));
        const pid_t orphan = std::stoi(output.text);
        kill(orphan, SIGKILL);
        waitpid(orphan, nullptr, 0);
    }
    EXPECT_THAT(childrenOfThisProcess(), testing::IsEmpty());
}

} // namespace
} // namespace tandrel::test
