#pragma once

#include "Foundation/Handle.h"

#include <functional>

namespace tandrel {

class MicrophonePermission;

/// Whether the program may record; asks the user only while that is undecided. `completion` comes
/// later, on the main thread. The permission must outlive the operation.
[[nodiscard]] Handle requestMicrophonePermission(MicrophonePermission& permission,
                                                 std::function<void(bool granted)> completion);

} // namespace tandrel
