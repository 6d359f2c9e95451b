#include "Views/UpdateWindow.h"

#include "Support/Qt/EventLoop.h"
#include "Support/Widgets/ActiveAccessibility.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"
#include "Views/Controls/ProgressBar.h"
#include "Views/Controls/Spinner.h"
#include "Views/UpdateNotes.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QMouseEvent>
#include <QTest>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tandrel {
namespace {

using test::button;
using test::hasNamed;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> alerts;

void listen(QAccessibleEvent* event) {
    if (event->type() == QAccessible::Alert) {
        alerts.push_back(event->accessibleInterface()->text(QAccessible::Name).toStdString());
    }
}

class UpdateWindowTest : public testing::Test {
protected:
    UpdateWindowTest() {
        QObject::connect(&window, &UpdateWindow::actionRequested, &window,
                         [this](UpdateAction action) { actions.push_back(action); });
        QObject::connect(&window, &UpdateWindow::closed, &window, [this] { ++closings; });
        window.showPage(available());
        test::showAndWait(window);
    }

    static UpdatePage available() {
        UpdatePage page;
        page.headline = "Version 1.2 is available";
        page.detail = "Version 1.1 is installed.";
        page.notes = "<b>Better</b>\nand faster";
        page.releaseNotesLink = "https://www.quorvane.example/notes";
        page.primary = UpdatePage::Button{"Install", UpdateAction::install};
        page.others = {{"Later", UpdateAction::close}, {"Skip this version", UpdateAction::skip}};
        return page;
    }
    static UpdatePage downloading(double progress) {
        UpdatePage page;
        page.headline = "Downloading";
        page.detail = std::to_string(progress);
        page.progress = progress;
        page.others = {{"Cancel", UpdateAction::cancel}};
        return page;
    }
    void show(const UpdatePage& page) {
        window.showPage(page);
        test::settle();
    }

