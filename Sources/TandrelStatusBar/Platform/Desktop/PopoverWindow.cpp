#include "Platform/Desktop/PopoverWindow.h"

#include "Platform/Desktop/WindowActivation.h"

#include <QApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

/// A window that has just opened may lose the focus again at once: to the panel that was clicked,
/// or because a Wayland compositor hands it over in two steps.
constexpr std::chrono::milliseconds graceAfterOpening(250);

Qt::WindowFlags flagsOf(PopoverWindow::Kind kind) {
    return kind == PopoverWindow::Kind::popover
               ? Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
               : Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                     Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                     Qt::WindowCloseButtonHint;
}

bool placesItself() {
    return !QGuiApplication::platformName().startsWith(QStringLiteral("wayland"));
}

} // namespace

PopoverWindow::PopoverWindow(QWidget* content, CompositorQuery hasCompositor,
                             ShadowSetting setShadow)
    : QWidget(nullptr, flagsOf(Kind::popover))
    , hasCompositor_(std::move(hasCompositor))
    , setShadow_(std::move(setShadow))
    , grace_(new QTimer(this)) {
    setWindowTitle(QStringLiteral("Quorvane Tandrel"));
    setAttribute(Qt::WA_QuitOnClose, false);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(content);
    grace_->setSingleShot(true);
    connect(grace_, &QTimer::timeout, this, &PopoverWindow::endGrace);
}

void PopoverWindow::open(Kind kind, const PopoverSituation& situation) {
    if (!isVisible()) {
        situation_ = situation;
        prepare(kind);
        grace_->start(graceAfterOpening);
        show();
    }
    bringToFront();
}

void PopoverWindow::follow(const PopoverSituation& situation) {
    if (isVisible()) {
        situation_ = situation;
        fitContent();
    }
}

void PopoverWindow::prepare(Kind kind) {
    const bool isTranslucent = kind == Kind::popover && hasCompositor_();
    if (kind != kind_ || isTranslucent != testAttribute(Qt::WA_TranslucentBackground)) {
        // Both are settled when the window is made.
        destroy();
        kind_ = kind;
        setWindowFlags(flagsOf(kind));
        setAttribute(Qt::WA_TranslucentBackground, isTranslucent);
    }
    shadow_ = setShadow_(isTranslucent);
    layout()->setContentsMargins(hasBorder() ? QMargins(1, 1, 1, 1) : QMargins());
    fitContent();
}

bool PopoverWindow::hasBorder() const {
    // Neither a shadow nor the window manager sets it off from what lies behind.
    return kind_ == Kind::popover && !testAttribute(Qt::WA_TranslucentBackground);
}

void PopoverWindow::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
    if (hasBorder()) {
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void PopoverWindow::fitContent() {
    layout()->activate();
    const QSize size = sizeHint();
    if (kind_ == Kind::popover && placesItself()) {
        const QSize card = size.shrunkBy(shadow_);
        move(placePopover(card, situation_) - QPoint(shadow_.left(), shadow_.top()));
        setMask(unobtrusivePart(QRect(pos(), size), situation_).translated(-pos()));
    } else {
        clearMask();
    }
    setFixedSize(size);
}

void PopoverWindow::bringToFront() {
    if (isMinimized()) {
        showNormal();
    }
    activateBeforeOthers(*this);
}

bool PopoverWindow::event(QEvent* event) {
    const bool isHandled = QWidget::event(event);
    if (event->type() == QEvent::LayoutRequest && isVisible()) {
        fitContent();
    } else if (event->type() == QEvent::WindowDeactivate) {
        // Later: a pop-up of our own, which may be the reason, is known by then.
        QTimer::singleShot(0, this, &PopoverWindow::closeWhenInactive);
    } else if (event->type() == QEvent::PaletteChange && isVisible()) {
        renewFrame();
    }
    return isHandled;
}

void PopoverWindow::renewFrame() {
    // Where the desktop leaves the frame to its programs (Wayland), Qt's keeps the colours that it
    // was made in (6.4.2).
    if (kind_ == Kind::window && !placesItself()) {
        windowHandle()->setFlag(Qt::FramelessWindowHint, true);
        windowHandle()->setFlag(Qt::FramelessWindowHint, false);
    }
}

void PopoverWindow::closeWhenInactive() {
    if (kind_ == Kind::popover && isVisible() && !isActiveWindow() && !grace_->isActive() &&
        QApplication::activePopupWidget() == nullptr) {
        close();
        Q_EMIT closedByDeactivation();
    }
}

void PopoverWindow::endGrace() {
    // Without the focus it would not notice when to close.
    if (isVisible() && !isActiveWindow()) {
        bringToFront();
    }
}

void PopoverWindow::mousePressEvent(QMouseEvent* event) {
    // The shadow is not the popover.
    if (kind_ == Kind::popover && !rect().marginsRemoved(shadow_).contains(event->pos())) {
        close();
    }
}

void PopoverWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace tandrel
