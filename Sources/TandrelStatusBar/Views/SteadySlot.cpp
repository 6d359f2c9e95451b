#include "Views/SteadySlot.h"

#include <QHideEvent>
#include <QSpacerItem>
#include <QVBoxLayout>

#include <utility>

namespace tandrel {

SteadySlot::SteadySlot(QWidget* parent)
    : QWidget(parent)
    , layout_(new QVBoxLayout(this))
    , keptRoom_(new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Fixed)) {
    layout_->setContentsMargins({});
    layout_->setSpacing(0);
    layout_->addItem(keptRoom_);
    setVisible(false);
}

void SteadySlot::add(QWidget& content) {
    content.setVisible(false);
    layout_->addWidget(&content);
}

void SteadySlot::setContent(QWidget* content) {
    if (content == content_) {
        return;
    }
    QWidget* const previous = std::exchange(content_, content);
    if (previous != nullptr) {
        const int height = isVisible() && content == nullptr ? previous->height() : 0;
        previous->setVisible(false);
        keep(height);
    } else {
        keep(0);
    }
    if (content != nullptr) {
        content->setVisible(true);
        setVisible(true);
    }
}

void SteadySlot::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (content_ == nullptr && !event->spontaneous()) {
        keep(0);
    }
}

void SteadySlot::keep(int height) {
    keptRoom_->changeSize(0, height, QSizePolicy::Minimum, QSizePolicy::Fixed);
    layout_->invalidate();
    updateGeometry();
    if (height == 0 && content_ == nullptr) {
        setVisible(false);
    }
}

} // namespace tandrel
