#include "Views/Controls/SymbolView.h"

#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"

#include <QApplication>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

QColor shown(ColorRole role) {
    return color(role, QApplication::palette());
}

} // namespace

TEST(SymbolView, DrawsTheSymbolInTheColourOfItsRole) {
    SymbolView view(Symbol::circleFill, 20.0, ColorRole::orange);
    view.resize(view.sizeHint());
    EXPECT_GT(countOf(shown(ColorRole::orange), rendered(view)), 100);
    view.setRole(ColorRole::green);
    EXPECT_GT(countOf(shown(ColorRole::green), rendered(view)), 100);
    EXPECT_EQ(countOf(shown(ColorRole::orange), rendered(view)), 0);
}

TEST(SymbolView, ShowsAnotherSymbolWhenTold) {
    SymbolView view(Symbol::eye, 20.0, ColorRole::primary);
    view.resize(view.sizeHint());
    const QImage before = rendered(view);
    view.setSymbol(Symbol::eyeSlash);
    EXPECT_NE(rendered(view), before);
}

TEST(SymbolView, RecoloursWithThePalette) {
    const ApplicationLook look;
    SymbolView view(Symbol::circleFill, 20.0, ColorRole::green);
    view.resize(view.sizeHint());
    look.setPalette(darkPalette());
    EXPECT_GT(countOf(color(ColorRole::green, darkPalette()), rendered(view)), 100);
}

TEST(SymbolView, GrowsWithTheUsersFont) {
    const ApplicationLook look;
    SymbolView view(Symbol::circleFill, 20.0, ColorRole::green);
    const int before = view.sizeHint().width();
    look.scaleFont(2.0);
    EXPECT_NEAR(view.sizeHint().width(), 2 * before, 1);
}

TEST(SymbolView, IsCrispOnAFinerScreen) {
    SymbolView view(Symbol::arrowClockwise, 11.0, ColorRole::primary);
    view.resize(view.sizeHint());
    QImage fine = rendered(view, 2.0);
    QImage expected =
        symbolPixmap(Symbol::arrowClockwise, 11.0, shown(ColorRole::primary), 2.0).toImage();
    fine.setDevicePixelRatio(1.0);
    expected.setDevicePixelRatio(1.0);
    EXPECT_EQ(fine, expected.convertToFormat(fine.format()));
}
