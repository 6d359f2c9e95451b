#pragma once

#include "Foundation/Handle.h"

#include <functional>

namespace tandrel {

class MainQueue;
class MicrophonePermission;

/// Whether the program may record; asks the user only while that is undecided. `completion` comes
/// later, on the main thread. Both services must outlive the operation.
[[nodiscard]] Handle requestMicrophonePermission(MicrophonePermission& permission,
                                                 MainQueue& mainQueue,
                                                 std::function<void(bool granted)> completion);

} // namespace tandrel
