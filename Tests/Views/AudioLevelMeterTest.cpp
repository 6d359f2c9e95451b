#include "Views/AudioLevelMeter.h"

#include "Support/Qt/EventLoop.h"
#include "Support/Widgets/ActiveAccessibility.h"
#include "Support/Widgets/EventCounter.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QAccessible>
#include <QApplication>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

using namespace std::chrono_literals;
using namespace tandrel;
using namespace tandrel::test;

namespace {

constexpr int width = 200;

/// A meter under a clock that stands until the test moves it.
struct AudioLevelMeterFixture : testing::Test {
    AudioLevelMeterFixture() { meter.resize(width, meter.sizeHint().height()); }

    /// How many pixels, from the leading edge, differ from the empty track, in the middle row.
    [[nodiscard]] int filledWidth() {
        const QImage image = rendered(meter);
        const QColor track = color(ColorRole::track, meter.palette());
        int filled = 0;
        for (int x = 0; x < image.width(); ++x) {
            filled += isClose(image.pixelColor(x, image.height() / 2), track) ? 0 : 1;
        }
        return filled;
    }

    [[nodiscard]] QColor colorAt(int x) {
        const QImage image = rendered(meter);
        return image.pixelColor(x, image.height() / 2);
    }

    void show() {
        showAndWait(meter);
        // No frame of its own unless the test asks.
        QCoreApplication::processEvents();
    }

    LevelAnimation::TimePoint now{};
    AudioLevelMeter meter{[this] { return now; }, nullptr};
};

constexpr QRgb vividGreen = 0xff34c759;
constexpr QRgb vividYellow = 0xffffcc00;
constexpr QRgb vividRed = 0xffff3b30;

} // namespace

TEST_F(AudioLevelMeterFixture, IsSixPointsHighAndAsWideAsItsContainer) {
    EXPECT_EQ(meter.sizeHint().height(), roundedPixels(6.0));
    EXPECT_EQ(meter.sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    EXPECT_EQ(meter.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
}

TEST_F(AudioLevelMeterFixture, LevelZeroShowsTheTrackAlone) {
    meter.setLevel(0.0F);
    EXPECT_EQ(filledWidth(), 0);
    EXPECT_TRUE(isClose(colorAt(width / 2), color(ColorRole::track, meter.palette())));
}

TEST_F(AudioLevelMeterFixture, LevelOneFillsTheWidthFromGreenOverYellowToRed) {
    meter.setLevel(1.0F);
    EXPECT_NEAR(filledWidth(), width, 2);
    EXPECT_TRUE(isClose(colorAt(2), QColor::fromRgb(vividGreen), 12));
    EXPECT_TRUE(isClose(colorAt(width / 2), QColor::fromRgb(vividYellow), 12));
    EXPECT_TRUE(isClose(colorAt(width - 3), QColor::fromRgb(vividRed), 12));
}

TEST_F(AudioLevelMeterFixture, LevelOneHalfFillsHalfWithTheWholeGradient) {
    meter.setLevel(0.5F);
    EXPECT_NEAR(filledWidth(), width / 2, 1);
    EXPECT_TRUE(isClose(colorAt(2), QColor::fromRgb(vividGreen), 16));
    EXPECT_TRUE(isClose(colorAt(width / 4), QColor::fromRgb(vividYellow), 12));
    EXPECT_TRUE(isClose(colorAt(width / 2 - 3), QColor::fromRgb(vividRed), 16));
    EXPECT_TRUE(isClose(colorAt(width / 2 + 2), color(ColorRole::track, meter.palette())));
}

TEST_F(AudioLevelMeterFixture, NotANumberNegativeAndTheLikeShowTheTrackAlone) {
    for (const float level : {std::numeric_limits<float>::quiet_NaN(), -1.0F, -0.0F,
                              -std::numeric_limits<float>::infinity()}) {
        meter.setLevel(1.0F);
        meter.setLevel(level);
        EXPECT_EQ(filledWidth(), 0) << level;
    }
}

TEST_F(AudioLevelMeterFixture, NotANumberSpoilsNoLaterLevel) {
    show();
    meter.setLevel(std::numeric_limits<float>::quiet_NaN());
    now += 50ms;
    meter.setLevel(1.0F);
    now += 25ms;
    EXPECT_NEAR(filledWidth(), width / 2, 1);
}

TEST_F(AudioLevelMeterFixture, ALevelAboveOneIsNotCapped) {
    meter.setLevel(2.0F);
    EXPECT_NEAR(filledWidth(), width, 2);
    // The filled part is twice the widget: its middle, yellow, is at the widget's end.
    EXPECT_TRUE(isClose(colorAt(width - 3), QColor::fromRgb(vividYellow), 16));
    meter.setLevel(std::numeric_limits<float>::infinity());
    EXPECT_NEAR(filledWidth(), width, 2);
}

TEST_F(AudioLevelMeterFixture, PaintsNothingOutsideItself) {
    QWidget window;
    auto* inner = new AudioLevelMeter([this] { return now; }, &window);
    window.resize(width, 40);
    inner->setGeometry(20, 20, width / 2, 6);
    inner->setLevel(2.0F);
    const QImage image = rendered(window);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (!inner->geometry().contains(x, y)) {
                ASSERT_EQ(image.pixelColor(x, y).alpha(), 0) << x << ' ' << y;
            }
        }
    }
}

