#include "Support/AllocationCounter.h"

namespace {

constinit thread_local std::size_t allocations = 0;

} // namespace

#ifdef TANDREL_SANITIZED

// The sanitizers bring a malloc of their own and a hook to watch it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*,
                                                                          std::size_t),
                                                         void (*onFree)(const volatile void*));

namespace {

void installOnce() {
    [[maybe_unused]] static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t) { ++allocations; }, [](const volatile void*) {});
}

} // namespace

#else

// A program's own malloc takes the place of the C library's, which stays reachable under these
// names (glibc manual, "Replacing malloc").
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* old, std::size_t size) {
    ++allocations;
    return __libc_realloc(old, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    ++allocations;
    return __libc_memalign(alignment, size);
}
}

namespace {

void installOnce() {}

} // namespace

#endif

namespace tandrel::test {

AllocationCounter::AllocationCounter() {
    installOnce();
    start_ = allocations;
}

std::size_t AllocationCounter::count() const {
    return allocations - start_;
}

} // namespace tandrel::test
