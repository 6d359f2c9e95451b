#include "Views/Controls/PopUpButton.h"

#include "Support/Qt/EventLoop.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

#include <gtest/gtest.h>

using namespace tandrel;
using namespace tandrel::test;

namespace {

struct PopUpButtonFixture : testing::Test {
    PopUpButtonFixture() {
        button.addItems({QStringLiteral("One"), QStringLiteral("Two"), QStringLiteral("Three")});
        button.resize(200, button.sizeHint().height());
    }

    PopUpButton button;
};

} // namespace

TEST_F(PopUpButtonFixture, ScrollingPastChangesNothing) {
    QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), QPoint(0, -120), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&button, &wheel);
    EXPECT_EQ(button.currentIndex(), 0);
    EXPECT_FALSE(wheel.isAccepted()) << "the view behind may scroll";
}

TEST_F(PopUpButtonFixture, TheKeyboardChooses) {
    const QSignalSpy activations(&button, &QComboBox::activated);
    QTest::keyClick(&button, Qt::Key_Down);
    EXPECT_EQ(button.currentIndex(), 1);
    EXPECT_EQ(activations.count(), 1);
}

TEST_F(PopUpButtonFixture, SpaceOpensTheListAndReturnTakesTheRow) {
    showAndWait(button);
    QTest::keyClick(&button, Qt::Key_Space);
    ASSERT_TRUE(runUntil([this] { return button.view()->isVisible(); }));
    QTest::keyClick(button.view(), Qt::Key_Down);
    QTest::keyClick(button.view(), Qt::Key_Return);
    ASSERT_TRUE(runUntil([this] { return !button.view()->isVisible(); }));
    EXPECT_EQ(button.currentIndex(), 1);
}

TEST_F(PopUpButtonFixture, AsksForNoMoreWidthThanItIsGiven) {
    const QSize before = button.minimumSizeHint();
    button.addItem(QString(500, QLatin1Char('w')));
    EXPECT_EQ(button.minimumSizeHint(), before);
    EXPECT_EQ(button.sizeHint(), before);
}

TEST_F(PopUpButtonFixture, ALongNameLeavesTheChevronsFree) {
    button.addItem(QString(500, QLatin1Char('W')));
    const QImage before = rendered(button);
    button.setCurrentIndex(3);
    const int edge = roundedPixels(18.0);
    const QRect atChevrons(200 - edge, 0, edge, button.height());
    EXPECT_EQ(rendered(button).copy(atChevrons), before.copy(atChevrons));
}

TEST_F(PopUpButtonFixture, ItsListStaysOnTheScreenWhateverTheNames) {
    button.addItem(QString(1000, QLatin1Char('W')));
    showAndWait(button);
    button.showPopup();
    ASSERT_TRUE(runUntil([this] { return button.view()->isVisible(); }));
    EXPECT_LE(button.view()->window()->width(), roundedPixels(480.0));
    EXPECT_GE(button.view()->window()->width(), button.width());
    button.hidePopup();
}

TEST_F(PopUpButtonFixture, WithoutAChoiceItShowsThePlaceholder) {
    button.setCurrentIndex(-1);
    const QImage empty = rendered(button);
    button.setPlaceholderText(QStringLiteral("Gone device"));
    EXPECT_NE(rendered(button), empty);
    EXPECT_EQ(button.currentText(), QString());
}

TEST_F(PopUpButtonFixture, FollowsTheUsersFontAndColours) {
    const ApplicationLook look;
    const int before = button.sizeHint().height();
    look.scaleFont(2.0);
    EXPECT_NEAR(button.sizeHint().height(), 2 * before, 2);
    look.setPalette(darkPalette());
    const QColor fill = rendered(button).pixelColor(button.width() / 2, button.height() - 4);
    EXPECT_TRUE(isClose(fill, controlFill(darkPalette())));
}

TEST_F(PopUpButtonFixture, AssistiveProgramsFindItByItsNameAndItsRowsBelow) {
    button.setAccessibleName(QStringLiteral("Audio Input"));
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&button);
    ASSERT_NE(interface, nullptr);
    EXPECT_EQ(interface->role(), QAccessible::ComboBox);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Audio Input"));
    EXPECT_EQ(interface->text(QAccessible::Value), QStringLiteral("One"));
    ASSERT_EQ(interface->childCount(), 1);
    QAccessibleInterface* list = interface->child(0);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(interface->indexOfChild(list), 0);
    ASSERT_EQ(list->childCount(), 3);
    EXPECT_EQ(list->child(2)->text(QAccessible::Name), QStringLiteral("Three"));
}

TEST_F(PopUpButtonFixture, AssistiveProgramsCanOpenAndCloseTheList) {
    showAndWait(button);
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&button);
    QAccessibleActionInterface* actions = interface->actionInterface();
    ASSERT_NE(actions, nullptr);
    EXPECT_TRUE(actions->actionNames().contains(QAccessibleActionInterface::showMenuAction()));
    EXPECT_TRUE(interface->state().collapsed);
    actions->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_TRUE(button.view()->isVisible());
    EXPECT_TRUE(interface->state().expanded);
    actions->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_FALSE(button.view()->isVisible());
}
