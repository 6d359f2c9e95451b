#pragma once

#include <QMargins>

#include <functional>
#include <memory>
#include <string>

class QWidget;

namespace tandrel {

class AppState;
class Clock;
class UrlOpener;

/// What the popover shows and the services behind it, as the status item's part of the program sees
/// them: it lives in a library of its own, which is loaded once the icon is there. Main thread.
class AppContent {
public:
    struct Request {
        /// Origins, without a trailing slash.
        std::string backendBaseURL;
        std::string webAppBaseURL;
        std::string siteBaseURL;
        // All of these outlive the content.
        AppState& appState;
        Clock& clock;
        UrlOpener& urlOpener;
        std::function<void()> checkForUpdates;
        std::function<void()> quit;
    };

    /// For the status item.
    struct Status {
        std::string text;
        bool isMicrophoneOpen = false;
    };

    AppContent() = default;
    AppContent(const AppContent&) = delete;
    AppContent& operator=(const AppContent&) = delete;
    virtual ~AppContent() = default;

    /// The popover's content, which the caller takes over; to be asked once.
    [[nodiscard]] virtual QWidget* makeCard() = 0;
    /// Draws the card with a shadow or without; how wide the shadow is.
    virtual QMargins setShadowVisible(bool isVisible) = 0;
    /// Called after every change.
    virtual void setOnStatus(std::function<void(const Status&)> handler) = 0;

    /// Whether there is a keyring to be had, as far as the session bus knows.
    virtual void keyringChanged(bool isThere) = 0;
    /// A keyring came, or came back.
    virtual void keyringAppeared() = 0;

    /// Stops everything, and waits (at most 1.7 s) until it is closed and stored.
    virtual void shutDown() = 0;
};

/// The library's one entry, under the name below: makes the content.
using MakeAppContent = AppContent* (*)(const AppContent::Request& request);
inline constexpr const char* makeAppContentName = "tandrelMakeAppContent";

} // namespace tandrel
