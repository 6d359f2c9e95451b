#pragma once

#include "Foundation/Published.h"
#include "Platform/UpdaterController.h"

#include <memory>

namespace tandrel {

/// What the whole program shares: the flags of the URL commands and the software updates. Main
/// thread.
class AppState {
public:
    AppState() = default;

    /// The one instance of the process.
    static AppState& shared();

    /// Set by a start command; reset when streaming starts.
    Published<bool> autoStartRequested{false};
    /// Set by a stop command; reset as soon as it is seen.
    Published<bool> stopRequested{false};
    /// Set by the composition root before anything is shown, and taken back before it goes; null in
    /// a program without windows.
    std::unique_ptr<UpdaterController> updaterController;
};

} // namespace tandrel
