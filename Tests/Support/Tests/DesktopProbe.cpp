// A form and a tray icon: what the private desktop's tests drive.

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);

    QWidget form;
    QVBoxLayout layout(&form);
    QLabel label(QStringLiteral("Nothing said"));
    QLineEdit field;
    field.setAccessibleName(QStringLiteral("Word"));
    QPushButton button(QStringLiteral("Say"));
    button.setToolTip(QStringLiteral("Says the word"));
    layout.addWidget(&label);
    layout.addWidget(&field);
    layout.addWidget(&button);
    QObject::connect(&button, &QPushButton::clicked, &label,
                     [&] { label.setText(QStringLiteral("Said ") + field.text()); });
    form.show();

    QPixmap image(22, 22);
    image.fill(Qt::red);
    QSystemTrayIcon icon{QIcon(image)};
    QMenu menu;
    menu.addAction(QStringLiteral("Leave"), &application, &QCoreApplication::quit);
    icon.setContextMenu(&menu);
    icon.setToolTip(QStringLiteral("A probe"));
    QObject::connect(&icon, &QSystemTrayIcon::activated, &label,
                     [&label] { label.setText(QStringLiteral("Icon clicked")); });
    icon.show();
    return QApplication::exec();
}
