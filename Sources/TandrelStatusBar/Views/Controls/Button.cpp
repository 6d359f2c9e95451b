#include "Views/Controls/Button.h"

#include "Views/Controls/FocusRing.h"
#include "Views/Controls/Points.h"

#include <QEvent>
#include <QKeyEvent>

namespace tandrel {

Button::Button(const QString& text, qreal ringRadius, QWidget* parent)
    : QAbstractButton(parent) {
    setText(text);
    // A click leaves the focus where the user types.
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    new FocusRing(
        *this, [this] { return visibleShape(); }, ringRadius);
}

void Button::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        QAbstractButton::keyPressEvent(event);
        return;
    }
    if (!event->isAutoRepeat()) {
        click();
    }
}

bool Button::event(QEvent* event) {
    const bool isHandled = QAbstractButton::event(event);
    if (changesSystemFont(*event)) {
        updateFont();
    }
    return isHandled;
}

void Button::changeEvent(QEvent* event) {
    QAbstractButton::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
