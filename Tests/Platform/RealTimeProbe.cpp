#include "Platform/RealTimeProbe.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <ucontext.h>

// The C library's own allocator, under the names that stay when ours take its place.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace tandrel::test {

namespace {

// From linux/prctl.h, which may be older than the kernel.
constexpr int setSyscallUserDispatch = 59;
constexpr unsigned long dispatchOn = 1;
constexpr char allow = 0;
constexpr char block = 1;

thread_local bool counting = false;
/// Read by the kernel at each system call of this thread.
thread_local volatile char systemCallSelector = allow;

std::atomic<std::uint64_t> allocations{0};
std::atomic<std::uint64_t> locks{0};
std::atomic<std::uint64_t> systemCalls{0};

void countIn(std::atomic<std::uint64_t>& counter) {
    if (counting) {
        counter.fetch_add(1, std::memory_order_relaxed);
    }
}

void setCounting(bool on) {
    counting = on;
    systemCallSelector = on ? block : allow;
}

/// Counts the call that was held back, then lets the thread make it after all.
void onSystemCall(int /*signal*/, siginfo_t* /*info*/, void* context) {
    systemCallSelector = allow;
    systemCalls.fetch_add(1, std::memory_order_relaxed);
    auto& machine = static_cast<ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    machine.gregs[REG_RIP] -= 2;
#elif defined(__aarch64__)
    machine.pc -= 4;
#else
#error "say how to step back over a system call here"
#endif
}

/// Once for each thread: has the kernel look at the selector.
void armThread() {
    thread_local bool armed = false;
    if (armed) {
        return;
    }
    struct sigaction action {};
    action.sa_sigaction = onSystemCall;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSYS, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGSYS);
    // The sound library's thread blocks all signals; one that is forced would then be fatal.
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    if (prctl(setSyscallUserDispatch, dispatchOn, 0, 0, &systemCallSelector) != 0) {
        std::perror("this kernel cannot catch system calls (Linux 5.11 can)");
        std::abort();
    }
    armed = true;
}

template <typename Function>
Function next(std::atomic<Function>& cached, const char* name) {
    Function function = cached.load(std::memory_order_relaxed);
    if (function == nullptr) {
        function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
        cached.store(function, std::memory_order_relaxed);
    }
    return function;
}

} // namespace

RealTimeScope::RealTimeScope() {
    armThread();
    setCounting(true);
}

RealTimeScope::~RealTimeScope() {
    setCounting(false);
}

RealTimeCounts RealTimeScope::counts() {
    return {allocations.load(), locks.load(), systemCalls.load()};
}

ForeignCode::ForeignCode()
    : wasCounting_(counting) {
    setCounting(false);
}

ForeignCode::~ForeignCode() {
    setCounting(wasCounting_);
}

} // namespace tandrel::test

using tandrel::test::allocations;
using tandrel::test::countIn;
using tandrel::test::locks;
using tandrel::test::next;

extern "C" {

void* malloc(std::size_t size) {
    countIn(allocations);
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    countIn(allocations);
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    countIn(allocations);
    return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    countIn(allocations);
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    countIn(allocations);
    *memory = __libc_memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

void free(void* memory) {
    countIn(allocations);
    __libc_free(memory);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    static std::atomic<int (*)(pthread_mutex_t*)> real{nullptr};
    countIn(locks);
    return next(real, "pthread_mutex_lock")(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    static std::atomic<int (*)(pthread_mutex_t*)> real{nullptr};
    countIn(locks);
    return next(real, "pthread_mutex_trylock")(mutex);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
    static std::atomic<int (*)(pthread_rwlock_t*)> real{nullptr};
    countIn(locks);
    return next(real, "pthread_rwlock_rdlock")(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
    static std::atomic<int (*)(pthread_rwlock_t*)> real{nullptr};
    countIn(locks);
    return next(real, "pthread_rwlock_wrlock")(lock);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    static std::atomic<int (*)(pthread_cond_t*, pthread_mutex_t*)> real{nullptr};
    countIn(locks);
    return next(real, "pthread_cond_wait")(condition, mutex);
}

} // extern "C"
