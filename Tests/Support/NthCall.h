#pragma once

#include <atomic>
#include <cstddef>

namespace tandrel::test {

/// Picks the call that fails: the Nth of all that are counted, alone or with all that follow. Any
/// thread.
class NthCall {
public:
    enum class Lasting { once, fromThenOn };

    /// `number` 0: none fails.
    explicit NthCall(std::size_t number = 0, Lasting lasting = Lasting::once)
        : number_(number)
        , lasting_(lasting) {}

    /// Counts a call; whether it is to fail.
    [[nodiscard]] bool fails() {
        const std::size_t call = ++count_;
        return number_ > 0 &&
               (call == number_ || (call > number_ && lasting_ == Lasting::fromThenOn));
    }

    /// Whether a call has failed.
    [[nodiscard]] bool hasFailed() const { return number_ > 0 && count_ >= number_; }

private:
    const std::size_t number_;
    const Lasting lasting_;
    std::atomic<std::size_t> count_{0};
};

} // namespace tandrel::test
