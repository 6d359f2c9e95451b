#include "Support/WaitUntil.h"

#include <cstdlib>
#include <thread>

namespace tandrel::test {

namespace {

double timeoutFactor() {
    const char* text = std::getenv("TANDREL_TEST_TIMEOUT_FACTOR");
    const double factor = text != nullptr ? std::strtod(text, nullptr) : 1.0;
    return factor > 0 ? factor : 1.0;
}

} // namespace

std::chrono::milliseconds stretched(std::chrono::milliseconds limit) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(limit * timeoutFactor());
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + stretched(limit);
    for (;;) {
        if (condition()) {
            return true;
        }
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace tandrel::test
