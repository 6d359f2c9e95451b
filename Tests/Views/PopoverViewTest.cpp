#include "Views/PopoverView.h"

#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"
#include "Views/AudioLevelMeter.h"
#include "Views/ContentFixture.h"
#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/ProminentButton.h"
#include "Views/Controls/Spinner.h"
#include "Views/Controls/TextLabel.h"

#include <QApplication>
#include <QTest>

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using Kind = SessionState::Kind;
using test::button;
using test::named;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

/// Counts what happens to the widgets of a view.
class EventCounter : public QObject {
public:
    explicit EventCounter(QWidget& view)
        : view_(view) {
        test::settle();
        qApp->installEventFilter(this);
    }

    [[nodiscard]] int total() const {
        int sum = 0;
        for (const auto& [widget, count] : paints_) {
            sum += count;
        }
        return sum + others_;
    }
    [[nodiscard]] bool wasPainted(const QWidget* widget) const { return paints_.contains(widget); }

    bool eventFilter(QObject* watched, QEvent* event) override {
        const auto* widget = qobject_cast<const QWidget*>(watched);
        if (widget != nullptr && (widget == &view_ || view_.isAncestorOf(widget))) {
            if (event->type() == QEvent::Paint) {
                ++paints_[widget];
            } else {
                ++others_;
            }
        }
        return false;
    }

private:
    QWidget& view_;
    std::map<const QWidget*, int> paints_;
    int others_ = 0;
};

class PopoverViewTest : public test::ContentFixture {
protected:
    PopoverViewTest() {
        signIn();
        session().stopPolling();
        session().state.set(SessionState::idle());
        view = std::make_unique<PopoverView>(panel(), environment);
        view->setFixedWidth(roundedPixels(320));
        test::showAndWait(*view);
    }
    ~PopoverViewTest() override { view.reset(); }

    [[nodiscard]] StreamingController& panel() { return *controller.panel.value(); }
    [[nodiscard]] ProminentButton& actionButton() { return *view->findChild<ProminentButton*>(); }
    [[nodiscard]] AudioLevelMeter& meter() { return *view->findChild<AudioLevelMeter*>(); }
    void setKind(Kind kind) {
        switch (kind) {
        case Kind::idle:
            session().state.set(SessionState::idle());
            break;
        case Kind::polling:
            session().state.set(SessionState::polling());
            break;
        case Kind::sessionFound:
            findSession();
            break;
        case Kind::streaming:
            session().state.set(SessionState::streaming());
            break;
        case Kind::completed:
            session().state.set(SessionState::completed());
            break;
        }
    }
    void startStream() {
        findSession();
        panel().startStreaming(*session().state.value().session());
        bringUpStream();
        ASSERT_TRUE(audio().isCapturing.value());
    }
    [[nodiscard]] int height() {
        test::settle();
        return view->hasHeightForWidth() ? view->heightForWidth(view->width())
                                         : view->sizeHint().height();
    }

    std::unique_ptr<PopoverView> view;
};

// What is shown

TEST_F(PopoverViewTest, ShowsEachStateFromTopToBottom) {
    const std::vector<std::string> middle = {"<Divider>",       "Audio Input", "<Refresh devices>",
                                             "Desk microphone", "Audio Level", "<AudioLevelMeter>"};
    const std::vector<std::string> bottom = {"<Divider>", "v1.2.3", "·", "Privacy", "Quit"};
    const struct {
        Kind kind;
        std::vector<std::string> badge;
        std::vector<std::string> actions;
    } cases[] = {
        {Kind::idle,
         {"<circle>", "Idle"},
         {"Start Streaming", "Start a tandrel session from the web app"}},
        {Kind::polling, {"<Spinner>", "Waiting"}, {"Start Streaming"}},
        {Kind::sessionFound, {"<circle.fill>", "Ready"}, {"Start Streaming", "Open in Browser"}},
        {Kind::streaming, {"<StatusDot>", "Streaming", "00:00"}, {"Stop"}},
        {Kind::completed, {"<checkmark.circle.fill>", "Done"}, {"Start Streaming"}},
    };
    for (const auto& [kind, badge, actions] : cases) {
        setKind(kind);
        std::vector<std::string> expected = {"Quorvane Tandrel", "ada@example.org", "·",
                                             "Sign Out"};
        for (const auto* part : {&badge, &middle, &actions, &bottom}) {
            expected.insert(expected.end(), part->begin(), part->end());
        }
        EXPECT_THAT(test::shownElements(*view), ElementsAreArray(expected));
        view->resize(view->width(), height());
        test::settle();
        EXPECT_THAT(test::clippedParts(*view), IsEmpty());
    }
}

