#pragma once

#include "Platform/UpdaterController.h"

#include <QPointer>

#include <string>

class QMessageBox;

namespace tandrel {

/// For an installation that the system's package manager keeps current: says so.
class PackageManagedUpdater : public UpdaterController {
public:
    explicit PackageManagedUpdater(std::string installedVersion);
    ~PackageManagedUpdater() override;

    void checkForUpdates() override;

private:
    std::string installedVersion_;
    QPointer<QMessageBox> message_;
};

} // namespace tandrel
