#include "Platform/Desktop/ScreenWatch.h"

#include <QGuiApplication>
#include <QScreen>

#include <utility>

namespace tandrel {

ScreenWatch::ScreenWatch(QObject* parent)
    : QObject(parent) {
    for (const QScreen* const screen : QGuiApplication::screens()) {
        watch(screen);
    }
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](const QScreen* screen) {
        watch(screen);
        announce();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &ScreenWatch::announce);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &ScreenWatch::announce);
}

void ScreenWatch::watch(const QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, &ScreenWatch::announce);
    connect(screen, &QScreen::availableGeometryChanged, this, &ScreenWatch::announce);
}

void ScreenWatch::announce() {
    if (!std::exchange(isAnnounced_, true)) {
        // A screen that is told to be gone is still in the list.
        QMetaObject::invokeMethod(
            this,
            [this] {
                isAnnounced_ = false;
                Q_EMIT changed();
            },
            Qt::QueuedConnection);
    }
}

} // namespace tandrel