TEST_F(PopoverViewTest, OffersTheActionOfEachState) {
    const struct {
        Kind kind;
        bool isEnabled;
        ColorRole tint;
        Symbol symbol;
    } cases[] = {
        {Kind::idle, false, ColorRole::green, Symbol::micFill},
        {Kind::polling, false, ColorRole::green, Symbol::micFill},
        {Kind::sessionFound, true, ColorRole::green, Symbol::micFill},
        {Kind::streaming, true, ColorRole::red, Symbol::stopFill},
        {Kind::completed, false, ColorRole::green, Symbol::micFill},
    };
    for (const auto& [kind, isEnabled, tint, symbol] : cases) {
        setKind(kind);
        EXPECT_EQ(actionButton().isEnabled(), isEnabled);
        EXPECT_EQ(actionButton().tint(), tint);
        EXPECT_EQ(actionButton().symbol(), symbol);
        EXPECT_EQ(actionButton().width(), view->width() - 2 * roundedPixels(16));
    }
}

TEST_F(PopoverViewTest, CannotStartWithoutADevice) {
    findSession();
    audio().selectedDevice.set(std::nullopt);
    EXPECT_FALSE(actionButton().isEnabled());
    EXPECT_TRUE(button(*view, "Open in Browser")->isEnabled());
    audio().selectedDevice.set(AudioDevice{7, "Desk microphone", "mic-7"});
    EXPECT_TRUE(actionButton().isEnabled());
}

TEST_F(PopoverViewTest, CanStopWithoutADevice) {
    session().state.set(SessionState::streaming());
    audio().selectedDevice.set(std::nullopt);
    EXPECT_TRUE(actionButton().isEnabled());
}

TEST_F(PopoverViewTest, UsesTheSizesAndColoursOfTheDesign) {
    const auto label = [this](const char* name) {
        return qobject_cast<TextLabel*>(named(*view, name));
    };
    EXPECT_EQ(label("Quorvane Tandrel")->font(), systemFont(13, QFont::Medium));
    EXPECT_EQ(label("ada@example.org")->font(), systemFont(11));
    EXPECT_EQ(label("ada@example.org")->role(), ColorRole::secondary);
    EXPECT_EQ(label("Audio Level")->font(), systemFont(11));
    EXPECT_EQ(label("Audio Level")->role(), ColorRole::secondary);
    EXPECT_EQ(label("Start a tandrel session from the web app")->role(), ColorRole::tertiary);
    EXPECT_EQ(button(*view, "v1.2.3")->font(), systemFont(12));
    EXPECT_EQ(button(*view, "Quit")->font(), systemFont(12));
    findSession();
    const auto* link = qobject_cast<PlainButton*>(button(*view, "Open in Browser"));
    EXPECT_EQ(link->font(), systemFont(11));
    EXPECT_EQ(link->role(), ColorRole::accent);
    EXPECT_EQ(link->leadingSymbol(), Symbol::safari);
}

TEST_F(PopoverViewTest, KeepsToTheGrid) {
    const auto top = [this](QWidget* widget) { return widget->mapTo(view.get(), QPoint()).y(); };
    QWidget* const title = named(*view, "Quorvane Tandrel");
    EXPECT_EQ(title->mapTo(view.get(), QPoint()), QPoint(roundedPixels(16), roundedPixels(16)));
    EXPECT_EQ(top(&meter()) - top(named(*view, "Audio Level")) -
                  named(*view, "Audio Level")->height(),
              roundedPixels(4));
    EXPECT_EQ(meter().height(), roundedPixels(6));
    QWidget* const quit = named(*view, "Quit");
    EXPECT_NEAR(quit->mapTo(view.get(), QPoint(quit->width(), 0)).x(),
                view->width() - roundedPixels(16), 1);
}

