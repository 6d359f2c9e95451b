#pragma once

#include "AppDelegate.h"
#include "ContentModule.h"
#include "Foundation/Handle.h"
#include "Platform/AppCommand.h"
#include "Platform/Desktop/DesktopUrlOpener.h"
#include "Platform/Desktop/PopoverToggle.h"
#include "Platform/Qt/QtClock.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Services/LoginStartService.h"

#include <QPoint>

#include <memory>
#include <optional>
#include <string>

class QDBusConnection;

namespace tandrel {

class AppContent;
class ColorSchemeFollower;
class KeyringWatch;
class ManagerSelections;
class PopoverWindow;
class ScreenWatch;
class StatusItem;
struct PopoverSituation;

/// The program: puts the status item, the popover, the URL commands and the services together. The
/// services and the popover's widgets are made when it first opens, so that the icon is there soon
/// and costs little until it is used. Main thread.
class TandrelStatusBarApp {
public:
    /// What a build is made for. Origins have no trailing slash.
    struct Addresses {
        std::string backendBaseURL;
        std::string webAppBaseURL;
        std::string siteBaseURL;
        /// Of the updates; empty when they come from the package manager.
        std::string updateFeedURL;
        /// Their makers' key: 32 bytes in base 64.
        std::string updatePublicKey;
    };

    /// Who started the program: somebody who expects to see it, or the desktop at login, which
    /// shows no window by itself.
    enum class Start { byUser, inBackground };

    /// `sessionBus` must outlive the program's object.
    TandrelStatusBarApp(Addresses addresses, Start start, const QDBusConnection& sessionBus);
    TandrelStatusBarApp(const TandrelStatusBarApp&) = delete;
    TandrelStatusBarApp& operator=(const TandrelStatusBarApp&) = delete;
    ~TandrelStatusBarApp();

    /// Carries out a command; `activationToken` may be empty.
    void perform(const AppCommand& command, const std::string& activationToken);

    /// Takes the program off the screen, stops everything, and waits (at most 2 s) until it is
    /// closed and stored. Nothing else may be called afterwards.
    void shutDown();

private:
    /// Its only work is to be the first thing that is made.
    struct InitLine {
        InitLine();
    };

    void createStatusItem(Start start, const QDBusConnection& sessionBus);
    /// Whether there is a popover now.
    bool createContent();
    void observeKeyring();
    void clicked();
    void openPopover();
    void activate();
    [[nodiscard]] bool hasCompositor() const;
    [[nodiscard]] PopoverSituation situation() const;

    InitLine initLine_;
    Addresses addresses_;
    const QDBusConnection& sessionBus_;
    QtClock clock_;
    AppDelegate delegate_;
    DesktopUrlOpener urlOpener_;
    QtMainQueue mainQueue_;
    LoginStartService loginStart_;
    std::unique_ptr<ManagerSelections> selections_;
    std::unique_ptr<StatusItem> statusItem_;
    std::unique_ptr<KeyringWatch> keyring_;
    Handle trayLimit_;
    PopoverToggle toggle_;
    /// Where the status item was last clicked, in place of the item's own place.
    std::optional<QPoint> lastClick_;
    ContentModule contentModule_;
    Handle loading_;
    // In this order: the popover's card shows what the content holds.
    std::unique_ptr<AppContent> content_;
    std::unique_ptr<ColorSchemeFollower> colors_;
    std::unique_ptr<PopoverWindow> popover_;
    std::unique_ptr<ScreenWatch> screens_;
};

} // namespace tandrel
