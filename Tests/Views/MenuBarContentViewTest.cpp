#include "Views/MenuBarContentView.h"

#include "Support/LogCapture.h"
#include "Support/Widgets/Palettes.h"
#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"
#include "Views/ContentFixture.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/PopoverCard.h"
#include "Views/LoginView.h"
#include "Views/PopoverView.h"

#include <QApplication>
#include <QLineEdit>
#include <QPointer>
#include <QTest>

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::button;
using test::named;
using testing::IsEmpty;

class MenuBarContentViewTest : public test::ContentFixture {
protected:
    ~MenuBarContentViewTest() override { view.reset(); }

    void show() { test::showAndWait(*view); }
    [[nodiscard]] LoginView* form() { return shown<LoginView>(); }
    [[nodiscard]] PopoverView* panel() { return shown<PopoverView>(); }
    [[nodiscard]] QLineEdit& field(const char* name) {
        return *qobject_cast<QLineEdit*>(named(*view, name));
    }
    [[nodiscard]] std::size_t deviceQueries() const {
        const auto& calls = outside.audioInput.calls();
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), "devices"));
    }
    [[nodiscard]] std::size_t requests() { return outside.backend.transport.requests().size(); }

    test::LogCapture log;
    std::unique_ptr<MenuBarContentView> view =
        std::make_unique<MenuBarContentView>(controller, environment);

private:
    /// The one view of this kind that is there; null for none. Those on their way out do not count.
    template <typename View>
    [[nodiscard]] View* shown() {
        View* found = nullptr;
        for (View* candidate : view->findChildren<View*>()) {
            if (!candidate->isHidden()) {
                EXPECT_EQ(found, nullptr);
                found = candidate;
            }
        }
        return found;
    }
};

// Its look

TEST_F(MenuBarContentViewTest, AThemeThatChangesWhileItIsOpenLooksAsIfItHadAlwaysBeen) {
    const auto picture = [this] {
        // Its window fits it, here as in the program.
        view->adjustSize();
        QCoreApplication::processEvents();
        return test::rendered(*view);
    };
    const auto expectLikeNew = [&](const char* what) {
        const test::ApplicationLook look;
        show();
        const QImage before = picture();
        look.setPalette(test::darkPalette());
        const QImage changed = picture();
        EXPECT_NE(changed, before) << what;
        view = std::make_unique<MenuBarContentView>(controller, environment);
        show();
        EXPECT_EQ(changed, picture()) << what;
    };
    expectLikeNew("form");
    signIn();
    findSession();
    expectLikeNew("panel");
}

// One of the two

TEST_F(MenuBarContentViewTest, ShowsTheFormWhileNobodyIsSignedIn) {
    show();
    EXPECT_NE(form(), nullptr);
    EXPECT_EQ(panel(), nullptr);
}

TEST_F(MenuBarContentViewTest, ShowsThePanelOnceSomebodyIs) {
    show();
    signIn();
    EXPECT_EQ(form(), nullptr);
    EXPECT_NE(panel(), nullptr);
    EXPECT_TRUE(test::hasNamed(*view, "ada@example.org"));
}

TEST_F(MenuBarContentViewTest, BeginsWithThePanelForARestoredUser) {
    signIn();
    view = std::make_unique<MenuBarContentView>(controller, environment);
    EXPECT_EQ(form(), nullptr);
    EXPECT_NE(panel(), nullptr);
}

TEST_F(MenuBarContentViewTest, LeavesNothingOfAViewBehind) {
    show();
    const QPointer<LoginView> oldForm = form();
    signIn();
    const QPointer<PopoverView> oldPanel = panel();
    button(*view, "Sign Out")->click();
    test::settle();
    EXPECT_EQ(oldForm, nullptr);
    EXPECT_EQ(oldPanel, nullptr);
    for (int round = 0; round < 20; ++round) {
        signIn();
        auth().logout();
        test::settle();
    }
    EXPECT_EQ(view->findChildren<QWidget*>(Qt::FindDirectChildrenOnly).size(), 1);
}

TEST_F(MenuBarContentViewTest, ShowsAnEmptyFormAfterASignOut) {
    show();
    field("Email").setText(QString::fromUtf8("ada@example.org"));
    field("Password").setText(QString::fromUtf8("secret"));
    signIn();
    auth().logout();
    EXPECT_TRUE(field("Email").text().isEmpty());
    EXPECT_TRUE(field("Password").text().isEmpty());
    EXPECT_TRUE(test::hasNamed(*view, "Show password"));
}

