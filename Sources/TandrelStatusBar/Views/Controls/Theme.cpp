#include "Views/Controls/Theme.h"

#include <algorithm>
#include <cmath>

namespace tandrel {

namespace {

/// For text below 18 points (WCAG 2, level AA).
constexpr qreal readableText = 4.5;
/// For icons and the edges of controls.
constexpr qreal readableShape = 3.0;
/// Black on white has 21; ordinary themes stay below 19.
constexpr qreal highContrast = 20.0;

qreal linear(qreal channel) {
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

qreal luminance(const QColor& color) {
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

/// `color` moved towards black or white, whichever stands out more, as far as `ratio` needs.
QColor madeReadable(const QColor& color, const QColor& ground, qreal ratio) {
    const QColor end = contrastRatio(Qt::white, ground) > contrastRatio(Qt::black, ground)
                           ? QColor(Qt::white)
                           : QColor(Qt::black);
    constexpr int steps = 32;
    for (int step = 0; step <= steps; ++step) {
        const QColor candidate = mixed(color, end, qreal(step) / steps);
        if (contrastRatio(candidate, ground) >= ratio) {
            return candidate;
        }
    }
    return end;
}

QColor card(const QPalette& palette) {
    const QColor window = palette.color(QPalette::Window);
    if (isDark(palette) || isHighContrast(palette)) {
        return window;
    }
    return mixed(window, palette.color(QPalette::Base), 0.55);
}

QColor text(const QPalette& palette) {
    return palette.color(QPalette::Active, QPalette::WindowText);
}

/// Text of which `strength` is left, but never less than is readable.
QColor fadedText(const QPalette& palette, qreal strength, qreal ratio) {
    if (isHighContrast(palette)) {
        return text(palette);
    }
    const QColor ground = card(palette);
    return madeReadable(mixed(ground, text(palette), strength), ground, ratio);
}

QColor edge(const QPalette& palette, qreal strength) {
    if (isHighContrast(palette)) {
        return text(palette);
    }
    QColor color = isDark(palette) ? Qt::white : Qt::black;
    color.setAlphaF(float(strength));
    return color;
}

QColor semantic(const QPalette& palette, QRgb light, QRgb dark, qreal ratio) {
    return madeReadable(QColor::fromRgb(isDark(palette) ? dark : light), card(palette), ratio);
}

} // namespace

QColor mixed(const QColor& under, const QColor& over, qreal amount) {
    const auto channel = [amount](qreal from, qreal to) {
        return float(from + (to - from) * amount);
    };
    return QColor::fromRgbF(channel(under.redF(), over.redF()),
                            channel(under.greenF(), over.greenF()),
                            channel(under.blueF(), over.blueF()));
}

qreal contrastRatio(const QColor& one, const QColor& other) {
    const qreal a = luminance(one);
    const qreal b = luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

bool isDark(const QPalette& palette) {
    return luminance(palette.color(QPalette::Active, QPalette::Window)) < luminance(text(palette));
}

bool isHighContrast(const QPalette& palette) {
    return contrastRatio(palette.color(QPalette::Active, QPalette::Window), text(palette)) >=
           highContrast;
}

QColor color(ColorRole role, const QPalette& palette) {
    switch (role) {
    case ColorRole::primary:
        return text(palette);
    case ColorRole::secondary:
        return fadedText(palette, 0.64, 5.0);
    case ColorRole::tertiary:
        return fadedText(palette, 0.50, readableText);
    case ColorRole::accent:
        return madeReadable(palette.color(QPalette::Active, QPalette::Highlight), card(palette),
                            readableText);
    case ColorRole::green:
        return semantic(palette, 0xff1a7f37, 0xff4cd07d, readableText);
    case ColorRole::orange:
        return semantic(palette, 0xffbd5500, 0xffffa640, readableText);
    case ColorRole::red:
        return semantic(palette, 0xffcb2431, 0xffff7b72, readableText);
    case ColorRole::yellow:
        return semantic(palette, 0xffc08a00, 0xffffd23f, readableShape);
    case ColorRole::divider:
        return edge(palette, isDark(palette) ? 0.12 : 0.10);
    case ColorRole::track: {
        if (isHighContrast(palette)) {
            return mixed(card(palette), text(palette), 0.35);
        }
        return mixed(card(palette), QColor(QRgb(0xff8e8e93)), 0.20);
    }
    case ColorRole::card:
        return card(palette);
    case ColorRole::cardBorder:
        return edge(palette, isDark(palette) ? 0.20 : 0.16);
    }
    return text(palette);
}

QColor tintFill(ColorRole role, const QPalette& palette) {
    QColor fill;
    switch (role) {
    case ColorRole::green:
        fill = QColor(QRgb(0xff1f8a40));
        break;
    case ColorRole::red:
        fill = QColor(QRgb(0xffd42f38));
        break;
    default:
        fill = color(role, palette);
        break;
    }
    constexpr int darkest = 32;
    for (int step = 0; step < darkest && contrastRatio(Qt::white, fill) < readableText; ++step) {
        fill = mixed(fill, Qt::black, 0.04);
    }
    return fill;
}

QColor meterColor(ColorRole role, const QPalette& palette) {
    const bool dark = isDark(palette);
    switch (role) {
    case ColorRole::green:
        return QColor::fromRgb(dark ? 0xff30d158 : 0xff34c759);
    case ColorRole::yellow:
        return QColor::fromRgb(dark ? 0xffffd60a : 0xffffcc00);
    default:
        return QColor::fromRgb(dark ? 0xffff453a : 0xffff3b30);
    }
}

QColor controlBorder(const QPalette& palette) {
    return edge(palette, isDark(palette) ? 0.26 : 0.24);
}

QColor controlFill(const QPalette& palette) {
    if (isHighContrast(palette) || !isDark(palette)) {
        return palette.color(QPalette::Base);
    }
    // A dark theme's base is darker than its window: a control would look like a hole in the card.
    return mixed(card(palette), Qt::white, 0.08);
}

QColor focusRing(const QPalette& palette) {
    return madeReadable(palette.color(QPalette::Active, QPalette::Highlight), card(palette),
                        readableShape);
}

} // namespace tandrel