    UpdateWindow window;
    std::vector<UpdateAction> actions;
    int closings = 0;
};

TEST_F(UpdateWindowTest, ShowsAPageFromTopToBottom) {
    const auto shown = test::shownElements(window);
    EXPECT_THAT(shown,
                AllOf(Contains("Version 1.2 is available"), Contains("Version 1.1 is installed."),
                      Contains("Release Notes"), Contains("Skip this version"), Contains("Later"),
                      Contains("Install")));
    EXPECT_THAT(test::clippedParts(window), IsEmpty());
    EXPECT_TRUE(window.findChild<UpdateNotes*>()->isVisible());
    EXPECT_FALSE(window.findChild<ProgressBar*>()->isVisible());
    EXPECT_FALSE(window.findChild<Spinner*>()->isVisible());
}

TEST_F(UpdateWindowTest, TakesTextFromOutsideAsPlainText) {
    EXPECT_EQ(window.findChild<UpdateNotes*>()->toPlainText(),
              QStringLiteral("<b>Better</b>\nand faster"));
    UpdatePage page = available();
    page.headline = "<i>Version</i>";
    show(page);
    EXPECT_TRUE(hasNamed(window, "<i>Version</i>"));
}

TEST_F(UpdateWindowTest, ShowsOnlyWhatThePageHas) {
    UpdatePage page;
    page.headline = "Checking";
    page.isBusy = true;
    show(page);
    EXPECT_TRUE(window.findChild<Spinner*>()->isVisible());
    EXPECT_FALSE(window.findChild<UpdateNotes*>()->isVisible());
    EXPECT_THAT(test::shownElements(window), Not(Contains("Release Notes")));
    EXPECT_THAT(test::shownElements(window), Not(Contains("Install")));
    EXPECT_THAT(test::clippedParts(window), IsEmpty());
}

TEST_F(UpdateWindowTest, SaysWhichButtonWasPressed) {
    button(window, "Install")->click();
    button(window, "Later")->click();
    button(window, "Skip this version")->click();
    EXPECT_THAT(actions,
                ElementsAre(UpdateAction::install, UpdateAction::close, UpdateAction::skip));
    int links = 0;
    QObject::connect(&window, &UpdateWindow::releaseNotesRequested, &window, [&] { ++links; });
    button(window, "Release Notes")->click();
    EXPECT_EQ(links, 1);
}

TEST_F(UpdateWindowTest, IsOperatedByTheKeyboard) {
    EXPECT_EQ(test::focusedName(window), "Install");
    QTest::keyClick(window.focusWidget(), Qt::Key_Return);
    EXPECT_THAT(actions, ElementsAre(UpdateAction::install));
    EXPECT_THAT(test::tabOrder(window),
                AllOf(Contains("Release notes"), Contains("Release Notes"), Contains("Later"),
                      Contains("Skip this version"), Contains("Install")));
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(closings, 1);
}

TEST_F(UpdateWindowTest, FollowsADownloadWithoutTakingItsButtonAway) {
    show(downloading(0.25));
    QAbstractButton* const cancel = button(window, "Cancel");
    cancel->setFocus();
    show(downloading(0.5));
    EXPECT_EQ(button(window, "Cancel"), cancel);
    EXPECT_EQ(test::focusedName(window), "Cancel");
    const auto* const bar = window.findChild<ProgressBar*>();
    EXPECT_TRUE(bar->isVisible());
    EXPECT_EQ(bar->value() * 2, bar->maximum());
}

TEST_F(UpdateWindowTest, ADoubleClickDoesNotPressWhatCameInstead) {
    QObject::connect(&window, &UpdateWindow::actionRequested, &window, [this](UpdateAction action) {
        if (action == UpdateAction::install) {
            window.showPage(downloading(0.0));
        }
    });
    QTest::mouseClick(button(window, "Install"), Qt::LeftButton);
    test::settle();
    // What the window system makes of the second click.
    actions.clear();
    QMouseEvent second(QEvent::MouseButtonDblClick, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton,
                       Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(button(window, "Cancel"), &second);
    QCoreApplication::sendEvent(button(window, "Cancel"), &release);
    EXPECT_THAT(actions, IsEmpty());
}

TEST_F(UpdateWindowTest, OffersDailyChecksOnlyWhereThereAreAny) {
    auto* const box = window.findChild<QCheckBox*>();
    EXPECT_FALSE(box->isVisible());
    window.setChecksDaily(true);
    EXPECT_TRUE(box->isVisible());
    EXPECT_TRUE(box->isChecked());
    std::vector<bool> answers;
    QObject::connect(&window, &UpdateWindow::checksDailyChanged, &window,
                     [&](bool checks) { answers.push_back(checks); });
    box->click();
    box->click();
    EXPECT_THAT(answers, ElementsAre(false, true));
    window.setChecksDaily(false);
    EXPECT_THAT(answers, ElementsAre(false, true)) << "only the user's own answers are told";
}

TEST_F(UpdateWindowTest, AnnouncesWhatIsNew) {
    alerts.clear();
    const test::ActiveAccessibility accessibility(listen);
    show(downloading(0.1));
    show(downloading(0.2));
    EXPECT_THAT(alerts, ElementsAre("Software Update: Downloading"));
}

TEST_F(UpdateWindowTest, GrowsWithTheUsersFontAndLongTexts) {
    const test::ApplicationLook look;
    const int width = window.width();
    look.scaleFont(1.5);
    test::settle();
    EXPECT_GT(window.width(), width);
    UpdatePage page = available();
    page.detail = "A sentence of some length that has to be wrapped. " + std::string(300, 'w');
    show(page);
    // The layouts within each other need some turns.
    EXPECT_TRUE(test::runUntil([this] { return test::clippedParts(window).empty(); }))
        << testing::PrintToString(test::clippedParts(window));
}

TEST_F(UpdateWindowTest, FollowsTheUsersColours) {
    const test::ApplicationLook look;
    const QImage light = test::rendered(window);
    look.setPalette(test::darkPalette());
    test::settle();
    const QImage dark = test::rendered(window);
    EXPECT_LT(dark.pixelColor(2, dark.height() - 2).lightness(), 100);
    EXPECT_GT(light.pixelColor(2, light.height() - 2).lightness(), 200);
    const QColor notes = window.findChild<UpdateNotes*>()->viewport()->palette().base().color();
    EXPECT_LT(notes.lightness(), 100);
    EXPECT_GT(notes.lightness(), dark.pixelColor(2, dark.height() - 2).lightness());
    const QPalette box = window.findChild<QCheckBox*>()->palette();
    EXPECT_EQ(box.color(QPalette::Base), notes);
}

} // namespace
} // namespace tandrel
