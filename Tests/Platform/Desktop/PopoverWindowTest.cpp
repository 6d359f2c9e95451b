#include "Platform/Desktop/PopoverWindow.h"

#include "Support/Qt/EventLoop.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTimer>

#include <gmock/gmock.h>

namespace tandrel {
namespace {

using test::runUntil;
using Kind = PopoverWindow::Kind;

const QMargins shadow(20, 10, 20, 30);

/// A screen with a panel at the bottom, and the icon in it.
const PopoverSituation situation{
    {500, 574, 22, 22}, {}, {{QRect(0, 0, 800, 600), QRect(0, 0, 800, 570)}}};

class PopoverWindowTest : public testing::Test {
protected:
    PopoverWindowTest()
        : content_(new QWidget)
        , window_(
              content_, [this] { return hasCompositor_; },
              [this](bool isVisible) {
                  hasShadow_ = isVisible;
                  return isVisible ? shadow : QMargins();
              }) {
        content_->setFixedSize(320, 200);
        QObject::connect(&window_, &PopoverWindow::closedByDeactivation,
                         [this] { ++deactivations_; });
    }

    /// Opens it, and waits until losing the focus counts.
    void open(Kind kind) {
        window_.open(kind, situation);
        ASSERT_TRUE(runUntil([this] { return window_.isActiveWindow(); }));
        ASSERT_TRUE(runUntil([this] { return !window_.findChild<QTimer*>()->isActive(); }));
    }
    void activateAnother() {
        other_.show();
        other_.activateWindow();
        ASSERT_TRUE(runUntil([this] { return !window_.isActiveWindow(); }));
        QCoreApplication::processEvents();
    }
    void click(const QPoint& place) {
        QMouseEvent press(QEvent::MouseButtonPress, place, window_.mapToGlobal(place),
                          Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&window_, &press);
    }

    bool hasCompositor_ = false;
    bool hasShadow_ = false;
    int deactivations_ = 0;
    QWidget* content_;
    PopoverWindow window_;
    QWidget other_;
};

TEST_F(PopoverWindowTest, ClosesWhenAnotherWindowBecomesActive) {
    open(Kind::popover);
    activateAnother();
    EXPECT_TRUE(runUntil([this] { return !window_.isVisible(); }));
    EXPECT_EQ(deactivations_, 1);
}

TEST_F(PopoverWindowTest, StaysWhenItLosesTheFocusJustAfterItOpened) {
    window_.open(Kind::popover, situation);
    ASSERT_TRUE(runUntil([this] { return window_.isActiveWindow(); }));
    activateAnother();
    EXPECT_TRUE(window_.isVisible());
    // Then it asks for the focus again, for it would not notice when to close.
    EXPECT_TRUE(runUntil([this] { return window_.isActiveWindow(); }));
}

TEST_F(PopoverWindowTest, AsAnOrdinaryWindowItStaysWhenAnotherBecomesActive) {
    open(Kind::window);
    EXPECT_FALSE(window_.windowFlags().testFlag(Qt::FramelessWindowHint));
    activateAnother();
    EXPECT_TRUE(window_.isVisible());
    EXPECT_EQ(deactivations_, 0);
}

TEST_F(PopoverWindowTest, EscapeCloses) {
    for (const Kind kind : {Kind::popover, Kind::window}) {
        window_.open(kind, situation);
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QCoreApplication::sendEvent(content_, &press);
        EXPECT_FALSE(window_.isVisible());
    }
    EXPECT_EQ(deactivations_, 0);
}

TEST_F(PopoverWindowTest, FollowsItsContentAndKeepsTheEdgeAtThePanel) {
    open(Kind::popover);
    const int bottom = window_.geometry().bottom();
    EXPECT_LT(bottom, 574);
    EXPECT_GT(bottom, 550);
    const int height = window_.height();
    content_->setFixedSize(320, 260);
    EXPECT_TRUE(runUntil([&] { return window_.height() == height + 60; }));
    EXPECT_EQ(window_.geometry().bottom(), bottom);
    content_->setFixedSize(320, 120);
    EXPECT_TRUE(runUntil([&] { return window_.height() == height - 80; }));
    EXPECT_EQ(window_.geometry().bottom(), bottom);
}

TEST_F(PopoverWindowTest, WithoutACompositorItIsSquareWithABorder) {
    open(Kind::popover);
    EXPECT_FALSE(window_.testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_FALSE(hasShadow_);
    EXPECT_EQ(content_->geometry(), window_.rect().adjusted(1, 1, -1, -1));
}

TEST_F(PopoverWindowTest, NoticesAtEachOpeningWhetherThereIsACompositor) {
    open(Kind::popover);
    window_.close();
    hasCompositor_ = true;
    open(Kind::popover);
    EXPECT_TRUE(window_.testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_TRUE(hasShadow_);
    window_.close();
    open(Kind::window);
    EXPECT_FALSE(window_.testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_FALSE(hasShadow_);
}

TEST_F(PopoverWindowTest, AClickOnTheShadowClosesAndOneOnTheCardDoesNot) {
    hasCompositor_ = true;
    open(Kind::popover);
    click({shadow.left(), shadow.top()});
    EXPECT_TRUE(window_.isVisible());
    click({shadow.left() - 1, 100});
    EXPECT_FALSE(window_.isVisible());
}

TEST_F(PopoverWindowTest, TheShadowDoesNotLieOverThePanel) {
    hasCompositor_ = true;
    open(Kind::popover);
    EXPECT_GT(window_.geometry().bottom(), 570);
    EXPECT_EQ(window_.mask().translated(window_.pos()).boundingRect().bottom(), 569);
}

TEST_F(PopoverWindowTest, AnOpenOneKeepsItsPlaceWhenOpenedAgain) {
    open(Kind::popover);
    const QRect geometry = window_.geometry();
    window_.open(Kind::window, {});
    EXPECT_EQ(window_.geometry(), geometry);
    EXPECT_TRUE(window_.windowFlags().testFlag(Qt::FramelessWindowHint));
}

TEST_F(PopoverWindowTest, GoesToTheScreenThatIsLeftAndKeepsItsSize) {
    const PopoverSituation left{{}, {}, {{QRect(0, 0, 500, 400), QRect(0, 30, 500, 370)}}};
    for (const bool hasCompositor : {false, true}) {
        hasCompositor_ = hasCompositor;
        window_.close();
        open(Kind::popover);
        ASSERT_FALSE(left.screens.front().available.contains(window_.geometry()));
        const QSize size = window_.size();
        window_.follow(left);
        const QRect card = window_.geometry().marginsRemoved(hasShadow_ ? shadow : QMargins());
        EXPECT_TRUE(left.screens.front().available.contains(card));
        EXPECT_EQ(window_.size(), size);
        EXPECT_TRUE(window_.isVisible());
    }
}

TEST_F(PopoverWindowTest, SurvivesThatThereIsNoScreenLeft) {
    open(Kind::popover);
    window_.follow({});
    EXPECT_TRUE(window_.isVisible());
    window_.follow(situation);
    EXPECT_GT(window_.geometry().bottom(), 550);
}

TEST_F(PopoverWindowTest, AClosedOneStaysClosedWhateverTheScreensDo) {
    window_.follow(situation);
    EXPECT_FALSE(window_.isVisible());
}

} // namespace
} // namespace tandrel
