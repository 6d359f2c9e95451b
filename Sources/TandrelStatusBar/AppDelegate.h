#pragma once

#include "Foundation/Handle.h"
#include "Platform/Clock.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tandrel {

class AppState;

/// Carries out the commands that come from outside: the URLs of the scheme "quorvane-tandrel", and
/// the same commands by other ways. Main thread.
class AppDelegate {
public:
    /// What the delegate does to the desktop.
    struct Desktop {
        /// Brings the program to the front, before others.
        std::function<void()> activate;
        /// Whether there is something that opens the popover.
        std::function<bool()> hasStatusBarButton;
        /// Opens the popover, as a click on the status item does, but leaves an open one open.
        std::function<void()> clickStatusBarButton;
    };

    /// Between a start command and the click.
    static constexpr Clock::Duration clickDelay = std::chrono::milliseconds(100);
    /// URLs handled at a time, so that a flood leaves the program responsive.
    static constexpr std::size_t urlsPerTurn = 50;

    /// State and clock must outlive the delegate.
    AppDelegate(AppState& appState, Clock& clock, Desktop desktop);

    /// Handles the URLs in their order, after those that wait. Those of other schemes are ignored.
    void open(const std::vector<std::string>& urls);
    /// Asks for streaming to start when there is a session, and opens the popover.
    void start();
    /// Asks for streaming to stop.
    void stop();

private:
    void handleSome();
    void handle(const std::string& url);
    void clickStatusBarButton();

    AppState& appState_;
    Clock& clock_;
    Desktop desktop_;
    std::deque<std::string> waiting_;
    std::size_t handledThisTurn_ = 0;
    Handle nextTurn_;
    Handle click_;
};

} // namespace tandrel
