#pragma once

#include "Support/FakeUrlOpener.h"
#include "Support/StreamingFixture.h"
#include "Views/MenuBarContentController.h"
#include "Views/ViewEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

namespace tandrel::test {

/// All that the views need: the services of one user, a browser, and counters for what leaves the
/// views.
struct ContentFixture : testing::Test {
    ContentFixture() { testing::internal::CaptureStdout(); } // the services' lines
    ~ContentFixture() override {
        const std::string printed = testing::internal::GetCapturedStdout();
        if (HasFailure()) { // which was printed, too
            std::fputs(printed.c_str(), stdout);
        }
    }

    void signIn(const std::string& email = "ada@example.org") {
        login = auth().login(email, "password");
        outside.backend.transport.answer(
            200, R"({"access_token":"access","refresh_token":"refresh","user":{"id":"u1",)"
                 R"("email":")" +
                     email + R"(","account_id":"a1"}})");
        outside.turn();
    }
    /// A session that the poller found.
    void findSession(const std::string& interviewId = "i1") {
        session().state.set(SessionState::sessionFound({"s1", "stream-token", interviewId}));
    }
    /// Starts the found session and brings it as far as captured sound.
    void bringUpStream() {
        outside.turn();
        outside.connection().answerPing();
        outside.clock().advance(std::chrono::milliseconds(100));
        outside.permission.answer(true);
    }

    [[nodiscard]] AuthService& auth() { return controller.authService(); }
    [[nodiscard]] SessionService& session() { return controller.sessionService(); }
    [[nodiscard]] AudioCaptureService& audio() { return controller.audioService(); }

    StreamingFixture outside;
    FakeUrlOpener browser;
    int updateChecks = 0;
    int quits = 0;
    ViewEnvironment environment{"https://app.test",         "https://www.test", "1.2.3", browser,
                                [this] { ++updateChecks; }, [this] { ++quits; }};
    MenuBarContentController controller{{outside.backend.apiClient, outside.audioService,
                                         outside.backend.keychain, outside.backend.userDefaults,
                                         outside.backend.streamSocket, outside.appState,
                                         outside.backend.clock}};
    Handle login;
};

} // namespace tandrel::test
