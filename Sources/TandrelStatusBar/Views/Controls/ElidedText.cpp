#include "Views/Controls/ElidedText.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QRectF>
#include <QTextLayout>

namespace tandrel {

namespace {

struct Break {
    int start;
    int length;
};

/// The lines that `text` breaks into, at most `limit` + 1 of them.
QList<Break> breaks(const QString& text, const QFont& font, qreal width, int limit) {
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    QTextLayout layout(text, font);
    layout.setTextOption(option);
    QList<Break> result;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid() && result.size() <= limit;
         line = layout.createLine()) {
        line.setLineWidth(width);
        result.append({line.textStart(), line.textLength()});
    }
    layout.endLayout();
    return result;
}

} // namespace

ElidedText::ElidedText(const QString& text, const QFont& font, qreal width, int maximumLines)
    : font_(font) {
    const QFontMetricsF metrics(font);
    if (maximumLines == 1) {
        const QString line = metrics.elidedText(text, Qt::ElideRight, width);
        lines_ = {line};
        isElided_ = line != text;
        return;
    }
    constexpr int noLimit = 100;
    const int limit = maximumLines > 0 ? maximumLines : noLimit;
    // The layout knows one kind of line break only.
    QString source = text;
    source.replace(QLatin1Char('\n'), QChar::LineSeparator);
    const QList<Break> found = breaks(source, font, width, limit);
    for (const Break& line : found) {
        if (lines_.size() + 1 == limit && found.size() > limit) {
            QString rest = text.mid(line.start);
            rest.replace(QLatin1Char('\n'), QLatin1Char(' '));
            lines_.append(metrics.elidedText(rest, Qt::ElideRight, width));
            isElided_ = lines_.back() != rest;
            break;
        }
        lines_.append(text.mid(line.start, line.length).trimmed());
    }
    if (lines_.isEmpty()) {
        lines_.append(QString());
    }
}

void ElidedText::draw(QPainter& painter, const QRectF& area, Qt::Alignment alignment) const {
    const QFontMetricsF metrics(font_);
    const qreal height = metrics.height() + metrics.lineSpacing() * qreal(lines_.size() - 1);
    qreal top = area.top();
    if (alignment.testFlag(Qt::AlignVCenter)) {
        top += (area.height() - height) / 2.0;
    } else if (alignment.testFlag(Qt::AlignBottom)) {
        top += area.height() - height;
    }
    // On a whole pixel, or the hinted glyphs blur.
    top = qRound(top);
    painter.setFont(font_);
    for (const QString& line : lines_) {
        painter.drawText(QRectF(area.left(), top, area.width(), metrics.height()),
                         int(alignment & Qt::AlignHorizontal_Mask) | int(Qt::AlignTop) |
                             int(Qt::TextSingleLine) | int(Qt::TextDontClip),
                         line);
        top += metrics.lineSpacing();
    }
}

} // namespace tandrel
