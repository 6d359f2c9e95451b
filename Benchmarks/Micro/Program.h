#pragma once

#include "Micro/Body.h"

namespace tandrel::bench {

/// The `main` of a program that measures what `makeBodies` makes, once there is an application
/// object: times it as Google Benchmark does, with its options; with --count, counts what it
/// executes and allocates (see Benchmarks/Gate).
int runBodies(int count, char** arguments, std::vector<Body> (*makeBodies)());

} // namespace tandrel::bench
