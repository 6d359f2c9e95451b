#pragma once

#include "Doctor/Finding.h"
#include "Doctor/NetworkLook.h"
#include "Doctor/Report.h"

#include <string>

namespace tandrel::doctor {

/// Looks at all that streaming needs and at what makes it comfortable, everything at the same time;
/// takes about as long as the slowest look, at most 10 s. Needs a Qt application object, but
/// neither display, bus, sound server nor keyring; asks the user nothing, changes nothing, writes
/// nothing to the debug log, and leaves a running program alone. Main thread.
[[nodiscard]] Findings examineSystem(const BackendAddress& backend);

/// Examines the system, prints the report to standard output and returns the exit code: 0 when all
/// that streaming needs is there, else 1. Looks that have not ended go on, so the process is to end
/// at once.
[[nodiscard]] int runDoctor(const std::string& backendURL, Format format);

} // namespace tandrel::doctor
