#include "Views/Controls/PopoverCard.h"

#include "Views/Controls/CardShadow.h"
#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace tandrel {

namespace {

constexpr qreal cornerRadius = 12.0;
constexpr qreal sideMargin = 22.0;
constexpr qreal topMargin = 16.0;
constexpr qreal bottomMargin = 28.0;

} // namespace

PopoverCard::PopoverCard(QWidget* content, QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(content);
    updateMargins();
}

void PopoverCard::setShadowVisible(bool visible) {
    shadowVisible_ = visible;
    updateMargins();
    update();
}

QMargins PopoverCard::shadowMargins() const {
    if (!shadowVisible_) {
        return {};
    }
    const int side = roundedPixels(sideMargin);
    return {side, roundedPixels(topMargin), side, roundedPixels(bottomMargin)};
}

void PopoverCard::updateMargins() {
    layout()->setContentsMargins(shadowMargins());
}

void PopoverCard::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const QColor fill = color(ColorRole::card, palette());
    if (!shadowVisible_) {
        painter.fillRect(rect(), fill);
        return;
    }
    const QRect card = rect().marginsRemoved(shadowMargins());
    const qreal radius = pixels(cornerRadius);
    drawCardShadow(painter, card, radius, isDark(palette()));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(fill);
    painter.setPen(Qt::NoPen);
    const QRectF ground = snapped(painter, card);
    painter.drawRoundedRect(ground, radius, radius);
    painter.setBrush(Qt::NoBrush);
    const qreal border = hairline(painter);
    const qreal inset = border / 2.0;
    painter.setPen(QPen(color(ColorRole::cardBorder, palette()), border));
    painter.drawRoundedRect(ground.adjusted(inset, inset, -inset, -inset), radius - inset,
                            radius - inset);
}

void PopoverCard::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateMargins();
    }
    update();
}

} // namespace tandrel
