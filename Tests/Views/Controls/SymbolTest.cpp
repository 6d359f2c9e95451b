#include "Views/Controls/Symbol.h"

#include "Support/Widgets/Rendering.h"
#include "Views/Controls/Points.h"

#include <QImage>

#include <gtest/gtest.h>

#include <set>

using namespace tandrel;
using namespace tandrel::test;

namespace {

constexpr Symbol allSymbols[] = {
    Symbol::headphones,
    Symbol::circle,
    Symbol::circleFill,
    Symbol::checkmarkCircleFill,
    Symbol::micFill,
    Symbol::stopFill,
    Symbol::safari,
    Symbol::arrowUpRight,
    Symbol::arrowClockwise,
    Symbol::exclamationmarkTriangleFill,
    Symbol::eye,
    Symbol::eyeSlash,
    Symbol::chevronUpDown,
};

} // namespace

TEST(Symbol, EachIsDrawnInTheAskedColourAlone) {
    for (const Symbol symbol : allSymbols) {
        const QImage image = symbolPixmap(symbol, 40.0, Qt::red, 1.0).toImage();
        EXPECT_GT(countOf(Qt::red, image), 50) << symbolName(symbol).toStdString();
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                ASSERT_TRUE(pixel.alpha() == 0 || (pixel.green() <= 2 && pixel.blue() <= 2))
                    << symbolName(symbol).toStdString();
            }
        }
    }
}

TEST(Symbol, EachHasADrawingOfItsOwn) {
    std::set<QByteArray> drawings;
    for (const Symbol symbol : allSymbols) {
        const QImage image = symbolPixmap(symbol, 30.0, Qt::black, 1.0).toImage();
        drawings.insert(
            QByteArray(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()));
    }
    EXPECT_EQ(drawings.size(), std::size(allSymbols));
}

TEST(Symbol, HasThePixelsOfTheScreen) {
    for (const qreal ratio : {1.0, 1.5, 2.0, 3.0}) {
        const QPixmap pixmap = symbolPixmapOfSide(Symbol::micFill, 14, Qt::black, ratio);
        EXPECT_EQ(pixmap.width(), int(14 * ratio));
        EXPECT_EQ(pixmap.height(), int(14 * ratio));
        EXPECT_DOUBLE_EQ(pixmap.devicePixelRatio(), ratio);
    }
}

TEST(Symbol, IsDrawnAnewForAFinerScreenNotStretched) {
    const QImage coarse = symbolPixmapOfSide(Symbol::safari, 16, Qt::black, 1.0).toImage();
    QImage fine = symbolPixmapOfSide(Symbol::safari, 16, Qt::black, 2.0).toImage();
    fine.setDevicePixelRatio(1.0);
    EXPECT_NE(coarse.scaled(fine.size()), fine);
}

TEST(Symbol, LeavesNoPixelAtTheEdgeCutOff) {
    for (const Symbol symbol : allSymbols) {
        const QImage image = symbolPixmapOfSide(symbol, 64, Qt::black, 1.0).toImage();
        for (int at = 0; at < 64; ++at) {
            EXPECT_EQ(image.pixelColor(at, 0).alpha(), 0) << symbolName(symbol).toStdString();
            EXPECT_EQ(image.pixelColor(at, 63).alpha(), 0) << symbolName(symbol).toStdString();
            EXPECT_EQ(image.pixelColor(0, at).alpha(), 0) << symbolName(symbol).toStdString();
            EXPECT_EQ(image.pixelColor(63, at).alpha(), 0) << symbolName(symbol).toStdString();
        }
    }
}

TEST(Symbol, GrowsWithTheTextBesideIt) {
    EXPECT_EQ(symbolPixmap(Symbol::eye, 26.0, Qt::black, 1.0).width(), symbolSide(26.0));
    EXPECT_GT(symbolSide(26.0), symbolSide(13.0));
}

TEST(ApplicationImage, IsTheAskedSizeAndNotEmpty) {
    const QPixmap pixmap = applicationImage(48.0, 2.0);
    EXPECT_EQ(pixmap.width(), 2 * roundedPixels(48.0));
    const QImage image = pixmap.toImage();
    EXPECT_EQ(image.pixelColor(image.width() / 8, image.height() / 2).alpha(), 255);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0) << "the corners are round";
    EXPECT_GT(countOf(Qt::white, image), 200);
}
