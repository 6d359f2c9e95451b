#pragma once

#include "Support/ChildProcess.h"
#include "Support/Desktop/AccessibilityBus.h"
#include "Support/Desktop/InputDevices.h"
#include "Support/Desktop/StatusNotifierTray.h"
#include "Support/Desktop/VirtualDisplay.h"
#include "Support/Desktop/WaylandDisplay.h"
#include "Support/Desktop/XEmbedTray.h"
#include "Support/PrivateBus.h"
#include "Support/PrivateKeyring.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {

/// A desktop session of the test's own: a screen that nobody sees, a window manager, a session bus
/// with assistive technology on it, a browser that only notes what it is asked to open; and on
/// demand a keyring and a panel of either kind. It shares nothing with the user's session, and ends
/// with this object.
class PrivateDesktop {
public:
    /// Whether programs are told that somebody uses assistive technology, which has a price.
    enum class Accessibility { on, off };
    /// The window system. On Wayland there is neither keyboard nor pointer.
    enum class Screen { x11, wayland };

    /// Starts screen, window manager and buses.
    explicit PrivateDesktop(Accessibility accessibility = Accessibility::on,
                            Screen screen = Screen::x11);
    ~PrivateDesktop();
    PrivateDesktop(const PrivateDesktop&) = delete;
    PrivateDesktop& operator=(const PrivateDesktop&) = delete;

    /// The variables that lead a program into this session, and to no sound server.
    [[nodiscard]] EnvironmentChanges clientEnvironment() const;

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    /// Only on X11.
    [[nodiscard]] const VirtualDisplay& display() const { return *display_; }
    [[nodiscard]] const InputDevices& input() const { return *input_; }
    [[nodiscard]] const PrivateBus& bus() const { return *bus_; }
    /// Only where accessibility is on.
    [[nodiscard]] const AccessibilityBus& accessibility() const { return *accessibility_; }

    /// Each starts its part, or starts it anew.
    PrivateKeyring& startKeyring(PrivateKeyring::Start start = PrivateKeyring::Start::unlocked);
    XEmbedTray& startXEmbedTray();
    StatusNotifierTray&
    startStatusNotifierTray(StatusNotifierTray::Start start = StatusNotifierTray::Start::complete);
    void stopKeyring();
    /// Ends the panel, of whichever kind.
    void stopTray();

    /// Saves the whole screen as a PNG file; whether that worked.
    bool saveScreenshot(const std::filesystem::path& file) const;

    /// The addresses that the browser was asked to open, in order.
    [[nodiscard]] std::vector<std::string> openedPages() const;
    void forgetOpenedPages();

private:
    void startX11();
    void writeBrowser() const;

    std::filesystem::path folder_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<AccessibilityBus> accessibility_;
    std::unique_ptr<WaylandDisplay> wayland_;
    std::unique_ptr<VirtualDisplay> display_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<InputDevices> input_;
    std::unique_ptr<PrivateKeyring> keyring_;
    std::unique_ptr<XEmbedTray> xEmbedTray_;
    std::unique_ptr<StatusNotifierTray> statusNotifierTray_;
};

} // namespace tandrel::test
