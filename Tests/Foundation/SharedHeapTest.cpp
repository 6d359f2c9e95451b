#include "Foundation/SharedHeap.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

/// How many heaps the C library says there are.
std::size_t heapCount() {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = open_memstream(&text, &size);
    malloc_info(0, stream);
    std::fclose(stream);
    const std::string report(text, size);
    std::free(text);
    std::size_t count = 0;
    for (auto at = report.find("<heap nr="); at != std::string::npos;
         at = report.find("<heap nr=", at + 1)) {
        ++count;
    }
    return count;
}

TEST(SharedHeap, ThreadsThatAllocateHaveNoneOfTheirOwn) {
    shareOneHeap();
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number) {
        threads.emplace_back([] {
            for (int count = 0; count < 100; ++count) {
                const auto bytes = std::make_unique<std::vector<char>>(2048);
                EXPECT_EQ(bytes->size(), 2048U);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(heapCount(), 1U);
}

} // namespace
} // namespace tandrel
