#pragma once

#include <cstddef>

namespace tandrel::test {

/// Counts the calling thread's heap allocations (malloc, calloc, realloc, aligned ones and so
/// `new`, libraries included) since it was made. Using it replaces malloc in the test program.
class AllocationCounter {
public:
    AllocationCounter();
    [[nodiscard]] std::size_t count() const;

private:
    std::size_t start_;
};

} // namespace tandrel::test
