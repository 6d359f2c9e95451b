#include "Services/WebSocketService.h"
#include "Support/TestBackend.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

/// A buffer that carries its own number.
Bytes numbered(std::uint32_t number) {
    Bytes bytes(sizeof number);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<std::uint8_t>(number >> (8 * index));
    }
    return bytes;
}

std::uint32_t numberOf(const Bytes& bytes) {
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        number |= std::uint32_t{bytes[index]} << (8 * index);
    }
    return number;
}

TEST(WebSocketServiceThreads, TheTapSendsWhileTheMainThreadConnectsLosesAndDisconnects) {
    test::TestBackend backend;
    WebSocketService service(backend.apiClient, backend.streamSocket, backend.clock);
    std::atomic<bool> stop = false;
    std::atomic<std::uint32_t> offered = 0;
    std::thread tap([&] {
        while (!stop) {
            service.sendAudioData(numbered(offered));
            ++offered;
            std::this_thread::yield();
        }
    });
    const auto waitForSends = [&offered] {
        const std::uint32_t start = offered;
        while (offered < start + 3) {
            std::this_thread::yield();
        }
    };
    constexpr int rounds = 100;
    for (int round = 0; round < rounds; ++round) {
        service.connect("token");
        waitForSends();
        backend.streamSocket.latest().answerPing();
        waitForSends();
        if (round % 3 == 0) {
            backend.streamSocket.latest().lose({104, "reset"});
            waitForSends();
        }
        if (round % 2 == 0) {
            service.disconnect();
        }
    }
    stop = true;
    tap.join();

    std::vector<std::uint32_t> received;
    for (const auto& connection : backend.streamSocket.connections()) {
        for (const Bytes& message : connection->sent()) {
            received.push_back(numberOf(message));
        }
    }
    EXPECT_GE(received.size(), std::size_t{rounds}) << "each connection carried some";
    for (std::size_t index = 1; index < received.size(); ++index) {
        ASSERT_LT(received[index - 1], received[index]) << "repeated or out of order";
    }
}

} // namespace
} // namespace tandrel
