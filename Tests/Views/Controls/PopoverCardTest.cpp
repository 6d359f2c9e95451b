#include "Views/Controls/PopoverCard.h"

#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QApplication>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

struct PopoverCardFixture : testing::Test {
    PopoverCardFixture() {
        content->setFixedSize(320, 200);
        card.adjustSize();
    }

    [[nodiscard]] QRect cardRect() const {
        return card.rect().marginsRemoved(card.shadowMargins());
    }

    QWidget* content = new QWidget;
    PopoverCard card{content};
};

} // namespace

TEST_F(PopoverCardFixture, IsAsLargeAsItsContentAndTheShadow) {
    const QMargins margins = card.shadowMargins();
    EXPECT_EQ(card.size(), QSize(320, 200).grownBy(margins));
    EXPECT_GT(margins.bottom(), margins.top()) << "the light comes from above";
    EXPECT_EQ(margins.left(), margins.right());
}

TEST_F(PopoverCardFixture, FollowsItsContent) {
    showAndWait(card);
    content->setFixedSize(320, 300);
    QCoreApplication::processEvents();
    EXPECT_EQ(card.size(), QSize(320, 300).grownBy(card.shadowMargins()));
    content->setFixedSize(320, 100);
    QCoreApplication::processEvents();
    EXPECT_EQ(card.size(), QSize(320, 100).grownBy(card.shadowMargins()));
}

TEST_F(PopoverCardFixture, IsARoundedCardOnASoftShadow) {
    const QImage image = rendered(card);
    const QRect inner = cardRect();
    EXPECT_TRUE(isClose(image.pixelColor(inner.center()), color(ColorRole::card, card.palette())));
    EXPECT_LT(image.pixelColor(inner.topLeft()).alpha(), 128) << "the corner is round";
    const auto shadowAt = [&image](int x, int y) { return image.pixelColor(x, y).alpha(); };
    const int middle = inner.center().x();
    EXPECT_GT(shadowAt(middle, inner.bottom() + 3), 25);
    EXPECT_GT(shadowAt(middle, inner.bottom() + 3), shadowAt(middle, inner.top() - 3));
    EXPECT_GT(shadowAt(middle, inner.bottom() + 3), shadowAt(middle, inner.bottom() + 9));
}

TEST_F(PopoverCardFixture, TheShadowEndsBeforeTheWindowDoes) {
    for (const qreal ratio : {1.0, 1.5, 2.0}) {
        const QImage image = rendered(card, ratio);
        for (int x = 0; x < image.width(); ++x) {
            ASSERT_LE(image.pixelColor(x, 0).alpha(), 1);
            ASSERT_LE(image.pixelColor(x, image.height() - 1).alpha(), 1);
        }
        for (int y = 0; y < image.height(); ++y) {
            ASSERT_LE(image.pixelColor(0, y).alpha(), 1);
            ASSERT_LE(image.pixelColor(image.width() - 1, y).alpha(), 1);
        }
    }
}

TEST_F(PopoverCardFixture, TheShadowHasNoSeams) {
    const QImage image = rendered(card);
    const int row = cardRect().bottom() + 6;
    for (int x = cardRect().left() + 40; x < cardRect().right() - 40; ++x) {
        ASSERT_EQ(image.pixelColor(x, row), image.pixelColor(cardRect().center().x(), row)) << x;
    }
}

TEST_F(PopoverCardFixture, WithoutAShadowItFillsItsWindow) {
    card.setShadowVisible(false);
    EXPECT_TRUE(card.shadowMargins().isNull());
    card.adjustSize();
    EXPECT_EQ(card.size(), QSize(320, 200));
    const QImage image = rendered(card);
    EXPECT_EQ(countOf(color(ColorRole::card, card.palette()), image), 320 * 200);
}

TEST_F(PopoverCardFixture, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    showAndWait(card);
    const QMargins before = card.shadowMargins();
    look.scaleFont(2.0);
    QCoreApplication::processEvents();
    EXPECT_NEAR(card.shadowMargins().left(), 2 * before.left(), 1);
    EXPECT_EQ(card.size(), QSize(320, 200).grownBy(card.shadowMargins()));
    look.setPalette(darkPalette());
    EXPECT_TRUE(isClose(rendered(card).pixelColor(cardRect().center()),
                        color(ColorRole::card, darkPalette())));
}
