#pragma once

#include <QList>
#include <QPoint>
#include <QRect>
#include <QRegion>
#include <QSize>

#include <optional>

namespace tandrel {

/// One screen: all of it, and what panels leave free.
struct ScreenArea {
    QRect geometry;
    QRect available;
};

/// What the popover's place follows from.
struct PopoverSituation {
    /// The icon in the tray; empty when the tray does not tell.
    QRect trayIcon;
    /// Where the pointer was when the icon was clicked, when that is known.
    std::optional<QPoint> cursor;
    /// The primary screen first; may be empty.
    QList<ScreenArea> screens;
};

/// The top left corner of a popover of `size`: beside the icon, on the side away from the edge that
/// its panel is at; else beside the pointer; else at the top right of the primary screen. Within
/// the screen's free area, and at the same edge whatever the size. Pure.
[[nodiscard]] QPoint placePopover(const QSize& size, const PopoverSituation& situation);

/// What of the popover's window `frame`, shadow included, may take room on the screen: the shadow
/// must not lie over the icon or its panel, where it would take the clicks. Pure.
[[nodiscard]] QRegion unobtrusivePart(const QRect& frame, const PopoverSituation& situation);

} // namespace tandrel
