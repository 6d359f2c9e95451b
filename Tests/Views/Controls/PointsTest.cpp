#include "Views/Controls/Points.h"

#include "Support/Widgets/Rendering.h"

#include <QApplication>
#include <QFontInfo>
#include <QScreen>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

void setInterfaceFont(qreal pointSize) {
    QFont font = QApplication::font();
    font.setPointSizeF(pointSize);
    QApplication::setFont(font);
}

} // namespace

TEST(Points, ThirteenAreTheSizeOfTheInterfaceFont) {
    const ApplicationLook look;
    QFont font = QApplication::font();
    font.setPixelSize(26);
    QApplication::setFont(font);
    EXPECT_DOUBLE_EQ(pixels(13.0), 26.0);
    EXPECT_DOUBLE_EQ(pixels(1.0), 2.0);
    EXPECT_EQ(roundedPixels(320.0), 640);
}

TEST(Points, FollowAFontGivenInTypographicPoints) {
    const ApplicationLook look;
    setInterfaceFont(12.0);
    const qreal inPixels = 12.0 * QGuiApplication::primaryScreen()->logicalDotsPerInchY() / 72.0;
    EXPECT_DOUBLE_EQ(pixels(13.0), inPixels);
    setInterfaceFont(24.0);
    EXPECT_DOUBLE_EQ(pixels(13.0), 2.0 * inPixels);
}

TEST(Points, NothingVanishesWhenRounded) {
    const ApplicationLook look;
    setInterfaceFont(4.0);
    EXPECT_EQ(roundedPixels(0.5), 1);
    EXPECT_EQ(roundedPixels(0.0), 0);
}

TEST(Points, TheSystemFontIsTheUsersInProportion) {
    const ApplicationLook look;
    setInterfaceFont(13.0);
    const QFont font = systemFont(11.0, QFont::Medium);
    EXPECT_EQ(font.families(), QApplication::font().families());
    EXPECT_NEAR(font.pointSizeF(), 11.0, 0.01);
    EXPECT_EQ(font.weight(), QFont::Medium);
    setInterfaceFont(26.0);
    EXPECT_NEAR(systemFont(11.0).pointSizeF(), 22.0, 0.01);
}

TEST(Points, TheSystemFontFollowsAFontGivenInPixels) {
    const ApplicationLook look;
    QFont font = QApplication::font();
    font.setPixelSize(26);
    QApplication::setFont(font);
    EXPECT_EQ(systemFont(11.0).pixelSize(), 22);
}
