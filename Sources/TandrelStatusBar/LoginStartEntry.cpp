#include "LoginStartEntry.h"

#include "Services/LoginStartService.h"

#include <QAction>
#include <QMenu>
#include <QMessageBox>

namespace tandrel {

LoginStartEntry::LoginStartEntry(QMenu& menu, LoginStartService& service)
    : QObject(&menu)
    , action_(menu.addAction(QStringLiteral("Start at Login"))) {
    action_->setCheckable(true);
    connect(&menu, &QMenu::aboutToShow, this, [&service] { service.refresh(); });
    connect(action_, &QAction::triggered, this,
            [&service](bool isChecked) { service.change(isChecked); });
    state_ = service.isOn.observe([this](bool isOn) { action_->setChecked(isOn); });
    problem_ = service.problem.observe(
        [this](const std::string& problem) { say(QString::fromStdString(problem)); });
}

LoginStartEntry::~LoginStartEntry() {
    delete message_;
}

void LoginStartEntry::say(const QString& problem) {
    if (!message_) {
        message_ = new QMessageBox(QMessageBox::Warning, QStringLiteral("Quorvane Tandrel"),
                                   QString(), QMessageBox::Ok);
        message_->setAttribute(Qt::WA_DeleteOnClose);
        message_->setAttribute(Qt::WA_QuitOnClose, false);
        message_->setTextFormat(Qt::PlainText);
        message_->setModal(false);
    }
    message_->setText(QStringLiteral("Start at Login was not changed.\n\n") + problem);
    message_->show();
}

} // namespace tandrel
