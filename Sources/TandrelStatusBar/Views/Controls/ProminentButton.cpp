#include "Views/Controls/ProminentButton.h"

#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/ElidedText.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Spinner.h"

#include <QEvent>
#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace tandrel {

namespace {

constexpr qreal heightPoints = 30.0;
constexpr qreal cornerRadius = 7.0;
constexpr qreal labelPoints = 13.0;
constexpr qreal symbolPoints = 13.0;
constexpr qreal symbolSpacing = 5.0;
constexpr qreal padding = 12.0;

} // namespace

ProminentButton::ProminentButton(const QString& text, QWidget* parent)
    : Button(text, cornerRadius, parent)
    , spinner_(new Spinner(ColorRole::secondary, this)) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    spinner_->hide();
    setFont(systemFont(labelPoints, QFont::DemiBold));
}

void ProminentButton::updateFont() {
    setFont(systemFont(labelPoints, QFont::DemiBold));
}

void ProminentButton::setTint(ColorRole role) {
    tint_ = role;
    spinner_->setColor(ink());
    update();
}

void ProminentButton::setSymbol(std::optional<Symbol> symbol) {
    symbol_ = symbol;
    updateGeometry();
    update();
}

void ProminentButton::setBusy(bool busy) {
    busy_ = busy;
    spinner_->setColor(ink());
    placeSpinner();
    spinner_->setVisible(busy);
    update();
}

QSize ProminentButton::sizeHint() const {
    const QFontMetricsF metrics(font());
    int width = int(std::ceil(metrics.horizontalAdvance(text()))) + 2 * roundedPixels(padding);
    if (symbol_) {
        width += symbolSide(symbolPoints) + roundedPixels(symbolSpacing);
    }
    return {width, roundedPixels(heightPoints)};
}

QColor ProminentButton::fill() const {
    if (!isEnabled()) {
        return mixed(color(ColorRole::card, palette()), color(ColorRole::primary, palette()), 0.11);
    }
    const QColor normal = tintFill(tint_, palette());
    if (isDown()) {
        return mixed(normal, Qt::black, 0.20);
    }
    // Darker, not lighter: the label stays readable.
    return underMouse() ? mixed(normal, Qt::black, 0.09) : normal;
}

QColor ProminentButton::ink() const {
    if (isEnabled()) {
        return Qt::white;
    }
    // Faint under a high contrast too, or it would look enabled.
    return mixed(color(ColorRole::card, palette()), color(ColorRole::primary, palette()), 0.55);
}

bool ProminentButton::isEdged() const {
    return !isEnabled() || isHighContrast(palette());
}

QColor ProminentButton::edge() const {
    if (!isHighContrast(palette())) {
        return color(ColorRole::divider, palette());
    }
    return isEnabled() ? color(ColorRole::primary, palette()) : ink();
}

void ProminentButton::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal radius = pixels(cornerRadius);
    painter.setBrush(fill());
    const qreal inset = isEdged() ? hairline(painter) / 2.0 : 0.0;
    painter.setPen(isEdged() ? QPen(edge(), 2.0 * inset) : QPen(Qt::NoPen));
    painter.drawRoundedRect(snapped(painter, rect()).adjusted(inset, inset, -inset, -inset),
                            radius - inset, radius - inset);
    if (!busy_) {
        drawLabel(painter);
    }
}

void ProminentButton::drawLabel(QPainter& painter) const {
    const QFontMetricsF metrics(font());
    const int symbolWidth = symbol_ ? symbolSide(symbolPoints) + roundedPixels(symbolSpacing) : 0;
    const int room = width() - 2 * roundedPixels(padding) - symbolWidth;
    const ElidedText label(text(), font(), room, 1);
    const int textWidth = int(std::ceil(metrics.horizontalAdvance(label.lines().constFirst())));
    const int left = (width() - symbolWidth - textWidth) / 2;
    if (symbol_) {
        const int side = symbolSide(symbolPoints);
        const QRect place(left, (height() - side) / 2, side, side);
        painter.drawPixmap(QStyle::visualRect(layoutDirection(), rect(), place),
                           symbolPixmap(*symbol_, symbolPoints, ink(), deviceScale(painter)));
    }
    painter.setPen(ink());
    const QRect place(left + symbolWidth, 0, textWidth, height());
    label.draw(painter, QStyle::visualRect(layoutDirection(), rect(), place), Qt::AlignCenter);
}

void ProminentButton::placeSpinner() {
    const QSize size = spinner_->sizeHint();
    spinner_->setGeometry(QStyle::alignedRect(layoutDirection(), Qt::AlignCenter, size, rect()));
}

void ProminentButton::resizeEvent(QResizeEvent* event) {
    Button::resizeEvent(event);
    placeSpinner();
}

void ProminentButton::changeEvent(QEvent* event) {
    Button::changeEvent(event);
    spinner_->setColor(ink());
}

} // namespace tandrel
