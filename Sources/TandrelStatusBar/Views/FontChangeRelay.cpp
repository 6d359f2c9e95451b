#include "Views/FontChangeRelay.h"

#include <QCoreApplication>
#include <QEvent>
#include <QWidget>

namespace tandrel {

void FontChangeRelay::watch(QWidget& window) {
    if (window_ == &window) {
        return;
    }
    if (window_) {
        window_->removeEventFilter(this);
    }
    window_ = &window;
    window.installEventFilter(this);
}

bool FontChangeRelay::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_ && event->type() == QEvent::ApplicationFontChange) {
        for (QWidget* part : window_->findChildren<QWidget*>()) {
            QEvent change(QEvent::ApplicationFontChange);
            QCoreApplication::sendEvent(part, &change);
        }
    }
    return false;
}

} // namespace tandrel