TEST_F(AudioLevelMeterFixture, HasRoundEndsOnTheCard) {
    meter.setLevel(1.0F);
    const QImage image = rendered(meter);
    const QColor card = color(ColorRole::card, meter.palette());
    EXPECT_TRUE(isClose(image.pixelColor(0, 0), card, 60));
    EXPECT_TRUE(isClose(image.pixelColor(width - 1, meter.height() - 1), card, 60));
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 255) << "it covers its ground by itself";
}

TEST_F(AudioLevelMeterFixture, GoesToANewLevelLinearlyInFiftyMilliseconds) {
    show();
    meter.setLevel(1.0F);
    EXPECT_EQ(filledWidth(), 0);
    now += 10ms;
    EXPECT_NEAR(filledWidth(), width / 5, 1);
    now += 15ms;
    EXPECT_NEAR(filledWidth(), width / 2, 1);
    now += 25ms;
    EXPECT_NEAR(filledWidth(), width, 2);
}

TEST_F(AudioLevelMeterFixture, ANewLevelOnTheWayStartsFromWhereTheBarIs) {
    show();
    meter.setLevel(1.0F);
    now += 25ms;
    meter.setLevel(0.0F);
    EXPECT_NEAR(filledWidth(), width / 2, 1);
    now += 25ms;
    EXPECT_NEAR(filledWidth(), width / 4, 1);
    now += 25ms;
    EXPECT_EQ(filledWidth(), 0);
}

TEST_F(AudioLevelMeterFixture, ArrivesWithoutFurtherLevelsAndThenRests) {
    AudioLevelMeter real;
    real.resize(width, real.sizeHint().height());
    showAndWait(real);
    const EventCounter paints(real, QEvent::Paint);
    real.setLevel(0.5F);
    EXPECT_TRUE(real.isAnimating());
    EXPECT_TRUE(runUntil([&] { return !real.isAnimating(); }));
    QCoreApplication::processEvents();
    EXPECT_GE(paints.count(), 1) << "the last step reached the screen";
    const QImage atRest = real.grab().toImage();
    EXPECT_TRUE(isClose(atRest.pixelColor(width / 2 - 3, 3), QColor::fromRgb(vividRed), 16));
    EXPECT_FALSE(isClose(atRest.pixelColor(width / 2 + 2, 3), QColor::fromRgb(vividRed), 60));
}

TEST_F(AudioLevelMeterFixture, DoesNothingForTheLevelThatItShows) {
    show();
    meter.setLevel(0.5F);
    now += 50ms;
    ASSERT_TRUE(runUntil([this] { return !meter.isAnimating(); }));
    QCoreApplication::processEvents();
    const EventCounter paints(meter, QEvent::Paint);
    meter.setLevel(0.5F);
    EXPECT_FALSE(meter.isAnimating());
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count(), 0);
}

