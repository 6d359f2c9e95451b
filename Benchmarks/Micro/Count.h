#pragma once

#include "Micro/Body.h"

namespace tandrel::bench {

/// Runs each body a fixed number of times and writes a line for it to the standard output: name,
/// unit, units in all, allocations in all, with tabs between them. Under callgrind, started with
/// `--collect-atstart=no`, the counted runs, and nothing else, become a profile of the body's name.
void countBodies(const std::vector<Body>& bodies);

} // namespace tandrel::bench
