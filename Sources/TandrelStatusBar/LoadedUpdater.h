#pragma once

#include "Foundation/Handle.h"
#include "Platform/UpdaterController.h"
#include "UpdaterRequest.h"

#include <memory>

namespace tandrel {

class ContentModule;

/// The program's updater before its library is there: it works from its making on, and makes the
/// one that does the work when that is due or asked for. Main thread.
class LoadedUpdater : public UpdaterController {
public:
    /// The module must outlive this.
    LoadedUpdater(UpdaterRequest request, ContentModule& module);
    ~LoadedUpdater() override;

    void checkForUpdates() override;

private:
    void make();

    UpdaterRequest request_;
    ContentModule& module_;
    Handle making_;
    std::unique_ptr<UpdaterController> updater_;
};

} // namespace tandrel
