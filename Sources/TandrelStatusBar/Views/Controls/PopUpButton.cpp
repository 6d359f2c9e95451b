#include "Views/Controls/PopUpButton.h"

#include "Views/Controls/ControlFrame.h"
#include "Views/Controls/FocusRing.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Symbol.h"
#include "Views/Controls/Theme.h"

#include <QEvent>
#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>
#include <QWheelEvent>

namespace tandrel {

namespace {

constexpr qreal textPoints = 13.0;
constexpr qreal padding = 8.0;
constexpr qreal chevronPoints = 10.0;
constexpr qreal narrowestPoints = 80.0;

} // namespace

PopUpButton::PopUpButton(QWidget* parent)
    : QComboBox(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    updateFont();
    new FocusRing(
        *this, [this] { return rect(); }, controlRadius);
}

void PopUpButton::updateFont() {
    setFont(systemFont(textPoints));
}

QSize PopUpButton::sizeHint() const {
    return {roundedPixels(narrowestPoints), controlHeight(font())};
}

QSize PopUpButton::minimumSizeHint() const {
    return sizeHint();
}

void PopUpButton::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    drawControlFrame(painter, *this, false);
    const QPalette colors = palette();
    const int inset = roundedPixels(padding);
    const int side = symbolSide(chevronPoints);
    const QRect chevron(width() - side - inset / 2, (height() - side) / 2, side, side);
    painter.drawPixmap(QStyle::visualRect(layoutDirection(), rect(), chevron),
                       symbolPixmap(Symbol::chevronUpDown, chevronPoints,
                                    color(ColorRole::secondary, colors), devicePixelRatioF()));
    const bool hasChoice = currentIndex() >= 0;
    painter.setPen(color(hasChoice ? ColorRole::primary : ColorRole::tertiary, colors));
    const QRect label(inset, 0, chevron.left() - inset - inset / 2, height());
    const QString shown = QFontMetricsF(font()).elidedText(
        hasChoice ? currentText() : placeholderText(), Qt::ElideRight, label.width());
    painter.drawText(
        QStyle::visualRect(layoutDirection(), rect(), label),
        int(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter)) |
            int(Qt::TextSingleLine),
        shown);
}

void PopUpButton::wheelEvent(QWheelEvent* event) {
    // Scrolling past must not change the choice.
    event->ignore();
}

void PopUpButton::changeEvent(QEvent* event) {
    QComboBox::changeEvent(event);
    if (event->type() == QEvent::ApplicationFontChange) {
        updateFont();
        updateGeometry();
    }
    update();
}

} // namespace tandrel
