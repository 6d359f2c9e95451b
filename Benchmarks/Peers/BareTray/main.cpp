// The least that a tray program with a popover can be.

#include "BareTray.h"

#include <QApplication>

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const tandrel::bare::BareTray tray;
    return QApplication::exec();
}
