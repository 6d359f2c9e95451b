#pragma once

#include "EndToEnd/AppProcess.h"
#include "Support/Desktop/PrivateDesktop.h"
#include "Support/DevBackend.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {

/// A story of the app on a desktop: the desktop and the backend serve all stories of a program, the
/// app is started anew for each. A story fails on any output that nobody expects; a failed one
/// leaves a screenshot, what the interface showed, log and output in the build's folder
/// `test-failures`.
class AppStory : public testing::Test {
protected:
    static void SetUpTestSuite();
    /// What SetUpTestSuite does, on a screen of another kind.
    static void setUpOn(PrivateDesktop::Screen screen);
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    [[nodiscard]] static PrivateDesktop& desktop() { return *desktop_; }
    [[nodiscard]] static DevBackend& backend() { return *backend_; }

    /// Starts the app against the backend. An earlier one must have ended, or the new one only
    /// hands its commands over.
    AppProcess& start(const std::vector<std::string>& arguments = {},
                      const std::filesystem::path& home = {});
    AppProcess& start(AppProcess::Start start);
    /// Runs the app's command as a second start does: to its end.
    [[nodiscard]] int startAgain(const std::vector<std::string>& arguments = {});

    [[nodiscard]] AppProcess& app() { return *app_; }
    [[nodiscard]] AccessibleApp& interface() { return app_->interface(); }
    [[nodiscard]] static const InputDevices& input() { return desktop_->input(); }

    /// What a person needs between two clicks that are no double click: the app takes clicks on the
    /// icon that follow each other faster as one, and a window that loses the focus as soon as it
    /// has opened for one that the desktop is still busy with.
    static void pause();
    /// Clicks the icon in a panel of today's kind, which must run.
    void clickTrayIcon();
    /// What the icon's tooltip says in that panel.
    [[nodiscard]] std::string toolTip();
    /// Starts the app on a panel of today's kind and clicks its icon, whatever takes the focus from
    /// the popover then.
    AppProcess& startAndClick(const std::filesystem::path& home = {});
    /// Starts the app with its popover open, on a panel of today's kind.
    AppProcess& startWithPopover(const std::filesystem::path& home = {});
    /// Clicks the middle of an element that shows, with the mouse; never as the second half of a
    /// double click.
    void click(const std::string& role, const std::string& name);
    /// Puts `text` into a field with mouse and keyboard.
    void fill(const std::string& role, const std::string& name, const std::string& text);
    /// Signs in by mouse and keyboard, and waits for the panel.
    void signIn();
    /// Starts a session, to be found at the next look; ended with the story.
    const std::string& startSession();
    [[nodiscard]] const std::string& session() const { return session_; }

    /// Asks the app's main thread a small question every few milliseconds for `duration`; whether
    /// nothing held it up, which at half a second without an answer something does. Prints the
    /// median and the slowest.
    [[nodiscard]] bool answersFor(std::chrono::milliseconds duration);

    /// Sends the app so many bus messages with a hundred command URLs each, starts and stops in
    /// turn, without waiting for any answer.
    static void flood(int deliveries);
    static constexpr int commandsOfADelivery = 100;
    /// How many commands the app says it has received.
    [[nodiscard]] int commandCount() const;

    /// Ends the app as a story usually does, and expects it to go cleanly.
    void endApp();
    /// Lines that contain `part` may be printed.
    void expectOutput(const std::string& part) { expectedOutput_.push_back(part); }
    /// Environment on top of the desktop's, for all starts.
    EnvironmentChanges environment;

private:
    struct Click {
        int x = 0;
        int y = 0;
        std::chrono::steady_clock::time_point time;
    };

    void clickOnce(int x, int y);
    void checkOutput();
    void keepTraces();

    static std::unique_ptr<PrivateDesktop> desktop_;
    static std::unique_ptr<DevBackend> backend_;
    std::unique_ptr<AppProcess> app_;
    StatusNotifierTray* tray_ = nullptr;
    std::string session_;
    Click lastClick_;
    std::vector<std::string> expectedOutput_;
};

/// The roles in which the controls appear.
namespace role {
inline constexpr const char* button = "push button";
inline constexpr const char* field = "text";
inline constexpr const char* password = "password text";
inline constexpr const char* label = "label";
inline constexpr const char* notification = "notification";
inline constexpr const char* picker = "combo box";
} // namespace role

} // namespace tandrel::test
