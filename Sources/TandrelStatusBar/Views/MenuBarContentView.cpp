#include "Views/MenuBarContentView.h"

#include "Views/Controls/Points.h"
#include "Views/InPoints.h"
#include "Views/LoginView.h"
#include "Views/MenuBarContentController.h"
#include "Views/PopoverView.h"

#include <QShowEvent>
#include <QVBoxLayout>

#include <utility>

namespace tandrel {

MenuBarContentView::MenuBarContentView(MenuBarContentController& controller,
                                       const ViewEnvironment& environment, QWidget* parent)
    : QWidget(parent)
    , controller_(controller)
    , environment_(environment)
    , layout_(new QVBoxLayout(this))
    , panel_(controller.panel.observe([this](StreamingController* panel) { showContent(panel); })) {
    layout_->setContentsMargins({});
    layout_->setSpacing(0);
    applyInPoints(*this, [this] { setFixedWidth(roundedPixels(320)); });
    showContent(controller_.panel.value());
}

MenuBarContentView::~MenuBarContentView() = default;

QSize MenuBarContentView::sizeHint() const {
    const int width = roundedPixels(320);
    const int height = layout_->hasHeightForWidth() ? layout_->heightForWidth(width)
                                                    : layout_->sizeHint().height();
    return {width, height};
}

void MenuBarContentView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous()) {
        return;
    }
    fontChanges_.watch(*window());
    focusContent();
    controller_.appear();
    if (StreamingController* panel = controller_.panel.value()) {
        panel->appear();
    }
}

void MenuBarContentView::showContent(StreamingController* panel) {
    if (panel != nullptr) {
        showPanel(*panel);
    } else if (controller_.authService().isAuthenticated.value()) {
        // The program ends; the form would only flash up.
        if (popoverView_ != nullptr) {
            popoverView_->detach();
        }
    } else if (loginView_ == nullptr) {
        showLogin();
    }
}

void MenuBarContentView::showLogin() {
    removeContent();
    loginView_ =
        new LoginView(controller_.authService(), controller_.credentialKeeping, environment_, this);
    present(*loginView_);
}

void MenuBarContentView::showPanel(StreamingController& panel) {
    removeContent();
    popoverView_ = new PopoverView(panel, environment_, this);
    present(*popoverView_);
    if (isVisible()) {
        panel.appear();
    }
}

void MenuBarContentView::present(QWidget& content) {
    layout_->addWidget(&content, 0, Qt::AlignTop);
    if (isVisible()) {
        content.show();
        focusContent();
    }
}

void MenuBarContentView::removeContent() {
    QWidget* const old = content();
    if (old == nullptr) {
        return;
    }
    if (loginView_ != nullptr) {
        loginView_->wipePassword();
    } else {
        popoverView_->detach();
    }
    loginView_ = nullptr;
    popoverView_ = nullptr;
    layout_->removeWidget(old);
    old->hide();
    // One of its own buttons may be what we are called from.
    old->deleteLater();
}

void MenuBarContentView::focusContent() {
    // The panel itself takes the focus rather than its first button: nobody signs out by opening
    // the popover and pressing Return.
    QWidget* const focused = window()->focusWidget();
    const bool isTyping = loginView_ != nullptr && loginView_->isAncestorOf(focused);
    if (content() != nullptr && !isTyping) {
        content()->setFocus();
    }
}

QWidget* MenuBarContentView::content() const {
    return loginView_ != nullptr ? static_cast<QWidget*>(loginView_) : popoverView_;
}

} // namespace tandrel
