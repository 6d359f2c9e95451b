#include "EndToEnd/AppStory.h"
#include "Support/Desktop/SettingsPortal.h"
#include "Support/PrivateSoundServer.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::seconds;

/// The app on Wayland, where programs neither place their windows nor see the pointer. Used as
/// assistive technology uses it: this compositor has no keyboard.
class AppWayland : public AppStory {
protected:
    static void SetUpTestSuite() {
        setUpOn(PrivateDesktop::Screen::wayland);
        sound = std::make_unique<PrivateSoundServer>(PrivateSoundServer::Kind::pulseAudio);
        feeder = std::make_unique<VirtualMicrophoneFeeder>(
            *sound, sound->addMicrophone("studio", "Studio Microphone", 48000, 1),
            std::vector<float>(std::size_t{48000} * 60, 0.1F));
    }
    static void TearDownTestSuite() {
        feeder.reset();
        sound.reset();
        AppStory::TearDownTestSuite();
    }
    void SetUp() override {
        AppStory::SetUp();
        environment["PULSE_SERVER"] = sound->address();
    }

    /// How much of the screen is bright, 0 to 1.
    double brightPart() {
        const auto picture = app().home() / "screen.png";
        EXPECT_TRUE(desktop().saveScreenshot(picture));
        const auto mean = ChildProcess::run({"convert", picture.string(), "-colorspace", "gray",
                                             "-threshold", "85%", "-format", "%[fx:mean]", "info:"},
                                            {});
        return std::stod(mean.text);
    }

    static inline std::unique_ptr<PrivateSoundServer> sound;
    static inline std::unique_ptr<VirtualMicrophoneFeeder> feeder;
};

TEST_F(AppWayland, WithoutATrayAWindowOpensStreamsStopsAndQuits) {
    startSession();
    start();
    interface().await(role::button, "Sign In");
    interface().setText(role::field, "Email", DevBackend::email);
    interface().setText(role::password, "Password", DevBackend::password);
    interface().press(role::button, "Sign In");
    interface().press(role::button, "Start Streaming");
    interface().await(role::button, "Stop");
    ASSERT_TRUE(waitUntil([&] { return backend().messageCount(session()) > 60; }));
    EXPECT_TRUE(desktop().saveScreenshot(app().home() / "streaming.png"));
    interface().press(role::button, "Stop");
    EXPECT_TRUE(waitUntil([&] { return backend().lastEnd(session()) == "client 1000"; }));
    interface().press(role::button, "Quit");
    EXPECT_EQ(app().waitForExit(seconds(5)), 0);
}

TEST_F(AppWayland, AWindowFollowsADarkDesktopWithItsFrame) {
    SettingsPortal portal(desktop().bus().address(), SettingsPortal::dark);
    start();
    interface().await(role::button, "Sign In");
    // A frame that stayed light would be 0.02 of the screen; all texts are 0.001.
    EXPECT_TRUE(waitUntil([&] { return brightPart() < 0.01; }));
    portal.set(SettingsPortal::light);
    EXPECT_TRUE(waitUntil([&] { return brightPart() > 0.1; }));
    portal.set(SettingsPortal::dark);
    EXPECT_TRUE(waitUntil([&] { return brightPart() < 0.01; }));
}

TEST_F(AppWayland, AnIconInAPanelOpensAndClosesThePopover) {
    startWithPopover();
    interface().await(role::button, "Sign In");
    pause();
    clickTrayIcon();
    EXPECT_TRUE(interface().awaitGone(role::button, "Sign In"));
    pause();
    clickTrayIcon();
    interface().await(role::button, "Sign In");
}

} // namespace
} // namespace tandrel::test
