#include "Views/Controls/PopoverCard.h"

#include "Views/Controls/CardShadow.h"
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
    const QColor ground = color(ColorRole::card, palette());
    if (!shadowVisible_) {
        painter.fillRect(rect(), ground);
        return;
    }
    const QRect card = rect().marginsRemoved(shadowMargins());
    const qreal radius = pixels(cornerRadius);
    drawCardShadow(painter, card, radius, isDark(palette()), devicePixelRatioF());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(ground);
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(card), radius, radius);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color(ColorRole::cardBorder, palette()), 1.0));
    painter.drawRoundedRect(QRectF(card).adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5,
                            radius - 0.5);
}

void PopoverCard::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateMargins();
    }
    update();
}

} // namespace tandrel
