#include "Views/Controls/StatusIcon.h"

#include "Support/Widgets/Palettes.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

namespace tandrel {
namespace {

/// The icon as a panel of one colour shows it.
QImage onPanel(const QIcon& icon, const QColor& panel, int side) {
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(panel);
    QPainter(&image).drawPixmap(0, 0, icon.pixmap(QSize(side, side), 1.0));
    return image;
}

/// How many pixels stand out from the panel.
int visiblePixels(const QImage& image, const QColor& panel) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const float difference = image.pixelColor(x, y).lightnessF() - panel.lightnessF();
            count += std::abs(difference) > 0.35F ? 1 : 0;
        }
    }
    return count;
}

int greenPixels(const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor color = image.pixelColor(x, y);
            count += color.green() > color.red() + 40 && color.green() > color.blue() + 40 ? 1 : 0;
        }
    }
    return count;
}

class StatusIconTest : public testing::Test {
protected:
    ~StatusIconTest() override { QApplication::setPalette(test::lightPalette()); }
};

TEST_F(StatusIconTest, ReadsOnLightAndDarkPanelsWhateverTheWindowsAre) {
    for (const QPalette& palette : {test::lightPalette(), test::darkPalette()}) {
        QApplication::setPalette(palette);
        for (const QColor panel : {QColor(0xf0, 0xf0, 0xf0), QColor(0x20, 0x20, 0x20)}) {
            for (const int side : {16, 22, 32, 48}) {
                const QImage image = onPanel(statusIcon(false), panel, side);
                EXPECT_GT(visiblePixels(image, panel), side * side / 12)
                    << side << " on " << panel.name().toStdString();
            }
        }
    }
}

TEST_F(StatusIconTest, ADotMarksStreaming) {
    EXPECT_EQ(greenPixels(onPanel(statusIcon(false), Qt::white, 22)), 0);
    EXPECT_GT(greenPixels(onPanel(statusIcon(true), Qt::white, 22)), 20);
}

TEST_F(StatusIconTest, HasNoNameWhereNoThemeHasTheIcon) {
    EXPECT_TRUE(statusIcon(false).name().isEmpty());
}

TEST_F(StatusIconTest, OffersTheSizesOfPanels) {
    const auto sizes = statusIcon(true).availableSizes();
    EXPECT_TRUE(sizes.contains(QSize(22, 22)));
    EXPECT_TRUE(sizes.contains(QSize(48, 48)));
}

} // namespace
} // namespace tandrel
