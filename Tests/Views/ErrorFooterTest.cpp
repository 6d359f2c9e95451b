#include "Views/ErrorFooter.h"

#include "Support/Widgets/Announcements.h"
#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"

#include <QAccessible>
#include <QVBoxLayout>

#include <gmock/gmock.h>

namespace tandrel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/// A footer in a window, hidden as long as there is nothing to say.
class ErrorFooterTest : public testing::Test {
protected:
    ErrorFooterTest() {
        auto* column = new QVBoxLayout(&window);
        footer = new ErrorFooter;
        column->addWidget(footer);
        footer->hide();
        test::showAndWait(window);
        announcements.clear();
    }
    void say(const std::string& message) {
        footer->setMessage(message);
        footer->show();
        test::settle();
    }

    test::Announcements announcements;
    QWidget window;
    ErrorFooter* footer;
};

TEST_F(ErrorFooterTest, IsOneNotificationNamedByItsMessage) {
    say("Microphone disconnected. Waiting for it to return…");
    const QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(footer);
    EXPECT_EQ(interface->role(), QAccessible::Notification);
    EXPECT_EQ(interface->childCount(), 0);
    EXPECT_EQ(test::accessibleName(*footer), "Microphone disconnected. Waiting for it to return…");
    EXPECT_THAT(test::shownElements(window),
                ElementsAre("<exclamationmark.triangle.fill>",
                            "Microphone disconnected. Waiting for it to return…"));
}

TEST_F(ErrorFooterTest, IsAnnouncedOnceWhenItComesIntoView) {
    say("first");
    EXPECT_THAT(announcements.heard(), ElementsAre("notification first"));
}

TEST_F(ErrorFooterTest, ANewMessageIsAnnounced) {
    say("first");
    announcements.clear();
    say("second");
    EXPECT_THAT(announcements.heard(), ElementsAre("name second", "notification second"));
}

TEST_F(ErrorFooterTest, TheSameMessageIsNoNews) {
    say("first");
    announcements.clear();
    say("first");
    EXPECT_THAT(announcements.heard(), IsEmpty());
}

TEST_F(ErrorFooterTest, AMessageThatIsReplacedAtOnceIsNotAnnounced) {
    say("first");
    announcements.clear();
    footer->setMessage("passed through");
    say("second");
    EXPECT_THAT(announcements.heard(), ElementsAre("name second", "notification second"));
}

TEST_F(ErrorFooterTest, TheSameMessageIsAnnouncedAgainWhenItComesBack) {
    say("first");
    footer->hide();
    test::settle();
    announcements.clear();
    say("first");
    EXPECT_THAT(announcements.heard(), ElementsAre("notification first"));
}

TEST_F(ErrorFooterTest, NothingIsAnnouncedOfAHiddenOne) {
    footer->setMessage("unseen");
    test::settle();
    EXPECT_THAT(announcements.heard(), Not(Contains("notification unseen")));
}

} // namespace
} // namespace tandrel
