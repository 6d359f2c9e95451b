#include "Platform/Desktop/PackageManagedUpdater.h"

#include "Platform/Desktop/WindowActivation.h"

#include <QMessageBox>

#include <utility>

namespace tandrel {

PackageManagedUpdater::PackageManagedUpdater(std::string installedVersion)
    : installedVersion_(std::move(installedVersion)) {}

PackageManagedUpdater::~PackageManagedUpdater() {
    delete message_;
}

void PackageManagedUpdater::checkForUpdates() {
    if (!message_) {
        message_ =
            new QMessageBox(QMessageBox::Information, QStringLiteral("Quorvane Tandrel"),
                            QStringLiteral("Updates come with your system"), QMessageBox::Ok);
        message_->setAttribute(Qt::WA_DeleteOnClose);
        message_->setAttribute(Qt::WA_QuitOnClose, false);
        message_->setTextFormat(Qt::PlainText);
        message_->setInformativeText(
            QStringLiteral("Version %1 is installed. Your system's package manager keeps it "
                           "current.")
                .arg(QString::fromStdString(installedVersion_)));
        message_->setModal(false);
    }
    message_->show();
    activateBeforeOthers(*message_);
}

} // namespace tandrel
