#include "Views/ApplicationImageView.h"

#include "Views/Controls/Points.h"
#include "Views/Controls/Symbol.h"

#include <QEvent>
#include <QPainter>

namespace tandrel {

ApplicationImageView::ApplicationImageView(qreal points, QWidget* parent)
    : QWidget(parent)
    , points_(points) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize ApplicationImageView::sizeHint() const {
    const int side = roundedPixels(points_);
    return {side, side};
}

void ApplicationImageView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.drawPixmap(0, 0, applicationImage(points_, devicePixelRatioF()));
}

void ApplicationImageView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
        update();
    }
}

} // namespace tandrel
