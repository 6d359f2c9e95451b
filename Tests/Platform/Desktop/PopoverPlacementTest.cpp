#include "Platform/Desktop/PopoverPlacement.h"

#include <gmock/gmock.h>

#include <ostream>

namespace tandrel {
namespace {

const QSize popover(320, 400);

// A screen of 1920 x 1080 with a panel of 30 at one edge.
const QRect all(0, 0, 1920, 1080);
const ScreenArea panelAtTop{all, QRect(0, 30, 1920, 1050)};
const ScreenArea panelAtBottom{all, QRect(0, 0, 1920, 1050)};
const ScreenArea panelAtLeft{all, QRect(30, 0, 1890, 1080)};
const ScreenArea panelAtRight{all, QRect(0, 0, 1890, 1080)};
/// The panel overlaps the windows and takes no room.
const ScreenArea noRoomTaken{all, all};
/// To the right of the first, larger and higher.
const ScreenArea second{QRect(1920, -200, 2560, 1440), QRect(1920, -200, 2560, 1400)};
const ScreenArea leftOfFirst{QRect(-1280, 0, 1280, 1024), QRect(-1280, 30, 1280, 994)};

struct Case {
    const char* name;
    QRect trayIcon;
    std::optional<QPoint> cursor;
    QList<ScreenArea> screens;
    QPoint expected;

    friend void PrintTo(const Case& value, std::ostream* out) { *out << value.name; }
};

class PopoverPlacementTable : public testing::TestWithParam<Case> {};

TEST_P(PopoverPlacementTable, PlacesThePopover) {
    const Case& c = GetParam();
    const QPoint place = placePopover(popover, {c.trayIcon, c.cursor, c.screens});
    EXPECT_EQ(place.x(), c.expected.x());
    EXPECT_EQ(place.y(), c.expected.y());
}

INSTANTIATE_TEST_SUITE_P(
    Situations, PopoverPlacementTable,
    testing::Values(
        Case{"below an icon at the top", {1000, 4, 22, 22}, {}, {panelAtTop}, {850, 34}},
        Case{"above an icon at the bottom", {1000, 1054, 22, 22}, {}, {panelAtBottom}, {850, 646}},
        Case{"right of an icon at the left", {4, 500, 22, 22}, {}, {panelAtLeft}, {34, 310}},
        Case{"left of an icon at the right", {1894, 500, 22, 22}, {}, {panelAtRight}, {1566, 310}},
        Case{"in the top right corner of a panel at the top",
             {1894, 4, 22, 22},
             {},
             {panelAtTop},
             {1596, 34}},
        Case{"in the bottom right corner of a panel at the bottom",
             {1894, 1054, 22, 22},
             {},
             {panelAtBottom},
             {1596, 646}},
        Case{"in the bottom right corner of a panel at the right",
             {1894, 1056, 22, 22},
             {},
             {panelAtRight},
             {1566, 676}},
        Case{"in the top left corner of a panel at the left",
             {4, 2, 22, 22},
             {},
             {panelAtLeft},
             {34, 4}},
        Case{"in the top left corner of a panel at the top",
             {2, 4, 22, 22},
             {},
             {panelAtTop},
             {4, 34}},
        Case{"beside a panel that takes no room",
             {1000, 1054, 22, 22},
             {},
             {noRoomTaken},
             {850, 650}},
        Case{"the icon counts more than the pointer",
             {1000, 4, 22, 22},
             QPoint(5, 500),
             {panelAtTop},
             {850, 34}},
        Case{"at the pointer at the top", {}, QPoint(1500, 10), {panelAtTop}, {1340, 34}},
        Case{"at the pointer at the bottom", {}, QPoint(1500, 1070), {panelAtBottom}, {1340, 646}},
        Case{"on the second screen", {4000, 1205, 22, 22}, {}, {panelAtTop, second}, {3850, 796}},
        Case{"on a screen with negative coordinates",
             {-1200, 4, 22, 22},
             {},
             {panelAtTop, leftOfFirst},
             {-1276, 34}},
        Case{"the pointer on the second screen",
             {},
             QPoint(4470, 1239),
             {panelAtTop, second},
             {4156, 796}},
        Case{"an icon on no screen, so at the pointer",
             {9000, 9000, 22, 22},
             QPoint(1500, 10),
             {panelAtTop},
             {1340, 34}},
        Case{"nothing known: top right of the primary screen",
             {},
             {},
             {panelAtTop, second},
             {1596, 34}},
        Case{"an icon and a pointer on no screen",
             {9000, 9000, 22, 22},
             QPoint(-5, -5),
             {panelAtTop},
             {1596, 34}},
        Case{"no screen at all", {1000, 4, 22, 22}, QPoint(1, 1), {}, {0, 0}},
        Case{"a screen smaller than the popover",
             {},
             {},
             {ScreenArea{{0, 0, 300, 200}, {0, 20, 300, 180}}},
             {4, 24}}));

TEST(PopoverPlacement, KeepsTheEdgeThatThePanelIsAtWhenTheContentGrows) {
    const PopoverSituation bottom{{1000, 1054, 22, 22}, {}, {panelAtBottom}};
    const QSize grown(320, 520);
    EXPECT_EQ(placePopover(popover, bottom).y() + popover.height(),
              placePopover(grown, bottom).y() + grown.height());
    const PopoverSituation top{{1000, 4, 22, 22}, {}, {panelAtTop}};
    EXPECT_EQ(placePopover(popover, top), placePopover(grown, top));
}

TEST(PopoverPlacement, TheShadowLeavesThePanelAndTheIconFree) {
    const QRect icon(1000, 1054, 22, 22);
    const QRect frame(840, 630, 360, 444); // 24 more than the screen has above the panel
    EXPECT_EQ(unobtrusivePart(frame, {icon, {}, {panelAtBottom}}), QRegion(840, 630, 360, 420));
    EXPECT_EQ(unobtrusivePart(frame, {icon, {}, {noRoomTaken}}), QRegion(frame) - icon);
    EXPECT_EQ(unobtrusivePart(frame, {{}, {}, {}}), QRegion(frame));
    const QRect inside(100, 100, 360, 444);
    EXPECT_EQ(unobtrusivePart(inside, {{}, {}, {panelAtBottom}}), QRegion(inside));
}

} // namespace
} // namespace tandrel
