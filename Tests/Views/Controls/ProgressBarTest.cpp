#include "Views/Controls/ProgressBar.h"

#include "Support/Widgets/EventCounter.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QAccessible>
#include <QApplication>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

int filledPixels(ProgressBar& bar) {
    return countOf(tintFill(ColorRole::accent, bar.palette()), rendered(bar));
}

} // namespace

TEST(ProgressBar, FillsItsShare) {
    ProgressBar bar(QStringLiteral("Download"));
    bar.resize(200, roundedPixels(6));
    showAndWait(bar);
    EXPECT_EQ(filledPixels(bar), 0);
    bar.setProgress(0.5);
    const int half = filledPixels(bar);
    bar.setProgress(1.0);
    EXPECT_NEAR(half * 2, filledPixels(bar), filledPixels(bar) / 10);
    bar.setProgress(7.0);
    EXPECT_EQ(bar.value(), bar.maximum());
    bar.setProgress(-1.0);
    EXPECT_EQ(filledPixels(bar), 0);
}

TEST(ProgressBar, IsReadableForAssistiveTechnology) {
    ProgressBar bar(QStringLiteral("Download"));
    bar.setProgress(0.25);
    QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(&bar);
    EXPECT_EQ(interface->role(), QAccessible::ProgressBar);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Download"));
    QAccessibleValueInterface* const value = interface->valueInterface();
    EXPECT_EQ(value->currentValue().toInt() * 4, value->maximumValue().toInt());
}

TEST(ProgressBar, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    ProgressBar bar(QStringLiteral("Download"));
    const int before = bar.sizeHint().height();
    look.scaleFont(2.0);
    EXPECT_NEAR(bar.sizeHint().height(), 2 * before, 1);
    bar.resize(200, bar.sizeHint().height());
    bar.setProgress(1.0);
    showAndWait(bar);
    const QImage light = rendered(bar);
    look.setPalette(darkPalette());
    EXPECT_NE(rendered(bar), light);
}
