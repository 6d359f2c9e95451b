#include "Views/Controls/TextLabel.h"

#include "Views/Controls/ElidedText.h"
#include "Views/Controls/PlainText.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/TabularDigits.h"

#include <QEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace tandrel {

TextLabel::TextLabel(const QString& text, qreal points, ColorRole role, QFont::Weight weight,
                     QWidget* parent)
    : QLabel(parent)
    , points_(points)
    , role_(role)
    , weight_(weight) {
    setTextFormat(Qt::PlainText);
    setTextInteractionFlags(Qt::NoTextInteraction);
    updateFont();
    setText(text);
}

void TextLabel::setText(const QString& text) {
    QLabel::setText(wraps() ? plainLines(text) : singleLine(text));
    updateToolTip();
}

void TextLabel::setRole(ColorRole role) {
    role_ = role;
    update();
}

void TextLabel::setItalic(bool italic) {
    italic_ = italic;
    updateFont();
}

void TextLabel::setMonospacedDigits(bool monospaced) {
    monospacedDigits_ = monospaced;
    updateGeometry();
    update();
}

void TextLabel::setMaximumLines(int lines) {
    maximumLines_ = lines;
    QSizePolicy policy = sizePolicy();
    policy.setHeightForWidth(wraps());
    setSizePolicy(policy);
    updateToolTip();
    updateGeometry();
    update();
}

void TextLabel::setElideMode(Qt::TextElideMode mode) {
    elideMode_ = mode;
    update();
}

qreal TextLabel::naturalWidth() const {
    const QFontMetricsF metrics(font());
    return monospacedDigits_ ? tabularWidth(text(), metrics) : metrics.horizontalAdvance(text());
}

QSize TextLabel::sizeHint() const {
    const QFontMetricsF metrics(font());
    const int width = int(std::ceil(naturalWidth()));
    return {width, int(std::ceil(metrics.height()))};
}

QSize TextLabel::minimumSizeHint() const {
    const QFontMetricsF metrics(font());
    const int height = int(std::ceil(metrics.height()));
    if (monospacedDigits_) {
        return sizeHint();
    }
    return {std::min(sizeHint().width(), int(std::ceil(metrics.averageCharWidth() * 4))), height};
}

bool TextLabel::hasHeightForWidth() const {
    return wraps();
}

int TextLabel::heightForWidth(int width) const {
    if (!wraps()) {
        return -1;
    }
    const QFontMetricsF metrics(font());
    const ElidedText lines(text(), font(), width, maximumLines_);
    return int(std::ceil(metrics.height() + metrics.lineSpacing() * (lines.lineCount() - 1)));
}

void TextLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setFont(font());
    painter.setPen(color(role_, palette()));
    const Qt::Alignment aligned =
        QStyle::visualAlignment(layoutDirection(), alignment() | Qt::AlignVCenter);
    if (monospacedDigits_) {
        drawTabular(painter, rect(), aligned, text());
        return;
    }
    if (elideMode_ != Qt::ElideRight && !wraps()) {
        const QString line = QFontMetricsF(font()).elidedText(text(), elideMode_, width());
        painter.drawText(rect(), int(aligned | Qt::TextSingleLine), line);
        return;
    }
    ElidedText(text(), font(), width(), maximumLines_).draw(painter, rect(), aligned);
}

bool TextLabel::event(QEvent* event) {
    const bool isHandled = QLabel::event(event);
    if (changesSystemFont(*event)) {
        updateFont();
    }
    return isHandled;
}

void TextLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
        updateToolTip();
    }
    update();
}

void TextLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    updateToolTip();
}

void TextLabel::updateFont() {
    QFont font = systemFont(points_, weight_);
    font.setItalic(italic_);
    setFont(font);
}

void TextLabel::updateToolTip() {
    const bool isElided =
        !monospacedDigits_ && ElidedText(text(), font(), width(), maximumLines_).isElided();
    if (isElided) {
        setToolTip(plainToolTip(text()));
    } else if (hasElisionToolTip_) {
        setToolTip({});
    }
    hasElisionToolTip_ = isElided;
}

} // namespace tandrel
