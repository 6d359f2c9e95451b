#include "Views/StatusBadge.h"

#include "Support/Widgets/Announcements.h"
#include "Support/Widgets/Rendering.h"
#include "Support/Widgets/ViewTree.h"
#include "Views/Controls/SymbolView.h"
#include "Views/Controls/TextLabel.h"

#include <QAccessible>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using Kind = SessionState::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

class StatusBadgeTest : public testing::Test {
protected:
    StatusBadgeTest() {
        test::showAndWait(badge);
        announcements.clear();
    }

    void changeTo(Kind kind) {
        badge.setState(kind);
        test::settle();
    }
    [[nodiscard]] ColorRole textRole() const {
        return badge.findChildren<TextLabel*>().first()->role();
    }

    [[nodiscard]] const std::vector<std::string>& heard() const { return announcements.heard(); }

    test::Announcements announcements;
    StatusBadge badge;
};

TEST_F(StatusBadgeTest, ShowsEachState) {
    badge.setDuration(QStringLiteral("12:34"));
    badge.setState(Kind::idle);
    EXPECT_THAT(test::shownElements(badge), ElementsAre("<circle>", "Idle"));
    EXPECT_EQ(textRole(), ColorRole::secondary);
    badge.setState(Kind::polling);
    EXPECT_THAT(test::shownElements(badge), ElementsAre("<Spinner>", "Waiting"));
    EXPECT_EQ(textRole(), ColorRole::secondary);
    badge.setState(Kind::sessionFound);
    EXPECT_THAT(test::shownElements(badge), ElementsAre("<circle.fill>", "Ready"));
    EXPECT_EQ(textRole(), ColorRole::orange);
    EXPECT_EQ(badge.findChild<SymbolView*>()->role(), ColorRole::orange);
    badge.setState(Kind::streaming);
    EXPECT_THAT(test::shownElements(badge), ElementsAre("<StatusDot>", "Streaming", "12:34"));
    EXPECT_EQ(textRole(), ColorRole::green);
    EXPECT_EQ(badge.findChildren<TextLabel*>().last()->role(), ColorRole::secondary);
    badge.setState(Kind::completed);
    EXPECT_THAT(test::shownElements(badge), ElementsAre("<checkmark.circle.fill>", "Done"));
    EXPECT_EQ(textRole(), ColorRole::green);
    EXPECT_EQ(badge.findChild<SymbolView*>()->role(), ColorRole::green);
}

TEST_F(StatusBadgeTest, IsNamedByItsText) {
    EXPECT_EQ(test::accessibleName(badge), "Idle");
    badge.setState(Kind::streaming);
    badge.setDuration(QStringLiteral("00:12"));
    EXPECT_EQ(test::accessibleName(badge), "Streaming 00:12");
}

TEST_F(StatusBadgeTest, IsOneNotificationWithoutParts) {
    const QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&badge);
    EXPECT_EQ(interface->role(), QAccessible::Notification);
    EXPECT_EQ(interface->childCount(), 0);
}

TEST_F(StatusBadgeTest, AnnouncesAChangeOfState) {
    changeTo(Kind::polling);
    EXPECT_THAT(heard(), ElementsAre("name Waiting", "notification Waiting"));
}

TEST_F(StatusBadgeTest, AnnouncesNoStateThatIsOnlyPassedThrough) {
    changeTo(Kind::polling);
    announcements.clear();
    badge.setState(Kind::idle);
    changeTo(Kind::sessionFound);
    EXPECT_THAT(heard(), ElementsAre("name Ready", "notification Ready"));
    announcements.clear();
    badge.setState(Kind::idle);
    changeTo(Kind::sessionFound);
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(StatusBadgeTest, AnnouncesNoTickOfTheDuration) {
    changeTo(Kind::streaming);
    announcements.clear();
    for (int second = 0; second < 10; ++second) {
        badge.setDuration(QStringLiteral("00:0%1").arg(second));
    }
    test::settle();
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(StatusBadgeTest, AnnouncesNothingWhenTheStateStays) {
    changeTo(Kind::polling);
    announcements.clear();
    changeTo(Kind::polling);
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(StatusBadgeTest, TellsItsStateOnceWhenItComesIntoView) {
    badge.hide();
    test::settle();
    announcements.clear();
    badge.setState(Kind::polling);
    badge.show();
    test::settle();
    EXPECT_EQ(std::count(heard().begin(), heard().end(), "notification Waiting"), 1);
}

TEST_F(StatusBadgeTest, AnnouncesNothingWhileHidden) {
    badge.hide();
    announcements.clear();
    changeTo(Kind::completed);
    EXPECT_THAT(heard(), testing::Not(testing::Contains("notification Done")));
    EXPECT_EQ(test::accessibleName(badge), "Done");
}

TEST_F(StatusBadgeTest, KeepsItsWidthWhileTheDurationRuns) {
    badge.setState(Kind::streaming);
    badge.setDuration(QStringLiteral("11:11"));
    const int width = badge.sizeHint().width();
    badge.setDuration(QStringLiteral("08:48"));
    EXPECT_EQ(badge.sizeHint().width(), width);
}

} // namespace
} // namespace tandrel
