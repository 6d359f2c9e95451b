#include "Platform/Desktop/ColorSchemeFollower.h"

#include "Platform/Desktop/DarkColors.h"
#include "Support/Desktop/SettingsPortal.h"
#include "Support/PrivateBus.h"
#include "Support/Qt/EventLoop.h"
#include "Support/Widgets/Palettes.h"
#include "Views/Controls/Theme.h"

#include <QApplication>
#include <QStyle>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

namespace tandrel {
namespace {

using test::BusConnection;
using test::runUntil;
using test::SettingsPortal;

/// A session bus with a settings portal on it, and a platform theme without colours.
class ColorSchemeFollowerTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        const auto folder = std::filesystem::path(std::getenv("HOME")) / "bus";
        std::filesystem::create_directories(folder);
        bus = std::make_unique<test::PrivateBus>(folder);
    }
    static void TearDownTestSuite() { bus.reset(); }

    ColorSchemeFollowerTest() { QApplication::setPalette(QPalette()); }
    ~ColorSchemeFollowerTest() override { QApplication::setPalette(test::lightPalette()); }

    void follow() {
        follower_.reset();
        follower_ = std::make_unique<ColorSchemeFollower>(connection_.connection());
    }
    [[nodiscard]] static bool comesToBeDark() {
        return runUntil([] { return QApplication::palette() == darkColors(); });
    }
    [[nodiscard]] static bool hasStandardColors() {
        return QApplication::palette() == QApplication::style()->standardPalette();
    }
    [[nodiscard]] static bool comesToBeStandard() {
        return runUntil([] { return hasStandardColors(); });
    }

    static inline std::unique_ptr<test::PrivateBus> bus;

    BusConnection connection_{bus->address()};
    std::unique_ptr<ColorSchemeFollower> follower_;
};

TEST_F(ColorSchemeFollowerTest, ADesktopThatIsDarkMakesTheProgramDark) {
    const SettingsPortal portal(bus->address(), SettingsPortal::dark);
    follow();
    EXPECT_TRUE(hasStandardColors()) << "nothing waits for the answer";
    EXPECT_TRUE(comesToBeDark());
    EXPECT_TRUE(isDark(QApplication::palette()));
}

TEST_F(ColorSchemeFollowerTest, FollowsEachChange) {
    SettingsPortal portal(bus->address(), SettingsPortal::light);
    follow();
    ASSERT_TRUE(runUntil([&] { return portal.readCount() == 1; }));
    for (const auto other : {SettingsPortal::light, SettingsPortal::noPreference}) {
        portal.set(SettingsPortal::dark);
        EXPECT_TRUE(comesToBeDark());
        portal.set(other);
        EXPECT_TRUE(comesToBeStandard());
    }
}

TEST_F(ColorSchemeFollowerTest, WithoutAPortalTheColorsStayAndOneThatComesLaterIsHeard) {
    follow();
    SettingsPortal portal(bus->address(), SettingsPortal::noPreference);
    portal.set(SettingsPortal::dark);
    EXPECT_TRUE(comesToBeDark());
}

TEST_F(ColorSchemeFollowerTest, AThemeWithColorsOfItsOwnIsLeftAloneAndNobodyIsAsked) {
    SettingsPortal portal(bus->address(), SettingsPortal::dark);
    QApplication::setPalette(test::lightPalette());
    follow();
    portal.set(SettingsPortal::dark);
    // Whoever asks later gets an answer later.
    QApplication::setPalette(QPalette());
    const ColorSchemeFollower second(connection_.connection());
    EXPECT_TRUE(comesToBeDark());
    EXPECT_EQ(portal.readCount(), 1);
}

TEST_F(ColorSchemeFollowerTest, WithoutABusTheColorsStay) {
    const ColorSchemeFollower follower{QDBusConnection(QStringLiteral("none"))};
    QCoreApplication::processEvents();
    EXPECT_TRUE(hasStandardColors());
}

TEST(DarkColors, AreReadable) {
    const QPalette palette = darkColors();
    EXPECT_GE(contrastRatio(palette.color(QPalette::WindowText), palette.color(QPalette::Window)),
              7.0);
    EXPECT_GE(contrastRatio(palette.color(QPalette::Text), palette.color(QPalette::Base)), 7.0);
    EXPECT_GE(
        contrastRatio(palette.color(QPalette::PlaceholderText), palette.color(QPalette::Base)),
        4.5);
}

} // namespace
} // namespace tandrel
