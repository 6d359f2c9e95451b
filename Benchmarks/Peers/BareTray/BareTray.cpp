#include "BareTray.h"

#include <QPainter>

namespace tandrel::bare {

namespace {

QIcon square() {
    QPixmap picture(22, 22);
    picture.fill(Qt::transparent);
    QPainter(&picture).fillRect(4, 4, 14, 14, Qt::black);
    return QIcon(picture);
}

} // namespace

BareTray::BareTray()
    : icon_(square())
    , popover_(nullptr, Qt::Popup) {
    popover_.setFixedWidth(320);
    popover_.resize(320, 240);
    QObject::connect(&icon_, &QSystemTrayIcon::activated, &popover_,
                     [this] { popover_.setVisible(!popover_.isVisible()); });
    icon_.show();
}

} // namespace tandrel::bare