TEST_F(MenuBarContentViewTest, WipesThePasswordAsSoonAsTheUserIsIn) {
    show();
    field("Password").setText(QString::fromUtf8("secret"));
    const QString held = field("Password").text();
    signIn();
    EXPECT_EQ(held, QString(6, u'\0'));
}

TEST_F(MenuBarContentViewTest, SignsInThroughTheForm) {
    show();
    QTest::keyClicks(&field("Email"), QStringLiteral("ada@example.org"));
    QTest::keyClicks(&field("Password"), QStringLiteral("secret"));
    QTest::keyClick(&field("Password"), Qt::Key_Return);
    outside.backend.transport.answer(
        200, R"({"access_token":"access","refresh_token":"refresh","user":{"id":"u1",)"
             R"("email":"ada@example.org","account_id":"a1"}})");
    outside.turn();
    test::settle();
    EXPECT_NE(panel(), nullptr);
    EXPECT_EQ(log.linesStartingWith("[startPolling]").size(), 1U);
    EXPECT_FALSE(auth().isLoading.value());
}

TEST_F(MenuBarContentViewTest, SaysWhyTheBackendEndedTheSession) {
    show();
    signIn();
    outside.backend.transport.answer(401, "{}");
    EXPECT_NE(form(), nullptr);
    EXPECT_TRUE(test::hasNamed(*view, "Session expired. Please log in again."));
}

TEST_F(MenuBarContentViewTest, SignsOutWhileStreaming) {
    show();
    signIn();
    findSession();
    button(*view, "Start Streaming")->click();
    bringUpStream();
    ASSERT_TRUE(audio().isCapturing.value());
    QTest::mouseClick(button(*view, "Sign Out"), Qt::LeftButton);
    EXPECT_NE(form(), nullptr);
    EXPECT_FALSE(audio().isCapturing.value());
    EXPECT_EQ(outside.connection().closedWith(), 1000);
    test::settle();
    // Nothing of the panel lives on.
    audio().audioLevel.set(0.5F);
    session().error.set("too late");
    outside.clock().advance(60s);
    test::settle();
    EXPECT_FALSE(test::hasNamed(*view, "too late"));
    EXPECT_EQ(outside.clock().pendingCount(), 0U);
}

TEST_F(MenuBarContentViewTest, SignsOutByTheKeyboard) {
    show();
    signIn();
    QWidget* const signOut = named(*view, "Sign Out");
    signOut->setFocus();
    QTest::keyClick(signOut, Qt::Key_Return);
    EXPECT_NE(form(), nullptr);
    EXPECT_EQ(test::focusedName(*view), "Email");
}

TEST_F(MenuBarContentViewTest, DoesNotFlashTheFormWhenTheProgramEnds) {
    show();
    signIn();
    findSession();
    controller.shutdown();
    EXPECT_EQ(form(), nullptr);
    EXPECT_NE(panel(), nullptr);
    button(*view, "Start Streaming")->click();
    EXPECT_THAT(outside.backend.streamSocket.connections(), IsEmpty());
}

// Being shown

TEST_F(MenuBarContentViewTest, RestoresOnceHoweverOftenItIsShown) {
    outside.backend.storeAccessToken();
    outside.backend.userDefaults.setData(
        "cached_user_data", R"({"id":"u1","email":"ada@example.org","accountId":"a1"})");
    EXPECT_EQ(requests(), 0U);
    for (int round = 0; round < 3; ++round) {
        view->show();
        outside.turn();
        view->hide();
    }
    view->show();
    EXPECT_NE(panel(), nullptr);
    outside.backend.transport.answer(200,
                                     R"({"id":"u1","email":"ada@example.org","account_id":"a1"})");
    outside.turn();
    std::size_t restores = 0;
    for (const HttpRequest& request : outside.backend.transport.requests()) {
        restores += request.url == "https://api.test/api/auth/me" ? 1U : 0U;
    }
    EXPECT_EQ(restores, 1U);
}

TEST_F(MenuBarContentViewTest, LooksForDevicesWheneverThePanelIsShown) {
    signIn();
    const std::size_t before = deviceQueries();
    view->show();
    EXPECT_EQ(deviceQueries(), before + 1);
    view->hide();
    view->show();
    EXPECT_EQ(deviceQueries(), before + 2);
}

