#include "Views/SteadySlot.h"

#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"

#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace tandrel {
namespace {

class SteadySlotTest : public testing::Test {
protected:
    SteadySlotTest() {
        low_->setFixedHeight(20);
        high_->setFixedHeight(50);
        slot_->add(*low_);
        slot_->add(*high_);
        auto* column = new QVBoxLayout(&window_);
        column->setContentsMargins({});
        column->setSpacing(10);
        auto* above = new QWidget;
        above->setFixedSize(100, 30);
        column->addWidget(above);
        column->addWidget(slot_);
    }

    /// The height that the window wants now: 30, and with the slot 10 more and its own.
    [[nodiscard]] int wantedHeight() {
        test::settle();
        return window_.sizeHint().height();
    }

    QWidget window_;
    SteadySlot* slot_ = new SteadySlot;
    QWidget* low_ = new QWidget;
    QWidget* high_ = new QWidget;
};

TEST_F(SteadySlotTest, TakesNoRoomWhileEmpty) {
    test::showAndWait(window_);
    EXPECT_EQ(wantedHeight(), 30);
    EXPECT_FALSE(slot_->isVisible());
}

TEST_F(SteadySlotTest, IsAsHighAsItsContent) {
    slot_->setContent(high_);
    test::showAndWait(window_);
    EXPECT_EQ(wantedHeight(), 90);
    EXPECT_TRUE(high_->isVisible());
    EXPECT_FALSE(low_->isVisible());
    slot_->setContent(low_);
    EXPECT_EQ(wantedHeight(), 60);
    EXPECT_FALSE(high_->isVisible());
    EXPECT_TRUE(low_->isVisible());
}

TEST_F(SteadySlotTest, KeepsItsHeightWhenItsContentGoes) {
    slot_->setContent(low_);
    test::showAndWait(window_);
    slot_->setContent(nullptr);
    EXPECT_EQ(wantedHeight(), 60);
    EXPECT_FALSE(low_->isVisible());
    slot_->setContent(high_);
    EXPECT_EQ(wantedHeight(), 90);
}

TEST_F(SteadySlotTest, ForgetsItsHeightWhenHidden) {
    slot_->setContent(low_);
    test::showAndWait(window_);
    slot_->setContent(nullptr);
    window_.hide();
    EXPECT_EQ(wantedHeight(), 30);
    window_.show();
    EXPECT_EQ(wantedHeight(), 30);
}

TEST_F(SteadySlotTest, KeepsItsContentOverAHide) {
    slot_->setContent(low_);
    test::showAndWait(window_);
    window_.hide();
    window_.show();
    EXPECT_EQ(wantedHeight(), 60);
    EXPECT_TRUE(low_->isVisible());
}

TEST_F(SteadySlotTest, KeepsNothingOfWhatWasNeverSeen) {
    slot_->setContent(low_);
    slot_->setContent(nullptr);
    test::showAndWait(window_);
    EXPECT_EQ(wantedHeight(), 30);
}

} // namespace
} // namespace tandrel
