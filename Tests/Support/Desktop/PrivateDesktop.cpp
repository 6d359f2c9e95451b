#include "Support/Desktop/PrivateDesktop.h"

#include "Support/WaitUntil.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace tandrel::test {

namespace {

std::filesystem::path newFolder() {
    static int count = 0;
    std::filesystem::path folder =
        std::filesystem::path(std::getenv("HOME")) / ("desk" + std::to_string(++count));
    std::filesystem::create_directories(folder / "bin");
    std::filesystem::create_directories(folder / "a11y");
    return folder;
}

} // namespace

PrivateDesktop::PrivateDesktop(Accessibility accessibility, Screen screen)
    : folder_(newFolder())
    , bus_(std::make_unique<PrivateBus>(folder_)) {
    if (accessibility == Accessibility::on) {
        accessibility_ = std::make_unique<AccessibilityBus>(*bus_, folder_ / "a11y");
    }
    writeBrowser();
    if (screen == Screen::x11) {
        startX11();
    } else {
        wayland_ = std::make_unique<WaylandDisplay>(folder_);
    }
    if (accessibility_) {
        accessibility_->awaitReady();
    }
}

void PrivateDesktop::startX11() {
    display_ = std::make_unique<VirtualDisplay>(folder_);
    windowManager_ =
        std::make_unique<ChildProcess>(std::vector<std::string>{"openbox", "--sm-disable"},
                                       clientEnvironment(), folder_ / "windows.log");
    input_ = std::make_unique<InputDevices>(*display_);
    if (!waitUntil([this] { return display_->hasRootProperty("_NET_SUPPORTING_WM_CHECK"); },
                   std::chrono::seconds(10))) {
        throw std::runtime_error("no window manager; see " + (folder_ / "windows.log").string());
    }
}

PrivateDesktop::~PrivateDesktop() = default;

EnvironmentChanges PrivateDesktop::clientEnvironment() const {
    EnvironmentChanges environment =
        wayland_ ? wayland_->clientEnvironment() : display_->clientEnvironment();
    environment.merge(bus_->clientEnvironment());
    const char* path = std::getenv("PATH");
    environment["PATH"] =
        (folder_ / "bin").string() + ':' + (path != nullptr ? path : "/usr/bin:/bin");
    environment["PULSE_SERVER"] = "unix:/nonexistent";
    // Nothing of the user's own desktop decides how the program looks or speaks.
    for (const char* name :
         {"AT_SPI_BUS_ADDRESS", "QT_STYLE_OVERRIDE", "QT_QPA_PLATFORMTHEME", "QT_SCALE_FACTOR",
          "QT_FONT_DPI", "QT_LOGGING_RULES", "XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "BROWSER",
          "DESKTOP_STARTUP_ID", "XDG_ACTIVATION_TOKEN", "SESSION_MANAGER"}) {
        environment[name] = "";
    }
    environment["LC_ALL"] = "C.UTF-8";
    return environment;
}

PrivateKeyring& PrivateDesktop::startKeyring(PrivateKeyring::Start start) {
    keyring_.reset();
    keyring_ = std::make_unique<PrivateKeyring>(*bus_, folder_ / "keyring", start);
    return *keyring_;
}

XEmbedTray& PrivateDesktop::startXEmbedTray() {
    stopTray();
    xEmbedTray_ = std::make_unique<XEmbedTray>(*display_, folder_);
    return *xEmbedTray_;
}

StatusNotifierTray& PrivateDesktop::startStatusNotifierTray(StatusNotifierTray::Start start) {
    stopTray();
    statusNotifierTray_ = std::make_unique<StatusNotifierTray>(*bus_, folder_, start);
    return *statusNotifierTray_;
}

void PrivateDesktop::stopKeyring() {
    keyring_.reset();
}

void PrivateDesktop::stopTray() {
    xEmbedTray_.reset();
    statusNotifierTray_.reset();
    bus_->awaitRelease("org.kde.StatusNotifierWatcher");
}

bool PrivateDesktop::saveScreenshot(const std::filesystem::path& file) const {
    return wayland_ ? wayland_->saveScreenshot(file) : display_->saveScreenshot(file);
}

void PrivateDesktop::writeBrowser() const {
    // What the desktop's own way of opening an address comes down to.
    const auto browser = folder_ / "bin/xdg-open";
    std::ofstream(browser) << "#!/bin/sh\nprintf '%s\\n' \"$1\" >>'"
                           << (folder_ / "opened").string() << "'\n";
    std::filesystem::permissions(browser, std::filesystem::perms::owner_all);
}

std::vector<std::string> PrivateDesktop::openedPages() const {
    std::vector<std::string> pages;
    std::ifstream file(folder_ / "opened");
    for (std::string line; std::getline(file, line);) {
        pages.push_back(line);
    }
    return pages;
}

void PrivateDesktop::forgetOpenedPages() {
    std::filesystem::remove(folder_ / "opened");
}

} // namespace tandrel::test
