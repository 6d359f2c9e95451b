#include "Views/Controls/TabularDigits.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QRectF>

#include <algorithm>

namespace tandrel {

namespace {

qreal digitWidth(const QFontMetricsF& metrics) {
    qreal width = 0.0;
    for (char16_t digit = u'0'; digit <= u'9'; ++digit) {
        width = std::max(width, metrics.horizontalAdvance(QChar(digit)));
    }
    return width;
}

bool isDigit(QChar character) {
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

} // namespace

qreal tabularWidth(const QString& text, const QFontMetricsF& metrics) {
    const qreal digit = digitWidth(metrics);
    qreal width = 0.0;
    for (const QChar character : text) {
        width += isDigit(character) ? digit : metrics.horizontalAdvance(character);
    }
    return width;
}

void drawTabular(QPainter& painter, const QRectF& area, Qt::Alignment alignment,
                 const QString& text) {
    const QFontMetricsF metrics(painter.font());
    const qreal digit = digitWidth(metrics);
    qreal left = area.left();
    const qreal spare = area.width() - tabularWidth(text, metrics);
    if (alignment.testFlag(Qt::AlignRight)) {
        left += spare;
    } else if (alignment.testFlag(Qt::AlignHCenter)) {
        left += spare / 2.0;
    }
    const qreal baseline =
        qRound(area.top() + (area.height() - metrics.height()) / 2.0) + metrics.ascent();
    for (const QChar character : text) {
        const qreal own = metrics.horizontalAdvance(character);
        const qreal cell = isDigit(character) ? digit : own;
        painter.drawText(QPointF(left + (cell - own) / 2.0, baseline), QString(character));
        left += cell;
    }
}

} // namespace tandrel
