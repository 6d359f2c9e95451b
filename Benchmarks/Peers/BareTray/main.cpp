// The least that a tray program with a popover can be: an icon, a window of the same width with
// nothing in it, and, on request, a meter that repaints itself 47 times a second.

#include "BareMeter.h"

#include <QApplication>
#include <QPainter>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const bool hasMeter = QCoreApplication::arguments().contains(QStringLiteral("--meter"));

    QPixmap picture(22, 22);
    picture.fill(Qt::transparent);
    QPainter(&picture).fillRect(4, 4, 14, 14, Qt::black);
    QSystemTrayIcon icon{QIcon(picture)};

    QWidget popover(nullptr, Qt::Popup);
    popover.setFixedWidth(320);
    popover.resize(320, 240);
    QTimer timer;
    int ticks = 0;
    if (hasMeter) {
        auto* layout = new QVBoxLayout(&popover);
        auto* meter = new tandrel::bare::BareMeter(&popover);
        layout->addWidget(meter);
        // The rate at which 1023 frames at 48 kHz come.
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, meter, [meter, &ticks] {
            meter->setLevel(0.5 + (0.4 * std::sin(++ticks * 0.3)));
        });
        timer.start(21);
    }
    QObject::connect(&icon, &QSystemTrayIcon::activated, &popover,
                     [&popover] { popover.setVisible(!popover.isVisible()); });
    icon.show();
    return QApplication::exec();
}
