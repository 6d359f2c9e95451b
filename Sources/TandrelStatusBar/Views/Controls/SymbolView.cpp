#include "Views/Controls/SymbolView.h"

#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/Points.h"

#include <QEvent>
#include <QPainter>

namespace tandrel {

SymbolView::SymbolView(Symbol symbol, qreal points, ColorRole role, QWidget* parent)
    : QWidget(parent)
    , symbol_(symbol)
    , points_(points)
    , role_(role) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void SymbolView::setSymbol(Symbol symbol) {
    symbol_ = symbol;
    update();
}

void SymbolView::setRole(ColorRole role) {
    role_ = role;
    update();
}

QSize SymbolView::sizeHint() const {
    const int side = symbolSide(points_);
    return {side, side};
}

void SymbolView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const QPixmap pixmap =
        symbolPixmap(symbol_, points_, color(role_, palette()), deviceScale(painter));
    const int side = symbolSide(points_);
    painter.drawPixmap((width() - side) / 2, (height() - side) / 2, pixmap);
}

void SymbolView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