TEST_F(PopoverViewTest, ShowsTheDurationWhileStreaming) {
    session().state.set(SessionState::streaming());
    panel().streamingDuration.set(754.0);
    EXPECT_TRUE(test::hasNamed(*view, "Streaming 12:34"));
    panel().streamingDuration.set(3900.0);
    EXPECT_TRUE(test::hasNamed(*view, "Streaming 65:00"));
}

TEST_F(PopoverViewTest, ShowsNoUserRowWhenNobodyIsKnown) {
    auth().user.set(std::nullopt);
    EXPECT_FALSE(test::hasNamed(*view, "Sign Out"));
    auth().user.set(UserProfile{"u2", "grace@example.org", std::nullopt, "a1"});
    EXPECT_TRUE(test::hasNamed(*view, "grace@example.org"));
    EXPECT_TRUE(test::hasNamed(*view, "Sign Out"));
}

TEST_F(PopoverViewTest, ElidesALongEmailAndTellsItWhole) {
    const std::string email = std::string(60, 'a') + "@example.org";
    auth().user.set(UserProfile{"u1", email, std::nullopt, "a1"});
    session().state.set(SessionState::streaming());
    test::settle();
    const QWidget* const label = named(*view, email);
    EXPECT_LT(label->width(), label->sizeHint().width());
    EXPECT_EQ(label->toolTip().toStdString(), email);
    EXPECT_THAT(test::clippedParts(*view), IsEmpty());
    EXPECT_EQ(view->width(), roundedPixels(320));
}

// The error

TEST_F(PopoverViewTest, ShowsTheErrorAboveTheActionBar) {
    session().error.set("Failed to connect WebSocket");
    EXPECT_THAT(test::shownElements(*view),
                ElementsAre("Quorvane Tandrel", "ada@example.org", "·", "Sign Out", "<circle>",
                            "Idle", "<Divider>", "Audio Input", "<Refresh devices>",
                            "Desk microphone", "Audio Level", "<AudioLevelMeter>",
                            "Start Streaming", "Start a tandrel session from the web app",
                            "<Divider>", "<exclamationmark.triangle.fill>",
                            "Failed to connect WebSocket", "<Divider>", "v1.2.3", "·", "Privacy",
                            "Quit"));
    session().error.set(std::nullopt);
    EXPECT_FALSE(test::hasNamed(*view, "Failed to connect WebSocket"));
}

TEST_F(PopoverViewTest, PrefersTheSessionsErrorToTheSockets) {
    controller.wsService().state.set(ConnectionState::error("socket"));
    EXPECT_TRUE(test::hasNamed(*view, "socket"));
    session().error.set("session");
    EXPECT_TRUE(test::hasNamed(*view, "session"));
    EXPECT_FALSE(test::hasNamed(*view, "socket"));
    session().error.set(std::nullopt);
    EXPECT_TRUE(test::hasNamed(*view, "socket"));
    controller.wsService().state.set(ConnectionState::disconnected());
    EXPECT_FALSE(test::hasNamed(*view, "socket"));
}

TEST_F(PopoverViewTest, CutsAnErrorToTwoLinesAndTellsItWhole) {
    session().error.set("one line");
    test::settle();
    const auto label = [this](const std::string& text) {
        return named(*view, text)->findChild<TextLabel*>();
    };
    const int oneLine = label("one line")->heightForWidth(200);
    std::string message = "long";
    for (int word = 0; word < 60; ++word) {
        message += " <b>word</b>";
    }
    session().error.set(message);
    test::settle();
    view->resize(view->width(), height());
    test::settle();
    EXPECT_LE(label(message)->height(), 2 * oneLine);
    EXPECT_GT(label(message)->height(), oneLine);
    EXPECT_TRUE(label(message)->toolTip().contains(QStringLiteral("word")));
    EXPECT_FALSE(label(message)->toolTip().contains(QStringLiteral("<b>"))) << "would be rich text";
    EXPECT_THAT(test::clippedParts(*view), IsEmpty());
}