TEST_F(MenuBarContentViewTest, LooksForDevicesWhenThePanelAppearsInView) {
    show();
    const std::size_t before = deviceQueries();
    signIn();
    EXPECT_EQ(deviceQueries(), before + 1);
}

TEST_F(MenuBarContentViewTest, LooksForNoDevicesWhileHidden) {
    const std::size_t before = deviceQueries();
    signIn();
    EXPECT_EQ(deviceQueries(), before);
}

TEST_F(MenuBarContentViewTest, KeepsStreamingWhileHidden) {
    show();
    signIn();
    findSession();
    button(*view, "Start Streaming")->click();
    bringUpStream();
    view->hide();
    outside.clock().advance(10s);
    EXPECT_TRUE(audio().isCapturing.value());
    EXPECT_EQ(session().state.value(), SessionState::streaming());
    view->show();
    EXPECT_TRUE(test::hasNamed(*view, "Streaming 00:10"));
}

// Its size

TEST_F(MenuBarContentViewTest, Is320PointsWideAndAsHighAsItsContent) {
    show();
    EXPECT_EQ(view->width(), roundedPixels(320));
    EXPECT_EQ(view->sizeHint().width(), roundedPixels(320));
    const int formHeight = view->sizeHint().height();
    auth().error.set("Invalid email or password");
    test::settle();
    EXPECT_GT(view->sizeHint().height(), formHeight);
    signIn();
    test::settle();
    const int panelHeight = view->sizeHint().height();
    session().error.set("Failed to connect WebSocket");
    test::settle();
    EXPECT_GT(view->sizeHint().height(), panelHeight);
}

TEST_F(MenuBarContentViewTest, MakesItsCardFit) {
    auto* const content = view.release();
    PopoverCard card(content);
    test::showAndWait(card);
    const auto fits = [&card, content] {
        test::settle();
        card.adjustSize();
        test::settle();
        return content->size() == content->sizeHint() && test::clippedParts(card).empty();
    };
    EXPECT_TRUE(fits());
    auth().error.set("Network error: the connection to the server was refused, and so was the one "
                     "after it, so check the network");
    EXPECT_TRUE(fits());
    signIn();
    EXPECT_TRUE(fits());
    findSession();
    EXPECT_TRUE(fits());
    session().error.set("Microphone permission denied. Grant access in System Settings → Privacy & "
                        "Security → Microphone.");
    EXPECT_TRUE(fits());
}

TEST_F(MenuBarContentViewTest, KeepsItsContentAtTheTopOfAWindowThatIsTooHigh) {
    show();
    view->resize(view->width(), view->sizeHint().height() + 100);
    test::settle();
    EXPECT_EQ(form()->geometry(), QRect(0, 0, view->width(), view->sizeHint().height()));
}

TEST_F(MenuBarContentViewTest, GrowsWithTheUsersFont) {
    const test::ApplicationLook look;
    show();
    signIn();
    findSession();
    test::settle();
    const QSize before = view->sizeHint();
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * 2);
    QApplication::setFont(font);
    test::settle();
    const QSize after = view->sizeHint();
    EXPECT_EQ(after.width(), roundedPixels(320));
    EXPECT_NEAR(after.width(), 2 * before.width(), 2);
    EXPECT_NEAR(after.height(), 2 * before.height(), 12);
    view->resize(after);
    test::settle();
    EXPECT_THAT(test::clippedParts(*view), IsEmpty());
    auth().logout();
    test::settle();
    view->resize(view->sizeHint());
    test::settle();
    EXPECT_THAT(test::clippedParts(*view), IsEmpty());
}

// The keyboard

TEST_F(MenuBarContentViewTest, BeginsInTheEmailField) {
    show();
    EXPECT_EQ(test::focusedName(*view), "Email");
}

TEST_F(MenuBarContentViewTest, ReturnsToTheFieldThatWasLeft) {
    show();
    field("Password").setFocus();
    view->hide();
    view->show();
    EXPECT_EQ(test::focusedName(*view), "Password");
}

TEST_F(MenuBarContentViewTest, GivesNoButtonOfThePanelTheFocusByItself) {
    show();
    signIn();
    EXPECT_EQ(view->focusWidget(), panel());
    button(*view, "Privacy")->setFocus();
    view->hide();
    view->show();
    EXPECT_EQ(view->focusWidget(), panel());
    QTest::keyClick(view->windowHandle(), Qt::Key_Tab);
    EXPECT_EQ(test::focusedName(*view), "Sign Out");
}

} // namespace
} // namespace tandrel
