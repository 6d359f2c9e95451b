#include "BareMeter.h"

#include <QLinearGradient>
#include <QPainter>

namespace tandrel::bare {

BareMeter::BareMeter(QWidget* parent)
    : QWidget(parent) {
    setFixedHeight(6);
}

void BareMeter::setLevel(double level) {
    level_ = level;
    update();
}

void BareMeter::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(128, 128, 128, 51));
    painter.drawRoundedRect(rect(), 3, 3);
    QRectF filled(rect());
    filled.setWidth(filled.width() * level_);
    QLinearGradient gradient(filled.topLeft(), filled.topRight());
    gradient.setColorAt(0, Qt::green);
    gradient.setColorAt(0.5, Qt::yellow);
    gradient.setColorAt(1, Qt::red);
    painter.setBrush(gradient);
    painter.drawRoundedRect(filled, 3, 3);
}

} // namespace tandrel::bare
