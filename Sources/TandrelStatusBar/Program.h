#pragma once

#include "TandrelStatusBarApp.h"

namespace tandrel {

/// The program from its first line to its last: options, single instance, application, end. For
/// `main`, which supplies the addresses. Does not return once the application has run.
[[nodiscard]] int runProgram(int argc, char** argv,
                             const TandrelStatusBarApp::Addresses& addresses);

} // namespace tandrel
