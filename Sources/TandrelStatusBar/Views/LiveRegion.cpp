#include "Views/LiveRegion.h"

#include "Views/LiveRegionAccessible.h"

#include <QAccessible>
#include <QMetaObject>

#include <utility>

namespace tandrel {

LiveRegion::LiveRegion(QWidget* parent)
    : QWidget(parent) {
    makeLiveRegionsAccessible();
}

void LiveRegion::setNews(const QString& news) {
    news_ = news;
    if (news != announced_ && !isAnnouncing_) {
        isAnnouncing_ = true;
        // In the next turn: what is passed through on the way to another state is no news.
        QMetaObject::invokeMethod(this, &LiveRegion::announce, Qt::QueuedConnection);
    }
}

void LiveRegion::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    announced_ = news_; // by Qt, which tells of whatever comes into view
}

void LiveRegion::announce() {
    isAnnouncing_ = false;
    const bool isNews = std::exchange(announced_, news_) != news_;
    if (!isNews || !isVisible()) {
        return;
    }
    QAccessibleEvent nameChanged(this, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&nameChanged);
    // A screen reader speaks a notification when it comes into view; a name that changes it speaks
    // for the focused element only. Events that carry an announcement exist from Qt 6.8 on.
    QAccessibleEvent shown(this, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&shown);
}

} // namespace tandrel
