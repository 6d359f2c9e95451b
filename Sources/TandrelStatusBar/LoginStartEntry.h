#pragma once

#include "Foundation/Published.h"

#include <QObject>
#include <QPointer>
#include <QString>

class QAction;
class QMenu;
class QMessageBox;

namespace tandrel {

class LoginStartService;

/// The entry "Start at Login" of a menu, with a check mark that tells how things stand: it looks
/// when the menu opens, and moves back with a message when a change was not made. Lives as long as
/// the menu. Main thread.
class LoginStartEntry : public QObject {
public:
    /// Appends the entry. The service must outlive the menu.
    LoginStartEntry(QMenu& menu, LoginStartService& service);
    ~LoginStartEntry() override;

private:
    void say(const QString& problem);

    QAction* action_;
    QPointer<QMessageBox> message_;
    Subscription state_;
    Subscription problem_;
};

} // namespace tandrel