TEST_F(PopoverViewTest, ShowsTheNoticeWhereTheErrorWouldBe) {
    const std::string lost = "Microphone disconnected. Waiting for it to return…";
    startStream();
    const int height = this->height();
    outside.audioInput.reportFault(CaptureFault{CaptureFault::Kind::deviceLost, "unplugged"});
    outside.mainQueue.drain();
    EXPECT_TRUE(test::hasNamed(*view, lost));
    EXPECT_GT(this->height(), height);
    session().error.set("an error");
    EXPECT_TRUE(test::hasNamed(*view, "an error"));
    EXPECT_FALSE(test::hasNamed(*view, lost)) << "one at a time";
    session().error.set(std::nullopt);
    EXPECT_TRUE(test::hasNamed(*view, lost));
    outside.permission.status = AuthorizationStatus::authorized;
    outside.audioInput.findDevice("mic-7");
    outside.mainQueue.drain();
    EXPECT_FALSE(test::hasNamed(*view, lost));
    EXPECT_EQ(this->height(), height) << "the footer comes and goes";
}

TEST_F(PopoverViewTest, ShowsThatTheConnectionIsOpenedAgain) {
    startStream();
    outside.connection().lose({57, "Socket is not connected"});
    EXPECT_TRUE(test::hasNamed(*view, "Connection lost. Reconnecting…"));
    outside.clock().advance(1s);
    outside.connection().answerPing();
    EXPECT_FALSE(test::hasNamed(*view, "Connection lost. Reconnecting…"));
}

TEST_F(PopoverViewTest, TheButtonsAboveANoticeStayWhereTheyAre) {
    startStream();
    view->resize(view->width(), height());
    test::settle();
    const QPoint before = actionButton().mapTo(view.get(), QPoint());
    outside.connection().lose({57, "Socket is not connected"});
    view->resize(view->width(), height());
    test::settle();
    EXPECT_EQ(actionButton().mapTo(view.get(), QPoint()), before);
    EXPECT_THAT(test::clippedParts(*view), IsEmpty());
}

TEST_F(PopoverViewTest, ShowsTheNoticeThatCameWhileItWasHidden) {
    startStream();
    view->hide();
    outside.connection().lose({57, "Socket is not connected"});
    view->show();
    EXPECT_TRUE(test::hasNamed(*view, "Connection lost. Reconnecting…"));
}

// What the buttons do

TEST_F(PopoverViewTest, StartsAndStopsStreaming) {
    findSession();
    actionButton().click();
    EXPECT_EQ(session().state.value(), SessionState::streaming());
    EXPECT_THAT(outside.connection().url(), testing::HasSubstr("stream-token"));
    EXPECT_TRUE(test::hasNamed(*view, "Stop"));
    bringUpStream();
    EXPECT_TRUE(audio().isCapturing.value());
    actionButton().click();
    EXPECT_FALSE(audio().isCapturing.value());
    outside.turn();
    EXPECT_EQ(session().state.value(), SessionState::completed());
    EXPECT_TRUE(test::hasNamed(*view, "Done"));
}

TEST_F(PopoverViewTest, StartsTheSessionThatWasFoundLast) {
    findSession();
    session().state.set(SessionState::sessionFound({"s1", "renewed-token", "i1"}));
    actionButton().click();
    EXPECT_THAT(outside.connection().url(), testing::HasSubstr("renewed-token"));
}

TEST_F(PopoverViewTest, StartsOnceOnADoubleClick) {
    findSession();
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease,
                                    QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease}) {
        const bool isDown = type != QEvent::MouseButtonRelease;
        QMouseEvent event(type, QPointF(5, 5), actionButton().mapToGlobal(QPointF(5, 5)),
                          Qt::LeftButton, isDown ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&actionButton(), &event);
    }
    EXPECT_EQ(session().state.value(), SessionState::streaming());
    outside.turn();
    EXPECT_EQ(session().state.value(), SessionState::streaming());
}

TEST_F(PopoverViewTest, DoesNotStopWhileTheKeyThatStartedIsHeldDown) {
    findSession();
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Space}) {
        for (int repeat = 0; repeat < 3; ++repeat) {
            QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(), repeat > 0);
            QApplication::sendEvent(&actionButton(), &press);
            QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, QString(), repeat < 2);
            QApplication::sendEvent(&actionButton(), &release);
        }
        EXPECT_EQ(session().state.value(), SessionState::streaming());
        outside.turn();
        EXPECT_EQ(session().state.value(), SessionState::streaming());
        findSession();
    }
}

