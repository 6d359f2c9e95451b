#include "Views/Controls/PlainButton.h"

#include "Support/Qt/ExpectedWarnings.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/Points.h"

#include <QAccessible>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

QColor shown(ColorRole role) {
    return color(role, QApplication::palette());
}

} // namespace

TEST(PlainButton, ClicksByMouseSpaceAndReturn) {
    PlainButton button(QStringLiteral("Quit"), 12.0, ColorRole::secondary);
    const QSignalSpy clicks(&button, &QAbstractButton::clicked);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(clicks.count(), 1);
    QTest::keyClick(&button, Qt::Key_Space);
    EXPECT_EQ(clicks.count(), 2);
    QTest::keyClick(&button, Qt::Key_Return);
    EXPECT_EQ(clicks.count(), 3);
    QTest::keyClick(&button, Qt::Key_Enter);
    EXPECT_EQ(clicks.count(), 4);
    QTest::keyClick(&button, Qt::Key_A);
    EXPECT_EQ(clicks.count(), 4);
}

TEST(PlainButton, DoesNothingWhileDisabled) {
    PlainButton button(QStringLiteral("Quit"), 12.0, ColorRole::secondary);
    button.setEnabled(false);
    const ExpectedWarning ignored("Keyboard event not accepted");
    const QSignalSpy clicks(&button, &QAbstractButton::clicked);
    QTest::mouseClick(&button, Qt::LeftButton);
    QTest::keyClick(&button, Qt::Key_Space);
    QTest::keyClick(&button, Qt::Key_Return);
    EXPECT_EQ(clicks.count(), 0);
}

TEST(PlainButton, IsReachedByTabAndKeepsTheFocusWhereItIsOnAClick) {
    PlainButton button(QStringLiteral("Quit"), 12.0, ColorRole::secondary);
    EXPECT_EQ(button.focusPolicy(), Qt::TabFocus);
}

TEST(PlainButton, LooksLikeTextInTheColourOfItsRole) {
    PlainButton button(QStringLiteral("HHHH"), 40.0, ColorRole::accent);
    button.resize(button.sizeHint());
    const QImage image = rendered(button);
    EXPECT_GT(countOf(shown(ColorRole::accent), image), 100);
    EXPECT_GT(countOf(Qt::transparent, image), 100) << "no ground of its own";
}

TEST(PlainButton, ShowsThatThePointerIsOnItAndThatItIsPressed) {
    PlainButton button(QStringLiteral("HHHH"), 40.0, ColorRole::secondary);
    button.resize(button.sizeHint());
    const QImage normal = rendered(button);
    button.setAttribute(Qt::WA_UnderMouse, true);
    const QImage hovered = rendered(button);
    button.setDown(true);
    const QImage pressed = rendered(button);
    EXPECT_NE(hovered, normal);
    EXPECT_NE(pressed, hovered);
    EXPECT_NE(pressed, normal);
}

TEST(PlainButton, IsFaintWhileDisabled) {
    PlainButton button(QStringLiteral("HHHH"), 40.0, ColorRole::secondary);
    button.resize(button.sizeHint());
    button.setEnabled(false);
    EXPECT_EQ(countOf(shown(ColorRole::secondary), rendered(button)), 0);
}

TEST(PlainButton, PutsTheTrailingSymbolAtTheFarEdge) {
    PlainButton button(QStringLiteral("Open"), 11.0, ColorRole::primary);
    button.setLeadingSymbol(Symbol::safari, 11.0);
    const int natural = button.sizeHint().width();
    button.setTrailingSymbol(Symbol::stopFill, 11.0);
    EXPECT_GT(button.sizeHint().width(), natural);
    button.resize(400, button.sizeHint().height());
    const int side = symbolSide(11.0);
    const QImage image = rendered(button);
    const QRect farEdge(400 - side, 0, side, image.height());
    EXPECT_GT(countOf(shown(ColorRole::primary), image.copy(farEdge)), side);
    const QRect between(natural + 2, 0, 400 - side - natural - 4, image.height());
    EXPECT_EQ(countOf(Qt::transparent, image.copy(between)), between.width() * between.height());
}

TEST(PlainButton, MirrorsWhereTextRunsFromTheRight) {
    PlainButton button(QStringLiteral("Open"), 11.0, ColorRole::primary);
    button.setTrailingSymbol(Symbol::stopFill, 11.0);
    button.setLayoutDirection(Qt::RightToLeft);
    button.resize(400, button.sizeHint().height());
    const int side = symbolSide(11.0);
    EXPECT_GT(
        countOf(shown(ColorRole::primary), rendered(button).copy(0, 0, side, button.height())),
        side);
}

TEST(PlainButton, ASymbolAloneTakesClicksAroundItAndKeepsToTheEdge) {
    PlainButton button({}, 10.0, ColorRole::primary);
    button.setLeadingSymbol(Symbol::stopFill, 10.0);
    const int side = symbolSide(10.0);
    EXPECT_GT(button.sizeHint().width(), side);
    button.resize(button.sizeHint());
    const QImage image = rendered(button);
    const QRect besides(0, 0, button.width() - side, button.height());
    EXPECT_EQ(countOf(Qt::transparent, image.copy(besides)), besides.width() * besides.height());
    const QSignalSpy clicks(&button, &QAbstractButton::clicked);
    QTest::mouseClick(&button, Qt::LeftButton, Qt::NoModifier, QPoint(1, button.height() / 2));
    EXPECT_EQ(clicks.count(), 1);
}

TEST(PlainButton, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    PlainButton button(QStringLiteral("HHHH"), 40.0, ColorRole::primary);
    const int before = button.sizeHint().width();
    look.scaleFont(2.0);
    EXPECT_NEAR(button.sizeHint().width(), 2 * before, 6);
    look.setPalette(darkPalette());
    button.resize(button.sizeHint());
    EXPECT_GT(countOf(color(ColorRole::primary, darkPalette()), rendered(button)), 100);
}

TEST(PlainButton, AssistiveProgramsFindAButtonWithAName) {
    PlainButton text(QStringLiteral("Sign Out"), 11.0, ColorRole::secondary);
    PlainButton icon({}, 10.0, ColorRole::secondary);
    icon.setLeadingSymbol(Symbol::eye, 10.0);
    icon.setAccessibleName(QStringLiteral("Show password"));
    for (PlainButton* button : {&text, &icon}) {
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(button);
        ASSERT_NE(interface, nullptr);
        EXPECT_EQ(interface->role(), QAccessible::Button);
        EXPECT_TRUE(interface->state().focusable);
    }
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&text)->text(QAccessible::Name),
              QStringLiteral("Sign Out"));
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&icon)->text(QAccessible::Name),
              QStringLiteral("Show password"));
}
