#include "Platform/Desktop/PopoverPlacement.h"

#include <algorithm>
#include <array>

namespace tandrel {

namespace {

/// Between the popover and what it stands beside, or the edge of the free area.
constexpr int gap = 4;

enum class Edge { top, bottom, left, right };

const ScreenArea* screenAt(const QPoint& point, const QList<ScreenArea>& screens) {
    const auto found = std::find_if(screens.begin(), screens.end(), [&](const ScreenArea& screen) {
        return screen.geometry.contains(point);
    });
    return found == screens.end() ? nullptr : &*found;
}

/// The edge of the screen that the panel with the anchor is at: one that a panel takes room at,
/// where there is such, for an icon in a corner is as near to two edges.
Edge panelEdge(const QPoint& anchor, const ScreenArea& screen) {
    struct Candidate {
        Edge edge;
        int distance;
        bool hasPanel;
    };
    const QRect& all = screen.geometry;
    const QRect& free = screen.available;
    const std::array<Candidate, 4> candidates{{
        {Edge::top, anchor.y() - all.top(), anchor.y() < free.top()},
        {Edge::bottom, all.bottom() - anchor.y(), anchor.y() > free.bottom()},
        {Edge::left, anchor.x() - all.left(), anchor.x() < free.left()},
        {Edge::right, all.right() - anchor.x(), anchor.x() > free.right()},
    }};
    return std::min_element(candidates.begin(), candidates.end(),
                            [](const Candidate& left, const Candidate& right) {
                                if (left.hasPanel != right.hasPanel) {
                                    return left.hasPanel;
                                }
                                return left.distance < right.distance;
                            })
        ->edge;
}

QPoint beside(const QRect& anchor, const QSize& size, Edge edge) {
    const QPoint centred(anchor.center().x() - size.width() / 2,
                         anchor.center().y() - size.height() / 2);
    switch (edge) {
    case Edge::top:
        return {centred.x(), anchor.bottom() + 1 + gap};
    case Edge::bottom:
        return {centred.x(), anchor.top() - gap - size.height()};
    case Edge::left:
        return {anchor.right() + 1 + gap, centred.y()};
    case Edge::right:
        return {anchor.left() - gap - size.width(), centred.y()};
    }
    return centred;
}

/// The nearest place within `area`; its top left corner counts most when the popover is larger.
QPoint within(const QRect& area, const QPoint& place, const QSize& size) {
    const auto nearest = [](int wanted, int low, int high) {
        return std::max(low, std::min(wanted, high));
    };
    return {nearest(place.x(), area.left() + gap, area.right() + 1 - gap - size.width()),
            nearest(place.y(), area.top() + gap, area.bottom() + 1 - gap - size.height())};
}

QPoint placeAt(const QRect& anchor, const QSize& size, const ScreenArea& screen) {
    const Edge edge = panelEdge(anchor.center(), screen);
    return within(screen.available, beside(anchor, size, edge), size);
}

} // namespace

QPoint placePopover(const QSize& size, const PopoverSituation& situation) {
    const auto& screens = situation.screens;
    if (!situation.trayIcon.isEmpty()) {
        if (const auto* const screen = screenAt(situation.trayIcon.center(), screens)) {
            return placeAt(situation.trayIcon, size, *screen);
        }
    }
    if (situation.cursor) {
        if (const auto* const screen = screenAt(*situation.cursor, screens)) {
            return placeAt(QRect(*situation.cursor, QSize(1, 1)), size, *screen);
        }
    }
    if (screens.isEmpty()) {
        return {};
    }
    const QRect& area = screens.front().available;
    return within(area, QPoint(area.right(), area.top()), size);
}

QRegion unobtrusivePart(const QRect& frame, const PopoverSituation& situation) {
    const auto* const screen = screenAt(frame.center(), situation.screens);
    const QRect area = screen != nullptr ? screen->available : frame;
    return QRegion(frame & area) - situation.trayIcon;
}

} // namespace tandrel