TEST_F(PopoverViewTest, OpensTheSessionsPageInTheBrowser) {
    findSession("../x y");
    button(*view, "Open in Browser")->click();
    EXPECT_THAT(browser.opened, ElementsAre("https://app.test/interviews/..%2Fx%20y"));
}

TEST_F(PopoverViewTest, OpensThePageOfTheSessionThatWasFoundLast) {
    findSession("first");
    session().state.set(SessionState::sessionFound({"s1", "stream-token", "second"}));
    button(*view, "Open in Browser")->click();
    EXPECT_THAT(browser.opened, ElementsAre("https://app.test/interviews/second"));
}

TEST_F(PopoverViewTest, OpensNoPageForAnIdentifierThatWouldClimb) {
    findSession("..");
    EXPECT_FALSE(button(*view, "Open in Browser")->isEnabled());
    button(*view, "Open in Browser")->click();
    EXPECT_THAT(browser.opened, IsEmpty());
}

TEST_F(PopoverViewTest, ChecksForUpdatesOpensThePrivacyPageAndQuits) {
    EXPECT_EQ(button(*view, "v1.2.3")->toolTip(), QStringLiteral("Check for updates"));
    button(*view, "v1.2.3")->click();
    EXPECT_EQ(updateChecks, 1);
    button(*view, "Privacy")->click();
    EXPECT_THAT(browser.opened, ElementsAre("https://www.test/privacy-policy"));
    EXPECT_EQ(quits, 0);
    button(*view, "Quit")->click();
    EXPECT_EQ(quits, 1);
}

TEST_F(PopoverViewTest, ShowsADashForAMissingVersion) {
    environment.appVersion.clear();
    view = std::make_unique<PopoverView>(panel(), environment);
    view->show();
    EXPECT_TRUE(test::hasNamed(*view, "v—"));
}

TEST_F(PopoverViewTest, DoesNothingMoreOnceDetached) {
    findSession();
    view->detach();
    session().state.set(SessionState::polling());
    EXPECT_TRUE(test::hasNamed(*view, "Ready"));
    for (auto* pressed : view->findChildren<ProminentButton*>()) {
        pressed->click();
    }
    button(*view, "Open in Browser")->click();
    button(*view, "Sign Out")->click();
    view->hide();
    view->show();
    EXPECT_TRUE(auth().isAuthenticated.value());
    EXPECT_THAT(browser.opened, IsEmpty());
    EXPECT_THAT(outside.backend.streamSocket.connections(), IsEmpty());
}

// The keyboard

TEST_F(PopoverViewTest, IsWalkedInReadingOrder) {
    findSession();
    EXPECT_THAT(test::tabOrder(*view),
                ElementsAre("Sign Out", "Refresh devices", "Audio Input", "Start Streaming",
                            "Open in Browser", "v1.2.3", "Privacy", "Quit"));
    session().state.set(SessionState::polling());
    EXPECT_THAT(test::tabOrder(*view), ElementsAre("Sign Out", "Refresh devices", "Audio Input",
                                                   "v1.2.3", "Privacy", "Quit"));
}

TEST_F(PopoverViewTest, KeepsTheFocusFromStartToStop) {
    findSession();
    actionButton().setFocus();
    QTest::keyClick(&actionButton(), Qt::Key_Return);
    EXPECT_EQ(session().state.value(), SessionState::streaming());
    EXPECT_EQ(test::focusedName(*view), "Stop");
}

