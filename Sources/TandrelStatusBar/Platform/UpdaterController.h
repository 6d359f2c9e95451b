#pragma once

namespace tandrel {

/// Keeps the program current. Main thread.
class UpdaterController {
public:
    UpdaterController() = default;
    UpdaterController(const UpdaterController&) = delete;
    UpdaterController& operator=(const UpdaterController&) = delete;
    virtual ~UpdaterController() = default;

    /// The user asks whether there is a newer version; the answer is shown to them.
    virtual void checkForUpdates() = 0;
};

} // namespace tandrel
