#pragma once

namespace tandrel {

/// From now on the calling thread does not take the processor from the thread that wakes it, but
/// lets it come to its end first. A thread that hands something on as the last thing before it
/// waits would otherwise be interrupted just then, and both be switched to once more. Does nothing
/// where the system has no such setting.
void renounceWakeUpPreemption();

} // namespace tandrel
