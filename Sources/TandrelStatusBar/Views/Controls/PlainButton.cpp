#include "Views/Controls/PlainButton.h"

#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/ElidedText.h"
#include "Views/Controls/Points.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace tandrel {

namespace {

constexpr qreal symbolSpacing = 4.0;
constexpr qreal ringRadius = 3.0;
/// A symbol alone is small: around it more than what is seen takes the click.
constexpr qreal iconOnlyWidth = 20.0;
constexpr qreal iconOnlyHeight = 16.0;

} // namespace

PlainButton::PlainButton(const QString& text, qreal points, ColorRole role, QWidget* parent)
    : Button(text, ringRadius, parent)
    , points_(points)
    , role_(role) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFont(systemFont(points));
}

void PlainButton::updateFont() {
    setFont(systemFont(points_));
}

void PlainButton::setRole(ColorRole role) {
    role_ = role;
    update();
}

void PlainButton::setLeadingSymbol(Symbol symbol, qreal points) {
    leading_ = SizedSymbol{symbol, points};
    updateGeometry();
    update();
}

void PlainButton::setTrailingSymbol(Symbol symbol, qreal points) {
    trailing_ = SizedSymbol{symbol, points};
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    updateGeometry();
    update();
}

std::optional<Symbol> PlainButton::leadingSymbol() const {
    return leading_ ? std::optional(leading_->symbol) : std::nullopt;
}

QSize PlainButton::contentSize() const {
    const int spacing = roundedPixels(symbolSpacing);
    int width = 0;
    int height = 0;
    const auto add = [&](int itemWidth, int itemHeight) {
        width += itemWidth + (width > 0 ? spacing : 0);
        height = std::max(height, itemHeight);
    };
    if (leading_) {
        add(symbolSide(leading_->points), symbolSide(leading_->points));
    }
    if (!text().isEmpty()) {
        const QFontMetricsF metrics(font());
        add(int(std::ceil(metrics.horizontalAdvance(text()))), int(std::ceil(metrics.height())));
    }
    if (trailing_) {
        add(symbolSide(trailing_->points), symbolSide(trailing_->points));
    }
    return {width, height};
}

QSize PlainButton::sizeHint() const {
    const QSize content = contentSize();
    if (!isIconOnly()) {
        return content;
    }
    return content.expandedTo({roundedPixels(iconOnlyWidth), roundedPixels(iconOnlyHeight)});
}

QRect PlainButton::visibleShape() const {
    if (!isIconOnly()) {
        return rect();
    }
    return QStyle::alignedRect(layoutDirection(), Qt::AlignRight | Qt::AlignVCenter, contentSize(),
                               rect());
}

QColor PlainButton::ink() const {
    const QColor ground = color(ColorRole::card, palette());
    const QColor normal = color(role_, palette());
    if (!isEnabled()) {
        return mixed(ground, normal, 0.45);
    }
    const QColor strong = color(ColorRole::primary, palette());
    if (isDown()) {
        return mixed(ground, mixed(normal, strong, 0.5), 0.7);
    }
    if (underMouse()) {
        return mixed(normal, strong, role_ == ColorRole::accent ? 0.35 : 0.8);
    }
    return normal;
}

void PlainButton::drawSymbol(QPainter& painter, const SizedSymbol& symbol, int left) const {
    const int side = symbolSide(symbol.points);
    const QRect place(left, (height() - side) / 2, side, side);
    painter.drawPixmap(QStyle::visualRect(layoutDirection(), rect(), place),
                       symbolPixmap(symbol.symbol, symbol.points, ink(), deviceScale(painter)));
}

void PlainButton::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const int spacing = roundedPixels(symbolSpacing);
    int left = isIconOnly() ? width() - symbolSide(leading_->points) : 0;
    int right = width();
    if (leading_) {
        drawSymbol(painter, *leading_, left);
        left += symbolSide(leading_->points) + spacing;
    }
    if (trailing_) {
        right -= symbolSide(trailing_->points);
        drawSymbol(painter, *trailing_, right);
        right -= spacing;
    }
    if (text().isEmpty()) {
        return;
    }
    painter.setPen(ink());
    const QRect place(left, 0, right - left, height());
    ElidedText(text(), font(), place.width(), 1)
        .draw(painter, QStyle::visualRect(layoutDirection(), rect(), place),
              QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter));
}

} // namespace tandrel
