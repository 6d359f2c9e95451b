#pragma once

namespace tandrel {

/// Ends the process at once, once everything is stopped, saved and closed. A name look-up that the
/// system has under way would otherwise hold the process for seconds.
[[noreturn]] void leaveProcess(int exitCode);

} // namespace tandrel
