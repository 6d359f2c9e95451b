#include "Views/Controls/ProminentButton.h"

#include "Support/Qt/ExpectedWarnings.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Spinner.h"

#include <QAccessible>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

/// The fill, beside the label.
QColor fillOf(ProminentButton& button) {
    return rendered(button).pixelColor(button.height() / 2, button.height() / 2);
}

/// The colour of most of the label's pixels that differ from the fill.
int inkCount(ProminentButton& button, const QColor& ink) {
    return countOf(ink, rendered(button), 12);
}

struct ProminentButtonFixture : testing::Test {
    ProminentButtonFixture() {
        button.setTint(ColorRole::green);
        button.setSymbol(Symbol::micFill);
        button.resize(300, button.sizeHint().height());
    }

    [[nodiscard]] Spinner* spinner() { return button.findChild<Spinner*>(); }

    ProminentButton button{QStringLiteral("Start Streaming")};
};

} // namespace

TEST_F(ProminentButtonFixture, IsFilledWithItsTintUnderAWhiteLabel) {
    const QPalette palette = button.palette();
    EXPECT_TRUE(isClose(fillOf(button), tintFill(ColorRole::green, palette)));
    EXPECT_GT(inkCount(button, Qt::white), 50);
    button.setTint(ColorRole::red);
    EXPECT_TRUE(isClose(fillOf(button), tintFill(ColorRole::red, palette)));
}

TEST_F(ProminentButtonFixture, IsGreyWhileDisabled) {
    button.setEnabled(false);
    const QColor fill = fillOf(button);
    EXPECT_LT(fill.hslSaturation(), 20);
    EXPECT_EQ(inkCount(button, Qt::white), 0);
}

TEST_F(ProminentButtonFixture, DarkensUnderThePointerAndMoreWhenPressed) {
    const int normal = fillOf(button).lightness();
    button.setAttribute(Qt::WA_UnderMouse, true);
    const QColor hovered = fillOf(button);
    button.setDown(true);
    const QColor pressed = fillOf(button);
    EXPECT_LT(hovered.lightness(), normal);
    EXPECT_LT(pressed.lightness(), hovered.lightness());
    EXPECT_GE(contrastRatio(Qt::white, hovered), 4.5);
    EXPECT_GE(contrastRatio(Qt::white, pressed), 4.5);
}

TEST_F(ProminentButtonFixture, HasRoundCorners) {
    const QImage image = rendered(button);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image.pixelColor(299, button.height() - 1).alpha(), 0);
    EXPECT_EQ(image.pixelColor(0, button.height() / 2).alpha(), 255);
}

TEST_F(ProminentButtonFixture, FillsTheWidthOfItsContainer) {
    EXPECT_EQ(button.sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    EXPECT_EQ(button.sizeHint().height(), roundedPixels(30.0));
}

TEST_F(ProminentButtonFixture, CentresSymbolAndLabelTogether) {
    const QImage image = rendered(button);
    int first = image.width();
    int last = 0;
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (isClose(image.pixelColor(x, y), Qt::white, 60)) {
                first = std::min(first, x);
                last = std::max(last, x);
            }
        }
    }
    // The symbol leaves a little room in its square.
    EXPECT_NEAR(first, image.width() - 1 - last, roundedPixels(5.0));
}

TEST_F(ProminentButtonFixture, ShowsASpinnerInPlaceOfTheLabelWhileBusy) {
    showAndWait(button);
    EXPECT_FALSE(spinner()->isVisible());
    button.setBusy(true);
    EXPECT_TRUE(spinner()->isVisible());
    EXPECT_TRUE(spinner()->isTurning());
    EXPECT_NEAR(spinner()->geometry().center().x(), button.rect().center().x(), 1);
    const QImage image = rendered(button);
    const QRect beside(60, 4, 50, image.height() - 8);
    EXPECT_EQ(countOf(fillOf(button), image.copy(beside)), beside.width() * beside.height())
        << "no label";
    button.setBusy(false);
    EXPECT_FALSE(spinner()->isVisible());
    EXPECT_FALSE(spinner()->isTurning());
}

TEST_F(ProminentButtonFixture, KeepsItsSizeWhileBusy) {
    const QSize before = button.sizeHint();
    button.setBusy(true);
    EXPECT_EQ(button.sizeHint(), before);
}

TEST_F(ProminentButtonFixture, ClicksByMouseSpaceAndReturnUnlessDisabled) {
    const QSignalSpy clicks(&button, &QAbstractButton::clicked);
    QTest::mouseClick(&button, Qt::LeftButton);
    QTest::keyClick(&button, Qt::Key_Space);
    QTest::keyClick(&button, Qt::Key_Return);
    EXPECT_EQ(clicks.count(), 3);
    button.setEnabled(false);
    const ExpectedWarning ignored("Keyboard event not accepted");
    QTest::mouseClick(&button, Qt::LeftButton);
    QTest::keyClick(&button, Qt::Key_Return);
    EXPECT_EQ(clicks.count(), 3);
}

TEST_F(ProminentButtonFixture, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    const int before = button.sizeHint().height();
    look.scaleFont(2.0);
    EXPECT_NEAR(button.sizeHint().height(), 2 * before, 1);
    look.setPalette(darkPalette());
    button.setEnabled(false);
    EXPECT_LT(fillOf(button).lightness(), 100);
}

TEST_F(ProminentButtonFixture, ADisabledOneDiffersFromAnEnabledOneUnderAHighContrast) {
    const ApplicationLook look;
    look.setPalette(highContrastPalette());
    EXPECT_GT(inkCount(button, Qt::white), 50);
    button.setEnabled(false);
    EXPECT_EQ(countOf(Qt::black, rendered(button), 12), 0) << "its label is faint";
}

TEST_F(ProminentButtonFixture, AssistiveProgramsFindAButtonNamedAsItsLabel) {
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&button);
    ASSERT_NE(interface, nullptr);
    EXPECT_EQ(interface->role(), QAccessible::Button);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Start Streaming"));
    EXPECT_FALSE(interface->state().disabled);
    button.setEnabled(false);
    EXPECT_TRUE(interface->state().disabled);
}
