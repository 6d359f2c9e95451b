#include "LoginStartEntry.h"

#include "Services/LoginStartService.h"
#include "Support/ManualMainQueue.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMessageBox>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace tandrel {
namespace {

using test::ManualMainQueue;

/// Switches in memory, unless it is told why not.
class MemoryLoginStart : public LoginStart {
public:
    explicit MemoryLoginStart(LoginStartAnswer& state)
        : state_(state) {}

    [[nodiscard]] LoginStartAnswer look() const override { return {state_.isOn, {}}; }
    LoginStartAnswer change(bool toOn) override {
        if (state_.problem.empty()) {
            state_.isOn = toOn;
        }
        return state_;
    }

private:
    LoginStartAnswer& state_;
};

class LoginStartEntryTest : public testing::Test {
protected:
    LoginStartEntryTest() { new LoginStartEntry(menu, service); }

    [[nodiscard]] QAction& entry() const { return *menu.actions().constFirst(); }
    /// Lets the service's thread answer.
    void settle() {
        ASSERT_TRUE(service.flush(std::chrono::seconds(20)));
        queue.drain();
    }
    static QMessageBox* message() {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            if (auto* const box = qobject_cast<QMessageBox*>(widget); box && box->isVisible()) {
                return box;
            }
        }
        return nullptr;
    }

    LoginStartAnswer state;
    ManualMainQueue queue;
    LoginStartService service{std::make_unique<MemoryLoginStart>(state), queue};
    QMenu menu;
};

TEST_F(LoginStartEntryTest, IsASwitchThatIsOffUntilSomebodyLooks) {
    EXPECT_EQ(entry().text(), QStringLiteral("Start at Login"));
    EXPECT_TRUE(entry().isCheckable());
    EXPECT_FALSE(entry().isChecked());
}

TEST_F(LoginStartEntryTest, ShowsHowThingsStandWhenTheMenuOpens) {
    state.isOn = true;
    Q_EMIT menu.aboutToShow();
    settle();
    EXPECT_TRUE(entry().isChecked());
    state.isOn = false;
    Q_EMIT menu.aboutToShow();
    settle();
    EXPECT_FALSE(entry().isChecked());
}

TEST_F(LoginStartEntryTest, SwitchesOnAndOff) {
    entry().trigger();
    settle();
    EXPECT_TRUE(state.isOn);
    EXPECT_TRUE(entry().isChecked());
    entry().trigger();
    settle();
    EXPECT_FALSE(state.isOn);
    EXPECT_FALSE(entry().isChecked());
    EXPECT_EQ(message(), nullptr);
}

TEST_F(LoginStartEntryTest, WhatIsFoundIsNotTakenForAClick) {
    state.isOn = true;
    state.problem = "not to be changed";
    Q_EMIT menu.aboutToShow();
    settle();
    EXPECT_TRUE(entry().isChecked());
    settle();
    EXPECT_EQ(message(), nullptr);
}

TEST_F(LoginStartEntryTest, MovesBackAndSaysWhyWhenItWasNotChanged) {
    state.problem = "<b>no room</b> in /home/ann";
    entry().trigger();
    settle();
    EXPECT_FALSE(entry().isChecked());
    QMessageBox* const box = message();
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->text().contains(QStringLiteral("<b>no room</b> in /home/ann")));
    EXPECT_EQ(box->textFormat(), Qt::PlainText);
    EXPECT_FALSE(box->isModal());
    box->close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(message(), nullptr);
}

TEST_F(LoginStartEntryTest, SaysItOnceHoweverOftenOneTries) {
    state.problem = "no room";
    entry().trigger();
    settle();
    QMessageBox* const box = message();
    entry().trigger();
    settle();
    EXPECT_EQ(message(), box);
    delete box;
    EXPECT_EQ(message(), nullptr);
}

} // namespace
} // namespace tandrel
