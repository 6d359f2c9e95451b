#include "Views/Controls/Spinner.h"

#include "Support/Qt/EventLoop.h"
#include "Support/Widgets/EventCounter.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"

#include <QApplication>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

TEST(Spinner, TurnsWhileItIsVisible) {
    Spinner spinner;
    spinner.resize(spinner.sizeHint());
    showAndWait(spinner);
    const QImage before = rendered(spinner);
    EXPECT_TRUE(runUntil([&] { return rendered(spinner) != before; }));
}

TEST(Spinner, CostsNothingUntilItIsShown) {
    const Spinner spinner;
    EXPECT_FALSE(spinner.isTurning());
}

TEST(Spinner, StopsWhenItOrItsWindowIsHidden) {
    QWidget window;
    auto* spinner = new Spinner(ColorRole::secondary, &window);
    spinner->resize(spinner->sizeHint());
    showAndWait(window);
    EXPECT_TRUE(spinner->isTurning());
    spinner->hide();
    EXPECT_FALSE(spinner->isTurning());
    spinner->show();
    EXPECT_TRUE(spinner->isTurning());
    window.hide();
    EXPECT_FALSE(spinner->isTurning());
    const EventCounter timers(*spinner, QEvent::Timer);
    const EventCounter paints(*spinner, QEvent::Paint);
    QCoreApplication::processEvents();
    EXPECT_EQ(timers.count() + paints.count(), 0);
    window.show();
    EXPECT_TRUE(spinner->isTurning());
}

TEST(Spinner, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    Spinner spinner;
    const int before = spinner.sizeHint().width();
    look.scaleFont(3.0);
    EXPECT_NEAR(spinner.sizeHint().width(), 3 * before, 2);
    look.setPalette(darkPalette());
    spinner.resize(spinner.sizeHint());
    EXPECT_GT(countOf(color(ColorRole::secondary, darkPalette()), rendered(spinner), 8), 3);
}
