#include "Harness/Check.h"

#include <cstdio>
#include <cstdlib>

namespace tandrel::fuzz {

void failExpectation(const char* file, int line, const char* expectation) {
    std::fprintf(stderr, "%s:%d: not so: %s\n", file, line, expectation);
    std::abort();
}

} // namespace tandrel::fuzz
