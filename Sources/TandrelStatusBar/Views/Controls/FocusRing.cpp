#include "Views/Controls/FocusRing.h"

#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QEvent>
#include <QFocusEvent>
#include <QPainter>
#include <QWidget>

#include <utility>

namespace tandrel {

namespace {

constexpr qreal ringWidth = 2.0;
constexpr qreal gap = 1.0;

} // namespace

class FocusRing::Overlay : public QWidget {
public:
    Overlay(qreal radius, QWidget* window)
        : QWidget(window)
        , radius_(radius) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal width = pixels(ringWidth);
        painter.setPen(QPen(focusRing(palette()), width));
        const qreal radius = pixels(radius_ + gap + ringWidth / 2.0);
        const qreal inset = width / 2.0;
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), radius,
                                radius);
    }

private:
    qreal radius_;
};

FocusRing::FocusRing(QWidget& target, std::function<QRect()> shape, qreal radius)
    : QObject(&target)
    , target_(target)
    , shape_(std::move(shape))
    , radius_(radius) {
    target.installEventFilter(this);
}

FocusRing::~FocusRing() {
    hide();
}

bool FocusRing::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::FocusIn:
        if (watched == &target_ && isByKeyboard(static_cast<QFocusEvent*>(event)->reason())) {
            show();
        }
        break;
    case QEvent::FocusOut:
        if (watched == &target_) {
            returnsWithWindow_ = isShown();
            hide();
        }
        break;
    case QEvent::KeyPress:
        // A window that opens gives its first control the focus unseen; who types must see it.
        if (watched == &target_ && !isShown()) {
            show();
        }
        break;
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::LayoutRequest:
        if (overlay_ != nullptr) {
            place();
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

bool FocusRing::isByKeyboard(Qt::FocusReason reason) const {
    switch (reason) {
    case Qt::TabFocusReason:
    case Qt::BacktabFocusReason:
    case Qt::ShortcutFocusReason:
        return true;
    case Qt::ActiveWindowFocusReason:
    case Qt::PopupFocusReason:
    case Qt::MenuBarFocusReason:
        return returnsWithWindow_;
    default:
        return false;
    }
}

void FocusRing::show() {
    hide();
    overlay_ = new Overlay(radius_, target_.window());
    for (QWidget* ancestor = target_.parentWidget(); ancestor != nullptr;
         ancestor = ancestor->parentWidget()) {
        ancestor->installEventFilter(this);
        watchedAncestors_.append(ancestor);
        if (ancestor->isWindow()) {
            break;
        }
    }
    place();
}

void FocusRing::hide() {
    for (const QPointer<QWidget>& ancestor : std::exchange(watchedAncestors_, {})) {
        if (ancestor != nullptr) {
            ancestor->removeEventFilter(this);
        }
    }
    delete overlay_.data();
}

void FocusRing::place() {
    const int outset = roundedPixels(ringWidth + gap);
    const QRect shape = shape_().adjusted(-outset, -outset, outset, outset);
    overlay_->setGeometry(
        QRect(target_.mapTo(overlay_->parentWidget(), shape.topLeft()), shape.size()));
    overlay_->setVisible(target_.isVisible());
    overlay_->raise();
}

} // namespace tandrel
