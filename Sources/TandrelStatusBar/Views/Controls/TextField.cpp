#include "Views/Controls/TextField.h"

#include "Views/Controls/ControlFrame.h"
#include "Views/Controls/Points.h"

#include <QEvent>
#include <QPainter>
#include <QStyleOptionFrame>

namespace tandrel {

namespace {

constexpr qreal textPoints = 13.0;
constexpr qreal horizontalPadding = 6.0;
constexpr qreal narrowestPoints = 80.0;

} // namespace

TextField::TextField(const QString& placeholder, QWidget* parent)
    : QLineEdit(parent) {
    setFrame(false);
    setPlaceholderText(placeholder);
    setAccessibleName(placeholder);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    updateMetrics();
}

void TextField::updateMetrics() {
    setFont(systemFont(textPoints));
    const int padding = roundedPixels(horizontalPadding);
    setTextMargins(padding, 0, padding, 0);
}

QSize TextField::sizeHint() const {
    return {roundedPixels(narrowestPoints), controlHeight(font())};
}

QSize TextField::minimumSizeHint() const {
    return sizeHint();
}

void TextField::initStyleOption(QStyleOptionFrame* option) const {
    QLineEdit::initStyleOption(option);
    // The field's ground is drawn here, rounded.
    option->lineWidth = 0;
    option->palette.setBrush(QPalette::Base, Qt::transparent);
}

void TextField::paintEvent(QPaintEvent* event) {
    {
        QPainter painter(this);
        drawControlFrame(painter, *this, hasFocus());
    }
    QLineEdit::paintEvent(event);
}

bool TextField::event(QEvent* event) {
    const bool isHandled = QLineEdit::event(event);
    if (changesSystemFont(*event)) {
        updateMetrics();
    }
    return isHandled;
}

void TextField::changeEvent(QEvent* event) {
    QLineEdit::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
