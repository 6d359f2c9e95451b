#pragma once

#include "Services/AuthService.h"
#include "Services/SessionService.h"
#include "Services/WebSocketService.h"
#include "Support/LogCapture.h"
#include "Support/StreamingFixture.h"
#include "Views/StreamingController.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// A stream's controller with the real services of a signed-in user around it; what lies outside is
/// the test's.
class StreamingControllerFixture : public testing::Test {
protected:
    [[nodiscard]] SessionState::Kind kind() const { return session.state.value().kind(); }
    [[nodiscard]] std::optional<std::string> error() const { return session.error.value(); }
    [[nodiscard]] bool capturing() const { return outside.audioService.isCapturing.value(); }
    [[nodiscard]] double duration() const { return controller->streamingDuration.value(); }
    /// The controller's own log lines.
    [[nodiscard]] std::vector<std::string> lines() const {
        auto all = log.lines();
        std::erase_if(all, [](const std::string& line) {
            return !line.starts_with("[Streaming]") && !line.starts_with("[AutoStart]") &&
                   !line.starts_with("[PopoverView]");
        });
        return all;
    }
    void findSession() { session.state.set(SessionState::sessionFound(found)); }

    // The start sequence, step by step.
    void start() {
        findSession();
        controller->startStreaming(found);
        outside.turn();
    }
    void startAndOpen() {
        start();
        outside.connection().answerPing();
        outside.clock().advance(std::chrono::milliseconds(100));
    }
    void startWhole() {
        startAndOpen();
        ASSERT_EQ(outside.permission.answer(true), 1);
        ASSERT_TRUE(capturing());
    }
    void expectStopped() const {
        EXPECT_FALSE(capturing());
        EXPECT_EQ(ws->state.value(), ConnectionState::disconnected());
        EXPECT_EQ(duration(), 0.0);
    }
    /// Gives every chance to whatever might still be pending.
    void waitLong() {
        for (int step = 0; step < 20; ++step) {
            outside.clock().advance(std::chrono::seconds(1));
            outside.mainQueue.drain();
            outside.permission.answer(true);
        }
    }
    [[nodiscard]] int engineStarts() const {
        int count = 0;
        for (const std::string& call : outside.audioInput.calls()) {
            count += call.ends_with(".start") ? 1 : 0;
        }
        return count;
    }

    const TandrelSessionResponse found{"s1", "stream-token", "i1"};
    StreamingFixture outside;
    LogCapture log;
    AuthService auth{outside.backend.apiClient, outside.backend.keychain,
                     outside.backend.userDefaults};
    SessionService session{outside.backend.apiClient, outside.backend.keychain,
                           outside.backend.clock};
    std::shared_ptr<WebSocketService> ws = std::make_shared<WebSocketService>(
        outside.backend.apiClient, outside.backend.streamSocket, outside.backend.clock);
    std::unique_ptr<StreamingController> controller = std::make_unique<StreamingController>(
        auth, session, outside.audioService, ws, outside.appState, outside.backend.clock);
};

} // namespace tandrel::test
