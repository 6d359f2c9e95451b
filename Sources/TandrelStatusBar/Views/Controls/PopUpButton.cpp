#include "Views/Controls/PopUpButton.h"

#include "Views/Controls/ControlFrame.h"
#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/ElidedText.h"
#include "Views/Controls/FocusRing.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/PopUpButtonAccessible.h"
#include "Views/Controls/Symbol.h"
#include "Views/Controls/Theme.h"

#include <QAbstractItemView>
#include <QEvent>
#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>
#include <QWheelEvent>

#include <algorithm>

namespace tandrel {

namespace {

constexpr qreal textPoints = 13.0;
constexpr qreal padding = 8.0;
constexpr qreal chevronPoints = 10.0;
constexpr qreal narrowestPoints = 80.0;
constexpr qreal widestListPoints = 480.0;

} // namespace

PopUpButton::PopUpButton(QWidget* parent)
    : QComboBox(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    makePopUpButtonReadable();
    updateFont();
    new FocusRing(
        *this, [this] { return rect(); }, controlRadius);
}

QString PopUpButton::shownText() const {
    return currentIndex() >= 0 ? currentText() : placeholderText();
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

void PopUpButton::showPopup() {
    view()->setTextElideMode(Qt::ElideRight);
    view()->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view()->window()->setMaximumWidth(std::max(roundedPixels(widestListPoints), width()));
    QComboBox::showPopup();
}

void PopUpButton::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    drawControlFrame(painter, *this, false);
    const QPalette colors = palette();
    const bool isHot = isEnabled() && underMouse();
    const int inset = roundedPixels(padding);
    const int side = symbolSide(chevronPoints);
    const QRect chevron(width() - side - inset / 2, (height() - side) / 2, side, side);
    painter.drawPixmap(
        QStyle::visualRect(layoutDirection(), rect(), chevron),
        symbolPixmap(Symbol::chevronUpDown, chevronPoints,
                     color(isHot ? ColorRole::primary : ColorRole::secondary, colors),
                     deviceScale(painter)));
    const bool hasChoice = currentIndex() >= 0;
    painter.setPen(
        color(hasChoice && isEnabled() ? ColorRole::primary : ColorRole::tertiary, colors));
    const QRect label(inset, 0, chevron.left() - inset - inset / 2, height());
    ElidedText(shownText(), font(), label.width(), 1)
        .draw(painter, QStyle::visualRect(layoutDirection(), rect(), label),
              QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter));
}

void PopUpButton::wheelEvent(QWheelEvent* event) {
    // Scrolling past must not change the choice.
    event->ignore();
}

bool PopUpButton::event(QEvent* event) {
    const bool isHandled = QComboBox::event(event);
    if (changesSystemFont(*event)) {
        updateFont();
    }
    return isHandled;
}

void PopUpButton::changeEvent(QEvent* event) {
    QComboBox::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
