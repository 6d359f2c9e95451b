#pragma once

#include "Foundation/Published.h"

namespace tandrel {

/// What the whole program shares: the flags of the URL commands. Main thread.
class AppState {
public:
    AppState() = default;

    /// The one instance of the process.
    static AppState& shared();

    /// Set by a start command; reset when streaming starts.
    Published<bool> autoStartRequested{false};
    /// Set by a stop command; reset as soon as it is seen.
    Published<bool> stopRequested{false};
};

} // namespace tandrel
