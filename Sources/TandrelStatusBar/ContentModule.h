#pragma once

#include "AppContent.h"
#include "Doctor/Report.h"
#include "Platform/UpdaterController.h"
#include "UpdaterRequest.h"

#include <memory>
#include <optional>
#include <string>

namespace tandrel {

/// The library that holds the popover's content and all services. It brings two dozen libraries
/// along (network, sound, keyring), a third of the program's start: so it is no part of the program
/// that the system loads, and comes when the icon is there. Main thread.
class ContentModule {
public:
    /// Loads the library, unless it is there already: some milliseconds. False, and a line on
    /// standard error, when the program's installation is damaged.
    bool load();

    /// Loads the library if need be; null when that fails.
    [[nodiscard]] std::unique_ptr<AppContent> makeContent(const AppContent::Request& request);

    /// The same for the updater.
    [[nodiscard]] std::unique_ptr<UpdaterController> makeUpdater(const UpdaterRequest& request);

    /// Examines the system, prints the report, and returns the exit code; nothing when the library
    /// cannot be loaded. Needs a Qt application object. Up to 10 s.
    [[nodiscard]] std::optional<int> runDoctor(const std::string& backendURL,
                                               doctor::Format format);

private:
    MakeAppContent make_ = nullptr;
    MakeUpdater makeUpdater_ = nullptr;
};

} // namespace tandrel
