#pragma once

#include <QColor>
#include <QPalette>

namespace tandrel {

/// What a colour means; how it looks depends on the palette.
enum class ColorRole {
    primary,
    secondary,
    tertiary,
    accent,
    green,
    orange,
    red,
    yellow,
    divider,
    track,
    card,
    cardBorder,
};

/// The colour of `role` under `palette`: light or dark, stronger where the palette's own contrast
/// is high. The text roles and the four semantic ones are readable on the card.
[[nodiscard]] QColor color(ColorRole role, const QPalette& palette);
/// The fill of a control in the tint `role`; white text is readable on it.
[[nodiscard]] QColor tintFill(ColorRole role, const QPalette& palette);
/// Green, yellow and red as the level meter shows them: vivid, no text stands on them.
[[nodiscard]] QColor meterColor(ColorRole role, const QPalette& palette);
/// The border of a control that stands on the card.
[[nodiscard]] QColor controlBorder(const QPalette& palette);
/// The fill of a control that takes text or offers a choice.
[[nodiscard]] QColor controlFill(const QPalette& palette);
/// The ring around what has the keyboard's focus.
[[nodiscard]] QColor focusRing(const QPalette& palette);

[[nodiscard]] bool isDark(const QPalette& palette);
/// Whether the palette separates text from ground as a high-contrast theme does.
[[nodiscard]] bool isHighContrast(const QPalette& palette);

/// The contrast of two opaque colours as WCAG 2 defines it, 1...21.
[[nodiscard]] qreal contrastRatio(const QColor& one, const QColor& other);
/// `amount` (0...1) of `over` laid on `under`.
[[nodiscard]] QColor mixed(const QColor& under, const QColor& over, qreal amount);

} // namespace tandrel
