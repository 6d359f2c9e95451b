#include "Views/Controls/FocusRing.h"

#include "Support/Qt/EventLoop.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Theme.h"

#include <QApplication>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>

using namespace tandrel;
using namespace tandrel::test;

namespace {

/// Two buttons in a tight row of a wide window.
struct FocusRingFixture : testing::Test {
    FocusRingFixture() {
        row->setGeometry(40, 40, 200, 30);
        first->setGeometry(0, 0, 80, 30);
        second->setGeometry(100, 0, 80, 30);
        window->resize(300, 200);
        showAndWait(*window);
        // The window gave the first button the focus when it opened.
        window->setFocus();
    }

    [[nodiscard]] static bool hasRing(const PlainButton& button) {
        return button.findChild<FocusRing*>()->isShown();
    }
    /// Whether the window is coloured just outside `area`.
    [[nodiscard]] bool isRingAround(const QRect& area) const {
        const QImage image = window->grab().toImage();
        const QColor ring = focusRing(window->palette());
        return isClose(image.pixelColor(area.center().x(), area.top() - 2), ring, 40) &&
               isClose(image.pixelColor(area.center().x(), area.bottom() + 2), ring, 40) &&
               isClose(image.pixelColor(area.left() - 2, area.center().y()), ring, 40) &&
               isClose(image.pixelColor(area.right() + 2, area.center().y()), ring, 40);
    }

    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QWidget* row = new QWidget(window.get());
    PlainButton* first = new PlainButton(QStringLiteral("One"), 12.0, ColorRole::primary, row);
    PlainButton* second = new PlainButton(QStringLiteral("Two"), 12.0, ColorRole::primary, row);
};

} // namespace

TEST_F(FocusRingFixture, SurroundsWhatTheTabKeyReached) {
    first->setFocus(Qt::TabFocusReason);
    EXPECT_TRUE(hasRing(*first));
    EXPECT_TRUE(isRingAround(QRect(40, 40, 80, 30))) << "also outside the tight row";
    QTest::keyClick(first, Qt::Key_Tab);
    EXPECT_FALSE(hasRing(*first));
    EXPECT_TRUE(hasRing(*second));
    EXPECT_FALSE(isRingAround(QRect(40, 40, 80, 30)));
    EXPECT_TRUE(isRingAround(QRect(140, 40, 80, 30)));
}

TEST_F(FocusRingFixture, DoesNotShowWhatAClickOrTheOpeningWindowFocused) {
    first->setFocus(Qt::MouseFocusReason);
    EXPECT_FALSE(hasRing(*first));
    second->setFocus(Qt::ActiveWindowFocusReason);
    EXPECT_FALSE(hasRing(*second));
}

TEST_F(FocusRingFixture, AppearsOnceTheKeyboardIsUsed) {
    first->setFocus(Qt::MouseFocusReason);
    QTest::keyClick(first, Qt::Key_Space);
    EXPECT_TRUE(hasRing(*first));
}

TEST_F(FocusRingFixture, ComesBackWithTheWindow) {
    first->setFocus(Qt::TabFocusReason);
    QFocusEvent out(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
    QApplication::sendEvent(first, &out);
    EXPECT_FALSE(hasRing(*first));
    QFocusEvent in(QEvent::FocusIn, Qt::ActiveWindowFocusReason);
    QApplication::sendEvent(first, &in);
    EXPECT_TRUE(hasRing(*first));
}

TEST_F(FocusRingFixture, FollowsItsControl) {
    first->setFocus(Qt::TabFocusReason);
    first->move(20, 0);
    EXPECT_TRUE(isRingAround(QRect(60, 40, 80, 30)));
    row->move(40, 90);
    EXPECT_TRUE(isRingAround(QRect(60, 90, 80, 30)));
}

TEST_F(FocusRingFixture, GoesWhereItsControlGoes) {
    first->setFocus(Qt::TabFocusReason);
    delete first;
    EXPECT_FALSE(isRingAround(QRect(40, 40, 80, 30)));
    second->setFocus(Qt::TabFocusReason);
    row->hide();
    EXPECT_FALSE(isRingAround(QRect(140, 40, 80, 30)));
}

TEST_F(FocusRingFixture, OutlivesNeitherWindowNorControl) {
    first->setFocus(Qt::TabFocusReason);
    window.reset();
    SUCCEED() << "neither of the two owners deletes what the other has deleted";
}

TEST_F(FocusRingFixture, LeavesTheMouseToWhatLiesBelow) {
    first->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(QApplication::widgetAt(window->mapToGlobal(QPoint(80, 55))), first);
}