TEST_F(AudioLevelMeterFixture, RepaintsNothingWhereNoOtherPixelIsFilled) {
    show();
    meter.setLevel(0.5F);
    now += 50ms;
    ASSERT_TRUE(runUntil([this] { return !meter.isAnimating(); }));
    QCoreApplication::processEvents();
    const EventCounter paints(meter, QEvent::Paint);
    meter.setLevel(0.5004F);
    now += 50ms;
    ASSERT_TRUE(runUntil([this] { return !meter.isAnimating(); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count(), 0);
}

TEST_F(AudioLevelMeterFixture, RepaintsItselfAlone) {
    QWidget window;
    auto* inner = new AudioLevelMeter(&window);
    auto* neighbour = new QWidget(&window);
    window.resize(width, 40);
    inner->setGeometry(0, 10, width, 6);
    neighbour->setGeometry(0, 17, width, 6);
    showAndWait(window);
    QCoreApplication::processEvents();
    const EventCounter own(*inner, QEvent::Paint);
    const EventCounter below(window, QEvent::Paint);
    const EventCounter beside(*neighbour, QEvent::Paint);
    inner->setLevel(1.0F);
    ASSERT_TRUE(runUntil([inner] { return !inner->isAnimating(); }));
    QCoreApplication::processEvents();
    EXPECT_GE(own.count(), 1);
    EXPECT_EQ(below.count(), 0);
    EXPECT_EQ(beside.count(), 0);
}

TEST_F(AudioLevelMeterFixture, CostsNothingWhileItIsHidden) {
    const EventCounter paints(meter, QEvent::Paint);
    const EventCounter updates(meter, QEvent::UpdateLater);
    for (const float level : {0.1F, 0.9F, 0.4F}) {
        meter.setLevel(level);
        EXPECT_FALSE(meter.isAnimating());
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(paints.count() + updates.count(), 0);
    EXPECT_NEAR(filledWidth(), width * 2 / 5, 1) << "once shown it shows the latest";
}

TEST_F(AudioLevelMeterFixture, StopsWhenItsWindowIsHiddenAndShowsTheLatestLevelAfterwards) {
    QWidget window;
    auto* inner = new AudioLevelMeter([this] { return now; }, &window);
    window.resize(width, 20);
    inner->setGeometry(0, 0, width, 6);
    showAndWait(window);
    inner->setLevel(1.0F);
    EXPECT_TRUE(inner->isAnimating());
    window.hide();
    EXPECT_FALSE(inner->isAnimating());
    inner->setLevel(0.5F);
    EXPECT_FALSE(inner->isAnimating());
    window.show();
    EXPECT_FALSE(inner->isAnimating()) << "nothing moves that nobody saw begin";
    EXPECT_TRUE(
        isClose(rendered(*inner).pixelColor(width / 4, 3), QColor::fromRgb(vividYellow), 12));
}

TEST_F(AudioLevelMeterFixture, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    const int before = meter.sizeHint().height();
    look.scaleFont(2.0);
    EXPECT_NEAR(meter.sizeHint().height(), 2 * before, 1);
    look.setPalette(darkPalette());
    EXPECT_TRUE(isClose(colorAt(width / 2), color(ColorRole::track, darkPalette())));
}

TEST_F(AudioLevelMeterFixture, AssistiveProgramsCanReadIt) {
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&meter);
    ASSERT_NE(interface, nullptr);
    EXPECT_EQ(interface->role(), QAccessible::ProgressBar);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Audio Level"));
    QAccessibleValueInterface* value = interface->valueInterface();
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->minimumValue().toInt(), 0);
    EXPECT_EQ(value->maximumValue().toInt(), 100);
    meter.setLevel(0.375F);
    EXPECT_EQ(value->currentValue().toInt(), 38);
    EXPECT_EQ(interface->text(QAccessible::Value), QStringLiteral("38%"));
    meter.setLevel(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(value->currentValue().toInt(), 0);
    meter.setLevel(7.0F);
    EXPECT_EQ(value->currentValue().toInt(), 100);
}

TEST_F(AudioLevelMeterFixture, AnnouncesNothing) {
    static int announcements = 0;
    announcements = 0;
    show();
    const ActiveAccessibility accessibility(
        [](QAccessibleEvent* /*announcement*/) { ++announcements; });
    meter.setLevel(0.2F);
    meter.setLevel(0.8F);
    QCoreApplication::processEvents();
    EXPECT_EQ(announcements, 0);
}
