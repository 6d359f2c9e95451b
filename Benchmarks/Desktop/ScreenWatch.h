#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct xcb_connection_t;

namespace tandrel::bench {

/// Watches an X screen for windows that come and go. Any one thread.
class ScreenWatch {
public:
    /// Throws std::runtime_error when `display` cannot be reached.
    explicit ScreenWatch(const std::string& display);

    /// Forgets what has happened so far.
    void forget();
    /// Waits until a window at least 200 pixels wide has come and shows something else in its
    /// middle than the bare screen; whether that came.
    bool awaitPaintedWindow(std::chrono::milliseconds limit);
    /// Waits until the window of the last `awaitPaintedWindow()` has gone; whether it went.
    bool awaitGone(std::chrono::milliseconds limit);

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };

    void remember(std::uint32_t window);
    [[nodiscard]] std::optional<std::uint32_t> colourAt(int x, int y) const;
    /// Waits for the next event, at most until `end`; false when none came.
    bool awaitEvent(std::chrono::steady_clock::time_point end) const;
    bool nextMapped(std::chrono::steady_clock::time_point end);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    std::uint32_t root_ = 0;
    std::uint32_t window_ = 0;
    int middleX_ = 0;
    int middleY_ = 0;
    std::optional<std::uint32_t> bareColour_;
};

} // namespace tandrel::bench