TEST_F(PopoverViewTest, GivesTheFocusBackToTheActionOnceThereIsOneAgain) {
    findSession();
    actionButton().setFocus();
    session().state.set(SessionState::completed());
    session().state.set(SessionState::polling());
    EXPECT_EQ(qobject_cast<QAbstractButton*>(view->focusWidget()), nullptr) << "nothing to press";
    QTest::keyClick(view->windowHandle(), Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(test::focusedName(*view), "Audio Input");
    QTest::keyClick(view->windowHandle(), Qt::Key_Tab);
    EXPECT_EQ(test::focusedName(*view), "v1.2.3");
    findSession();
    actionButton().setFocus();
    session().state.set(SessionState::polling());
    findSession();
    EXPECT_EQ(test::focusedName(*view), "Start Streaming");
}

TEST_F(PopoverViewTest, LeavesTheFocusAloneWhereTheUserHasMovedIt) {
    findSession();
    actionButton().setFocus();
    session().state.set(SessionState::polling());
    button(*view, "Privacy")->setFocus();
    findSession();
    EXPECT_EQ(test::focusedName(*view), "Privacy");
}

TEST_F(PopoverViewTest, MovesTheFocusFromTheVanishedLinkToTheAction) {
    findSession();
    button(*view, "Open in Browser")->setFocus();
    session().state.set(SessionState::streaming());
    EXPECT_EQ(test::focusedName(*view), "Stop");
}

TEST_F(PopoverViewTest, LetsTheLinkKeepTheFocusWhenThereIsNothingToStart) {
    findSession();
    button(*view, "Open in Browser")->setFocus();
    audio().selectedDevice.set(std::nullopt);
    EXPECT_EQ(test::focusedName(*view), "Open in Browser");
}

// Calm

TEST_F(PopoverViewTest, ShrinksUnderNoHandWhileItIsOpen) {
    const int idle = height();
    session().state.set(SessionState::polling());
    EXPECT_EQ(height(), idle);
    findSession();
    const int found = height();
    EXPECT_GE(found, idle);
    session().state.set(SessionState::streaming());
    EXPECT_EQ(height(), found);
    session().state.set(SessionState::completed());
    EXPECT_EQ(height(), found);
    view->hide();
    view->show();
    EXPECT_LT(height(), found);
}

TEST_F(PopoverViewTest, DoesNoWorkWhileHidden) {
    session().state.set(SessionState::streaming());
    test::settle();
    view->hide();
    EventCounter counter(*view);
    for (int second = 0; second < 5; ++second) {
        for (int buffer = 0; buffer < 47; ++buffer) {
            audio().audioLevel.set(static_cast<float>(buffer) / 47.0F);
        }
        panel().streamingDuration.set(static_cast<double>(second));
        test::settle();
    }
    EXPECT_EQ(counter.total(), 0);
}

TEST_F(PopoverViewTest, ShowsTheNewestLevelAndDurationWhenItIsShownAgain) {
    session().state.set(SessionState::streaming());
    view->hide();
    audio().audioLevel.set(0.75F);
    panel().streamingDuration.set(61.0);
    view->show();
    EXPECT_FLOAT_EQ(meter().level(), 0.75F);
    EXPECT_TRUE(test::hasNamed(*view, "Streaming 01:01"));
    audio().audioLevel.set(0.25F);
    EXPECT_FLOAT_EQ(meter().level(), 0.25F);
}

TEST_F(PopoverViewTest, FollowsTheStateWhileHidden) {
    view->hide();
    findSession();
    session().error.set("error");
    view->show();
    EXPECT_TRUE(test::hasNamed(*view, "Ready"));
    EXPECT_TRUE(test::hasNamed(*view, "error"));
}

TEST_F(PopoverViewTest, RepaintsOnlyTheDurationForATick) {
    session().state.set(SessionState::streaming());
    test::settle();
    const QWidget* const quit = named(*view, "Quit");
    const EventCounter counter(*view);
    panel().streamingDuration.set(7.0);
    test::settle();
    EXPECT_GT(counter.total(), 0);
    EXPECT_FALSE(counter.wasPainted(&actionButton()));
    EXPECT_FALSE(counter.wasPainted(quit));
    EXPECT_FALSE(counter.wasPainted(&meter()));
}

TEST_F(PopoverViewTest, TurnsItsSpinnerOnlyWhileItWaitsInView) {
    const auto isTurning = [this] {
        bool any = false;
        for (const Spinner* spinner : view->findChildren<Spinner*>()) {
            any = any || spinner->isTurning();
        }
        return any;
    };
    EXPECT_FALSE(isTurning());
    session().state.set(SessionState::polling());
    EXPECT_TRUE(isTurning());
    view->hide();
    EXPECT_FALSE(isTurning());
    view->show();
    EXPECT_TRUE(isTurning());
    findSession();
    EXPECT_FALSE(isTurning());
}

} // namespace
} // namespace tandrel
