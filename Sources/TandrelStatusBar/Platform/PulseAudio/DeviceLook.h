#pragma once

#include "Platform/PulseAudio/PulseServer.h"

#include <string>

namespace tandrel::pulse {

/// Looks whether the user's sound server has a microphone. It keeps a connection of its own, so
/// that a server which hangs holds up nobody else. Any one thread; a look takes at most 1.5 s.
class DeviceLook {
public:
    /// `uid` is the source's name.
    explicit DeviceLook(std::string uid);

    /// False, too, while there is no server or it does not answer.
    [[nodiscard]] bool isThere();

private:
    std::string uid_;
    Server server_;
};

} // namespace tandrel::pulse
